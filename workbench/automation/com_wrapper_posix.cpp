#include "workbench/automation/com_wrapper.h"

namespace velmora {

void* MakeComWrapper(vlm::IAutomationObject* /*object*/) noexcept { return nullptr; }

}  // namespace velmora
