// The response as trees read it: which cases count, their classes or their deviations from a
// centre.
#include <algorithm>
#include <cmath>
#include <stdexcept>

#include "workbench/stats/missing.h"
#include "workbench/stats/tree.h"

namespace velmora::stats {
namespace {

bool Counts(std::size_t i, std::span<const std::uint8_t> selected, std::span<const double> weights) {
  if (!selected.empty() && selected[i] == 0) return false;
  return weights.empty() || (weights[i] > 0 && std::isfinite(weights[i]));
}

void KeepPresent(TreeResponse& response, std::vector<std::uint8_t> present, std::span<const double> weights) {
  if (std::find(present.begin(), present.end(), 0) != present.end()) response.present = std::move(present);
  response.weights.assign(weights.begin(), weights.end());
}

}  // namespace

TreeResponse MakeClassResponse(std::span<const double> values, std::span<const double> codes,
                               std::span<const std::uint8_t> selected, std::span<const double> weights) {
  if (codes.size() > static_cast<std::size_t>(kMaxClasses))
    throw std::length_error("a response has more than 65534 codes");
  TreeResponse response;
  response.classCount = static_cast<int>(codes.size());
  response.caseCount = values.size();
  response.classOf.assign(values.size(), kNoClass);
  std::vector<std::uint8_t> present(values.size(), 0);
  // Codes by value, for a binary search.
  std::vector<std::uint16_t> ascending(codes.size());
  for (std::size_t c = 0; c < codes.size(); ++c) ascending[c] = static_cast<std::uint16_t>(c);
  std::stable_sort(ascending.begin(), ascending.end(), [&](std::uint16_t a, std::uint16_t b) {
    return OrderedBits(codes[a]) < OrderedBits(codes[b]);
  });
  // Whether codes are so near to each other that a value fits several, or are not finite.
  bool tolerant = false;
  for (std::size_t c = 0; c < codes.size(); ++c) {
    tolerant = tolerant || !std::isfinite(codes[c]);
    if (c > 0) tolerant = tolerant || NearlyEqual(codes[ascending[c - 1]], codes[ascending[c]]);
  }
  const auto classOf = [&](double value) {
    // Nearly every value equals a code to the last bit.
    if (codes.size() <= 8 && !tolerant)
      for (std::size_t c = 0; c < codes.size(); ++c)
        if (codes[c] == value) return static_cast<std::uint16_t>(c);
    const std::int64_t image = OrderedBits(value);
    auto at = std::partition_point(ascending.begin(), ascending.end(), [&](std::uint16_t c) {
      return OrderedBits(codes[c]) < image - kUlpTolerance;
    });
    std::uint16_t found = kNoClass;
    for (; at != ascending.end() && OrderedBits(codes[*at]) <= image + kUlpTolerance; ++at)
      if (NearlyEqual(value, codes[*at])) found = std::min(found, *at);
    return found;
  };
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (!Counts(i, selected, weights)) continue;
    response.classOf[i] = classOf(values[i]);
    present[i] = response.classOf[i] != kNoClass ? 1 : 0;
  }
  KeepPresent(response, std::move(present), weights);
  return response;
}

TreeResponse MakeContinuousResponse(std::span<const double> values, double missingCode,
                                    std::span<const std::uint8_t> selected, std::span<const double> weights) {
  TreeResponse response;
  response.continuous = true;
  response.caseCount = values.size();
  response.deviations.assign(values.size(), 0);
  const MissingBits missing(missingCode);
  std::vector<std::uint8_t> present(values.size());
  double largest = 0;
  double sum = 0;
  std::size_t count = 0;
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (!Counts(i, selected, weights) || !std::isfinite(values[i]) || missing(values[i])) continue;
    present[i] = 1;
    ++count;
    sum += values[i];
    largest = std::max(largest, std::fabs(values[i]));
  }
  // Squares must neither overflow nor vanish.
  if (largest > 1e120 || (largest > 0 && largest < 1e-120)) {
    response.scale = std::ldexp(1.0, std::max(std::ilogb(largest), -1021));
    sum = 0;
    for (std::size_t i = 0; i < values.size(); ++i)
      if (present[i] != 0) sum += values[i] / response.scale;
  }
  const double mean = count > 0 ? sum / static_cast<double>(count) : 0;
  response.centre = mean * response.scale;
  const double inverse = 1 / response.scale;  // exact: the scale is a power of two
  for (std::size_t i = 0; i < values.size(); ++i)
    if (present[i] != 0) response.deviations[i] = values[i] * inverse - mean;
  KeepPresent(response, std::move(present), weights);
  return response;
}

}  // namespace velmora::stats
