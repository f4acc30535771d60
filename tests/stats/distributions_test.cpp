#include "workbench/stats/distributions.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace velmora::stats {
namespace {

constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

// Published critical values, and tails from SciPy or, where it underflows, from the closed forms
// named.
TEST(Distributions, AgreeWithPublishedFiguresFarIntoTheTails) {
  struct Row {
    const char* name;
    double found, expected;
  };
  const Row rows[] = {
      {"F 5 % point of (3, 20)", FUpperTail(3, 20, 3.0984), 0.049999587433301636},
      {"F 5 % point of (1, 10)", FUpperTail(1, 10, 4.9646), 0.05000005219291375},
      {"F 5 % point of (1, 1)", FUpperTail(1, 1, 161.4476), 0.05000000598309208},
      {"F far out", FUpperTail(5, 200, 40), 2.1694116821877833e-28},
      {"F of many cases, df1 = 2", FUpperTail(2, 99990, 1), std::pow(1 + 2 / 99990.0, -49995)},
      {"F with df1 = 2 is (1 + 2 F / df2)^(-df2 / 2)", FUpperTail(2, 10, 1e20), std::pow(1 + 2e19, -5)},
      {"F at the largest statistic", FUpperTail(2, 10, 1.7e308), 0},
      {"chi-square 5 % point, 1 df", ChiSquareUpperTail(3.841458820694124, 1), 0.05},
      {"chi-square 5 % point, 10 df", ChiSquareUpperTail(18.307038053275146, 10), 0.05},
      {"chi-square below", ChiSquareCdf(0.5, 3), 0.08110858834532418},
      {"chi-square far out", ChiSquareUpperTail(500, 4), 251 * std::exp(-250.0)},
      {"chi-square at the end of doubles", ChiSquareUpperTail(1400, 2), std::exp(-700.0)},
      {"chi-square of many df", ChiSquareUpperTail(1e5, 99990), 0.49048539979633415},
      {"t 97.5 % point, 1 df", StudentQuantile(0.975, 1), std::tan(0.475 * 3.141592653589793)},
      {"t 97.5 % point, 10 df", StudentQuantile(0.975, 10), 2.2281388519649385},
      {"t 97.5 % point, a million df", StudentQuantile(0.975, 1e6), 1.95996635684},
      {"t 2.5 % point, 4.5 df", StudentQuantile(0.025, 4.5), -2.6589123472044043},
      {"normal 97.5 % point", StudentQuantile(0.975, kInf), 1.959963984540054},
  };
  for (const Row& row : rows)
    EXPECT_NEAR(row.found, row.expected, 1e-11 * row.expected * (row.expected < 0 ? -1 : 1)) << row.name;
}

TEST(Distributions, AreDefinedForEveryInput) {
  const double values[] = {-kInf, -1, -0.0, 0, 5e-324, 1e-300, 0.3, 1, 2.5, 1e5, 1e300, 1.7e308, kInf, kNan};
  for (const double a : values)
    for (const double b : values) {
      const double cdf = ChiSquareCdf(a, b), tail = ChiSquareUpperTail(a, b), t = StudentQuantile(a, b);
      EXPECT_EQ(std::isnan(tail), !(b > 0) || std::isnan(a)) << a << " " << b;
      if (!std::isnan(tail)) {
        EXPECT_NEAR(cdf + tail, 1, 1e-9) << a << " " << b;
      }
      EXPECT_EQ(std::isnan(t), !(b > 0) || !(a >= 0 && a <= 1)) << a << " " << b;
      for (const double c : values) {
        const double p = FUpperTail(a, b, c);
        if (!(a > 0) || !(b > 0) || std::isnan(c))
          EXPECT_TRUE(std::isnan(p));
        else
          EXPECT_TRUE(p >= 0 && p <= 1) << a << " " << b << " " << c << " " << p;
      }
    }
  EXPECT_NEAR(FUpperTail(3, kInf, 2), FUpperTail(3, 1e9, 2), 1e-8);
  EXPECT_NEAR(FUpperTail(kInf, 4, 2), FUpperTail(1e9, 4, 2), 1e-8);
}

}  // namespace
}  // namespace velmora::stats
