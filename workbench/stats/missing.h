// The ordered integer image of a double, and the test for a missing value made from it once per column. Every
// kernel of this folder leaves a case out where its value is missing or is not a number.
#pragma once

#include <cstdint>
#include <cstring>
#include <limits>

namespace velmora::stats {

// Width of the tolerant comparison, in units in the last place.
inline constexpr std::int64_t kUlpTolerance = 15;

// Orders like the double; minus zero and zero share the image 0; NaNs lie outside +-kInfinityImage.
inline std::int64_t OrderedImage(double value) {
  std::int64_t bits;
  std::memcpy(&bits, &value, sizeof bits);
  const std::int64_t sign = bits >> 63;
  return (bits ^ (sign & std::numeric_limits<std::int64_t>::max())) - sign;
}

inline constexpr std::int64_t kInfinityImage = 0x7FF0000000000000;

// The images that count as missing, as one interval, so that a test is one subtraction and one comparison. A
// code that is not finite equals no value.
struct MissingRange {
  std::int64_t first = 1;
  std::uint64_t width = 0;  // the number of images, 0 when there is none

  MissingRange() = default;
  explicit MissingRange(double code) {
    const std::int64_t image = OrderedImage(code);
    if (image <= -kInfinityImage || image >= kInfinityImage) return;
    const std::int64_t last =
        image + kUlpTolerance < kInfinityImage ? image + kUlpTolerance : kInfinityImage - 1;
    first = image - kUlpTolerance > -kInfinityImage ? image - kUlpTolerance : 1 - kInfinityImage;
    width = static_cast<std::uint64_t>(last - first) + 1;
  }

  bool ContainsImage(std::int64_t image) const {
    return static_cast<std::uint64_t>(image) - static_cast<std::uint64_t>(first) < width;
  }
  bool operator()(double value) const { return ContainsImage(OrderedImage(value)); }
  // Missing by its code, or not a number.
  bool Absent(double value) const { return value != value || (*this)(value); }
};

// The finite values within 15 units in the last place of each other.
inline bool NearlyEqual(double a, double b) { return MissingRange(a)(b); }

}  // namespace velmora::stats
