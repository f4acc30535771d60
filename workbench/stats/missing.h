// The test for a missing value, made once per column from its missing-data code. Every kernel of
// this folder leaves a case out where its value is missing or is not a number.
//
//   const MissingBits missing(column.missingCode);
//   if (!missing.Absent(value)) ...
#pragma once

#include <cstdint>

#include "base/tolerant.h"

namespace velmora::stats {

using vlm::NearlyEqual;
using vlm::OrderedBits;

inline constexpr std::int64_t kUlpTolerance = vlm::kToleranceUlps;
inline constexpr std::int64_t kInfinityImage = 0x7FF0000000000000;

// The ordered bits of the missing values, as one interval, so that a test takes one subtraction and
// one comparison. A code that is not finite equals no value.
struct MissingBits {
  std::int64_t first = 1;
  std::uint64_t width = 0;  // how many doubles count as missing; 0: none

  MissingBits() = default;
  explicit MissingBits(double code) {
    const std::int64_t image = OrderedBits(code);
    if (image <= -kInfinityImage || image >= kInfinityImage) return;
    const std::int64_t last =
        image + kUlpTolerance < kInfinityImage ? image + kUlpTolerance : kInfinityImage - 1;
    first = image - kUlpTolerance > -kInfinityImage ? image - kUlpTolerance : 1 - kInfinityImage;
    width = static_cast<std::uint64_t>(last - first) + 1;
  }

  bool ContainsImage(std::int64_t image) const {
    return static_cast<std::uint64_t>(image) - static_cast<std::uint64_t>(first) < width;
  }
  bool operator()(double value) const { return ContainsImage(OrderedBits(value)); }
  // Missing by its code, or not a number.
  bool Absent(double value) const { return value != value || (*this)(value); }
};

}  // namespace velmora::stats
