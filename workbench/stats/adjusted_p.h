// p-values of many tests at once, adjusted so that a level can be applied to each of them.
//
//   const std::vector<double> adjusted = AdjustLogP(logP, Adjustment::kBenjaminiHochberg);
#pragma once

#include <span>
#include <vector>

namespace velmora::stats {

enum class Adjustment {
  kBenjaminiHochberg,   // false discovery rate, tests independent or positively dependent (1995)
  kBenjaminiYekutieli,  // false discovery rate, tests of any dependence (2001)
  kHolm,                // probability of any false discovery (1979)
  kNone
};

// logP: natural logarithms, NaN where nothing was tested, which does not count as a test. Returns
// logarithms in the same order, NaN likewise. Logarithms distinguish probabilities that are too
// small for a double.
std::vector<double> AdjustLogP(std::span<const double> logP, Adjustment adjustment);

}  // namespace velmora::stats
