#include "workbench/bins/value_lookup.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <set>

namespace velmora {

// Sweeps over the ends of the ranges from low to high; the first of the open ranges wins.
ValueLookup::ValueLookup(std::vector<Range> ranges, Winner winner) {
  if (winner == Winner::kLast) std::reverse(ranges.begin(), ranges.end());
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  struct End {
    double value;  // the first that the range holds, or the first beyond it
    std::size_t range;
    bool opens;
  };
  std::vector<End> ends;
  ends.reserve(2 * ranges.size());
  for (std::size_t i = 0; i < ranges.size(); ++i) {
    if (!(ranges[i].low <= ranges[i].high)) continue;
    ends.push_back({ranges[i].low, i, true});
    ends.push_back({std::nextafter(ranges[i].high, kInfinity), i, false});
  }
  std::sort(ends.begin(), ends.end(), [](const End& a, const End& b) { return a.value < b.value; });
  outcomes_.push_back(-1);
  std::set<std::size_t> open;
  for (std::size_t i = 0; i < ends.size();) {
    const double value = ends[i].value;
    for (; i < ends.size() && ends[i].value == value; ++i) {
      if (ends[i].opens) {
        open.insert(ends[i].range);
      } else {
        open.erase(ends[i].range);
      }
    }
    const int outcome = open.empty() ? -1 : ranges[*open.begin()].outcome;
    if (outcome == outcomes_.back()) continue;
    starts_.push_back(value);
    outcomes_.push_back(outcome);
  }
}

}  // namespace velmora
