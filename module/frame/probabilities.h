// Tail probabilities of the test statistics, from the host's distribution functions.
#pragma once

#include "contract/engine_services.h"

namespace vlmfsl {

// Probability that a Chi-square variable with df degrees of freedom exceeds x. A host without the
// upper tail gives 1 less the distribution, which is 0 for every probability below about 1e-16.
[[nodiscard]] inline double ChiSquareUpperTail(vlm::IEngineServices& services, double x, double df) {
  if (void* const extension = services.GetExtension(vlm::kChiSquareTailExtension)) {
    return static_cast<vlm::IChiSquareTail*>(extension)->ChiSquareUpperTail(x, df);
  }
  return 1.0 - services.ChiSquareDistribution(x, df);
}

}  // namespace vlmfsl
