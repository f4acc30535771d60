// Labels of bins: intervals of cut points, and lists of levels.
//
//   MakeIntervalTexts({25, 40}, ",", ".").labels == {"(-Inf, 25]", "(25, 40]", "(40, Inf)"}
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "base/distinct_labels.h"

namespace vlmfsl {

// Intervals are open below and closed above, the first and the last open towards minus and plus
// infinity.
struct IntervalTexts {
  std::vector<std::string> labels, lower, upper;  // one per bin
};

// cutPoints: ascending, n of them; n + 1 bins. separator: between the bounds in a label;
// decimalSeparator is the locale's.
[[nodiscard]] IntervalTexts MakeIntervalTexts(std::span<const double> cutPoints, std::string_view separator,
                                              std::string_view decimalSeparator);

using vlm::DistinctLabels;

}  // namespace vlmfsl
