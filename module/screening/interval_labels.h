// Interval texts of cut points. Intervals are open below and closed above, the first and the last
// open towards minus and plus infinity.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vlmfsl {

struct IntervalTexts {
  std::vector<std::string> labels, lower, upper;  // one per bin
};

// cutPoints: ascending, n of them; n + 1 bins. separator is put between the bounds of a label;
// decimalSeparator is the locale's.
[[nodiscard]] IntervalTexts MakeIntervalTexts(std::span<const double> cutPoints, std::string_view separator,
                                              std::string_view decimalSeparator);

}  // namespace vlmfsl
