#include "workbench/data/distinct_values.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <set>

#include "base/split_mix.h"

namespace velmora {
namespace {

// Few values, as many as the table holds, one more, and many; in a random order and in runs.
TEST(DistinctValues, AreThoseOfASet) {
  for (const std::size_t count : {0U, 1U, 2U, 1023U, 1024U, 1025U, 1026U, 30000U}) {
    for (const std::size_t run : {1U, 5U}) {
      vlm::SplitMix random(count);
      DistinctValues distinct;
      std::set<double> expected;
      for (std::size_t i = 0; i < 4 * count; ++i) {
        const double number = std::floor(random.Share() * static_cast<double>(count));
        const double value = number == 3 ? INFINITY : number == 0 && i % 2 == 0 ? -0.0 : number / 3 - 5;
        for (std::size_t k = 0; k < run; ++k) distinct.Add(value);
        expected.insert(value);
      }
      const std::vector<double> found = std::move(distinct).Ascending();
      ASSERT_EQ(found.size(), expected.size()) << count;
      EXPECT_TRUE(std::equal(found.begin(), found.end(), expected.begin())) << count;
      EXPECT_TRUE(
          std::none_of(found.begin(), found.end(), [](double v) { return v == 0 && std::signbit(v); }));
    }
  }
}

}  // namespace
}  // namespace velmora
