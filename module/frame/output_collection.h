// Several outputs of one request as one automation object: Count and Item.
#pragma once

#include <vector>

#include "contract/documents.h"
#include "contract/ref.h"

namespace vlmfsl {

// Counts a reference of each document.
[[nodiscard]] vlm::Ref<vlm::IAutomationObject> MakeOutputCollection(
    std::vector<vlm::Ref<vlm::IDocument>> documents);

}  // namespace vlmfsl
