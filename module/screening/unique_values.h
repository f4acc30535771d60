// The unique-values sheet of a continuous predictor against a binary response: one row per distinct
// predictor value, with the default rate and the counts of the two codes.
#pragma once

#include <string>

#include "contract/ref.h"
#include "module/screening/pred_summary.h"

namespace vlmfsl {

inline constexpr int kUniqueValueColumn = 1;
inline constexpr int kUniqueRateColumn = 2;  // percent; empty after the last distinct value
inline constexpr int kUniqueBadColumn = 3;
inline constexpr int kUniqueGoodColumn = 4;

struct UniqueValueNames {
  std::string predictor, rate, bad, good;
};

// A maker of the sheet's cells from the work sheet, whose rows are in order of the predictor
// (column 1; column 2 the response). A response counts as bad when its displayed text is badText.
// Values within 15 units in the last place of their predecessor belong to its row. Counts a
// reference of workSheet.
[[nodiscard]] vlm::Ref<vlm::ISheetMaker> MakeUniqueValuesMaker(const vlm::Ref<vlm::IWorkSheet>& workSheet,
                                                               std::string badText, UniqueValueNames names);

}  // namespace vlmfsl
