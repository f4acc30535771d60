#include "module/frame/com_object.h"

namespace vlmfsl {

void* MakeComObjectOf(const vlm::AutomationInterface&, vlm::IAutomationObject*) noexcept { return nullptr; }

}  // namespace vlmfsl
