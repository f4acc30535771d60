#include "workbench/stats/adjusted_p.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace velmora::stats {

// With m tests and the i-th smallest p:
//   Holm: the largest of (m - j + 1) p_j over j <= i.
//   Benjamini and Hochberg: the smallest of m p_j / j over j >= i; Benjamini and Yekutieli: times
//   1 + 1/2 + ... + 1/m.
std::vector<double> AdjustLogP(std::span<const double> logP, Adjustment adjustment) {
  std::vector<double> adjusted(logP.begin(), logP.end());
  if (adjustment == Adjustment::kNone) return adjusted;
  std::vector<std::size_t> order;
  for (std::size_t i = 0; i < logP.size(); ++i) {
    if (!std::isnan(logP[i])) order.push_back(i);
  }
  std::stable_sort(order.begin(), order.end(),
                   [&](std::size_t a, std::size_t b) { return logP[a] < logP[b]; });
  const std::size_t m = order.size();
  if (adjustment == Adjustment::kHolm) {
    double largest = -INFINITY;
    for (std::size_t i = 0; i < m; ++i) {
      largest = std::max(largest, logP[order[i]] + std::log(static_cast<double>(m - i)));
      adjusted[order[i]] = std::min(largest, 0.0);
    }
    return adjusted;
  }
  double factor = static_cast<double>(m);
  if (adjustment == Adjustment::kBenjaminiYekutieli) {
    double harmonic = 0;
    for (std::size_t i = m; i > 0; --i) harmonic += 1 / static_cast<double>(i);
    factor *= harmonic;
  }
  double smallest = 0;
  for (std::size_t i = m; i > 0; --i) {
    const std::size_t at = order[i - 1];
    smallest = std::min(smallest, logP[at] + std::log(factor / static_cast<double>(i)));
    adjusted[at] = smallest;
  }
  return adjusted;
}

}  // namespace velmora::stats
