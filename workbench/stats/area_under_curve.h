// How well a value separates two classes of cases.
//
//   AreaUnderCurve({{1, 30, 10}, {2, 10, 30}});   // 0.75
#pragma once

#include <vector>

namespace velmora::stats {

// The cases that have one value, such as the weight of evidence of a bin: higher is better.
struct CountedValue {
  double value, bad, good;
};

// The area under the receiver operating characteristic: the share of pairs of a bad and a good case
// in which the good one has the higher value; ties count half. NaN without both.
double AreaUnderCurve(std::vector<CountedValue> values);

}  // namespace velmora::stats
