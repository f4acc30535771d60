#pragma once

#include <span>

#include "contract/resources.h"

namespace vlmfsl {

// Every template and page, in the order of their identifiers.
[[nodiscard]] std::span<const vlm::DialogTemplate> DialogTemplates();

}  // namespace vlmfsl
