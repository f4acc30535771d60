#include "workbench/stats/tree_scan.h"

#include <algorithm>

#include "base/vector_dispatch.h"

namespace velmora::stats {
namespace {

constexpr std::int32_t kBlock = 64;    // cuts examined together
constexpr std::int32_t kSamples = 64;  // cuts tried first, for a bound that most blocks stay below
// so that a gain above the best passes the bound in spite of rounding
constexpr double kSlack = 1 - 1e-15;

// numerators[i] / denominators[i] = gain x W of the cut at first + i.
template <class Weight, class Sum, bool kSeveral>
VELMORA_INLINE void Evaluate(const Weight* weights, const Sum* const* channels, int channelCount,
                             const CutRange& range, std::int32_t first, std::int32_t count,
                             double* numerators, double* denominators) {
  const Weight weightBefore = weights[range.begin];
  const auto total = static_cast<double>(weights[range.end] - weightBefore);
  const Weight* w = weights + first;
  for (std::int32_t i = 0; i < count; ++i) {
    const auto left = static_cast<double>(w[i] - weightBefore);
    denominators[i] = left * (total - left);
  }
  double implied[kBlock] = {};
  for (int channel = 0; channel < channelCount; ++channel) {
    const Sum* s = channels[channel] + first;
    const Sum sumBefore = channels[channel][range.begin];
    const auto sum = static_cast<double>(channels[channel][range.end] - sumBefore);
    for (std::int32_t i = 0; i < count; ++i) {
      const auto left = static_cast<double>(w[i] - weightBefore);
      const double d = static_cast<double>(s[i] - sumBefore) * total - left * sum;
      if constexpr (kSeveral) {
        numerators[i] = (channel == 0 ? 0 : numerators[i]) + d * d;
        implied[i] += d;
      } else {
        numerators[i] = d * d;
      }
    }
  }
  if constexpr (kSeveral)
    for (std::int32_t i = 0; i < count; ++i) numerators[i] += implied[i] * implied[i];
}

template <class Weight, class Sum, bool kSeveral>
VELMORA_INLINE BestCut Search(const Weight* weights, const Sum* const* channels, int channelCount,
                              const CutRange& range) {
  double numerators[kBlock];
  double denominators[kBlock];
  double bound = 0;
  const std::int32_t stride = (range.last - range.first) / kSamples + 1;
  if (stride > 1) {
    for (std::int32_t k = range.first; k <= range.last; k += stride) {
      Evaluate<Weight, Sum, kSeveral>(weights, channels, channelCount, range, k, 1, numerators, denominators);
      bound = std::max(bound, numerators[0] / denominators[0]);
    }
    bound *= kSlack;
  }
  BestCut best;
  double bestRatio = -1;
  for (std::int32_t k = range.first; k <= range.last; k += kBlock) {
    const std::int32_t count = std::min(kBlock, range.last - k + 1);
    if (count == kBlock)
      Evaluate<Weight, Sum, kSeveral>(weights, channels, channelCount, range, k, kBlock, numerators,
                                      denominators);
    else
      Evaluate<Weight, Sum, kSeveral>(weights, channels, channelCount, range, k, count, numerators,
                                      denominators);
    std::int64_t reached = 0;
    for (std::int32_t i = 0; i < count; ++i) reached |= numerators[i] >= bound * denominators[i] ? 1 : 0;
    if (reached == 0) continue;
    for (std::int32_t i = 0; i < count; ++i) numerators[i] /= denominators[i];
    for (std::int32_t i = 0; i < count; ++i) {
      if (!(numerators[i] > bestRatio)) continue;
      bestRatio = numerators[i];
      best.cut = k + i;
    }
    bound = std::max(bound, bestRatio * kSlack);
  }
  best.gain = bestRatio / static_cast<double>(weights[range.end] - weights[range.begin]);
  return best;
}

#define VELMORA_SEARCH(name, Weight, Sum, several)                                                  \
  VELMORA_DISPATCH(                                                                                 \
      BestCut, name,                                                                                \
      (const Weight* weights, const Sum* const* channels, int channelCount, const CutRange& range), \
      (Search<Weight, Sum, several>), (weights, channels, channelCount, range))

VELMORA_SEARCH(SearchTwoClasses, std::int32_t, std::int32_t, false)
VELMORA_SEARCH(SearchClasses, std::int32_t, std::int32_t, true)
VELMORA_SEARCH(SearchSums, std::int32_t, double, false)
VELMORA_SEARCH(SearchWeighted, double, double, false)
VELMORA_SEARCH(SearchWeightedClasses, double, double, true)

}  // namespace

BestCut FindBestCut(const std::int32_t* counts, std::span<const std::int32_t* const> classes,
                    CutRange range) {
  return (classes.size() == 1 ? SearchTwoClasses : SearchClasses)(counts, classes.data(),
                                                                  static_cast<int>(classes.size()), range);
}

BestCut FindBestCut(const std::int32_t* counts, const double* sums, CutRange range) {
  return SearchSums(counts, &sums, 1, range);
}

BestCut FindBestCut(const double* weights, std::span<const double* const> channels, CutRange range) {
  return (channels.size() == 1 ? SearchWeighted : SearchWeightedClasses)(
      weights, channels.data(), static_cast<int>(channels.size()), range);
}

}  // namespace velmora::stats
