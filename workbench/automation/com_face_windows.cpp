#include "contract/com/late_object.h"
#include "workbench/automation/com_face.h"

namespace velmora {

void* MakeComFace(vlm::IAutomationObject* object) noexcept { return vlmcom::MakeLateObject(object); }

}  // namespace velmora
