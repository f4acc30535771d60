// The COM object of an automation object of the module.
#pragma once

#include "contract/automation.h"

namespace vlmfsl {

// A new COM object for an object of this interface, whose calls go through `through`; see
// IAutomationObject::MakeComObject. Null where there is no COM, or when memory is short.
[[nodiscard]] void* MakeComObjectOf(const vlm::AutomationInterface& description,
                                    vlm::IAutomationObject* through) noexcept;

}  // namespace vlmfsl
