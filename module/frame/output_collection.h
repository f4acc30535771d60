// Several outputs of one request as one automation object: Count and Item.
#pragma once

#include <vector>

#include "contract/documents.h"
#include "module/frame/ref.h"

namespace vlmfsl {

// Counts a reference of each document.
[[nodiscard]] Ref<vlm::IAutomationObject> MakeOutputCollection(std::vector<Ref<vlm::IDocument>> documents);

}  // namespace vlmfsl
