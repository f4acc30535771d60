// Labels of bins: intervals of cut points, and lists of levels.
//
//   MakeIntervalTexts({25, 40}, ",", ".").labels == {"(-Inf, 25]", "(25, 40]", "(40, Inf)"}
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

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

// The labels of a predictor's bins, each different from the others: bins are told apart by label in
// every file that holds them. A label of more than 80 characters, which lists many levels, becomes
// the bin's number (from 1) and its first characters; a label that an earlier bin has already gets
// a number after it.
[[nodiscard]] std::vector<std::string> DistinctLabels(std::vector<std::string> labels);

}  // namespace vlmfsl
