#include "contract/com/late_object.h"
#include "workbench/automation/com_wrapper.h"

namespace velmora {

void* MakeComWrapper(vlm::IAutomationObject* object) noexcept { return vlmcom::MakeLateObject(object); }

}  // namespace velmora
