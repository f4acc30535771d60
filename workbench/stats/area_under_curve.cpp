#include "workbench/stats/area_under_curve.h"

#include <algorithm>
#include <limits>

namespace velmora::stats {

double AreaUnderCurve(std::vector<CountedValue> values) {
  std::sort(values.begin(), values.end(),
            [](const CountedValue& a, const CountedValue& b) { return a.value < b.value; });
  double badBelow = 0, good = 0, pairs = 0;
  for (std::size_t i = 0; i < values.size();) {
    double badHere = 0, goodHere = 0;
    const double value = values[i].value;
    for (; i < values.size() && values[i].value == value; ++i) {
      badHere += values[i].bad;
      goodHere += values[i].good;
    }
    pairs += goodHere * (badBelow + badHere / 2);
    badBelow += badHere;
    good += goodHere;
  }
  return badBelow > 0 && good > 0 ? pairs / (badBelow * good) : std::numeric_limits<double>::quiet_NaN();
}

}  // namespace velmora::stats
