// The COM object of the workbench's own automation objects.
#pragma once

#include "contract/automation.h"

namespace velmora {

// A new late-bound COM object over the object; see vlm::IAutomationObject::MakeComObject. Null
// where there is no COM, or when memory is short.
void* MakeComWrapper(vlm::IAutomationObject* object) noexcept;

}  // namespace velmora
