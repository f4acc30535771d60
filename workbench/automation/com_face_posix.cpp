#include "workbench/automation/com_face.h"

namespace velmora {

void* MakeComFace(vlm::IAutomationObject* /*object*/) noexcept { return nullptr; }

}  // namespace velmora
