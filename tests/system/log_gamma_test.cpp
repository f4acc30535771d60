#include "workbench/system/log_gamma.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>

namespace velmora {
namespace {

// Saved figures keep their bits.
TEST(LogGamma, HasTheBitsOfTheLibrary) {
  const auto expectSame = [](double x) {
    EXPECT_EQ(std::bit_cast<std::uint64_t>(LogGamma(x)), std::bit_cast<std::uint64_t>(std::lgamma(x))) << x;
  };
  for (int i = -4000; i <= 4000; ++i) expectSame(i / 16.0);
  for (double x = 1e-300; x < 1e300; x *= 7.3) expectSame(x);
  expectSame(std::numeric_limits<double>::infinity());
}

}  // namespace
}  // namespace velmora
