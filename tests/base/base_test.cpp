// Tolerance, quantile, index sorts, number and template texts.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <limits>
#include <random>

#include "base/format_text.h"
#include "base/index_heap_sort.h"
#include "base/normal_quantile.h"
#include "base/number_text.h"
#include "base/tolerant.h"
#include "base/utf8_text.h"

namespace vlmfsl {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
const double kNan = std::nan("");
constexpr double kTiny = std::numeric_limits<double>::denorm_min();
constexpr double kMax = std::numeric_limits<double>::max();

TEST(Tolerant, EqualWithin15Ulps) {
  struct Row {
    const char* name;
    double a, b;
    bool equal;
  };
  const double eps = std::numeric_limits<double>::epsilon();
  const Row rows[] = {{"itself", 1.5, 1.5, true},
                      {"15 ulps", 1.0, 1.0 + 15 * eps, true},
                      {"16 ulps", 1.0, 1.0 + 16 * eps, false},
                      {"both zeros", 0.0, -0.0, true},
                      {"across zero", 7 * kTiny, -8 * kTiny, true},
                      {"further across zero", 8 * kTiny, -8 * kTiny, false},
                      {"opposite ends", kMax, -kMax, false},
                      {"infinity", kInfinity, kInfinity, false},
                      {"infinity and the largest", kInfinity, kMax, false},
                      {"not a number", kNan, kNan, false}};
  for (const Row& row : rows) {
    EXPECT_EQ(vlm::NearlyEqual(row.a, row.b), row.equal) << row.name;
    EXPECT_EQ(vlm::NearlyEqual(row.b, row.a), row.equal) << row.name;
    EXPECT_EQ(vlm::NearlyEqual(-row.b, -row.a), row.equal) << row.name;
  }
}

// Raised bounds and missing ranges turn the tolerant tests into plain comparisons; around any bound
// both agree.
TEST(Tolerant, RaisedBoundsAndRangesSayTheSameAsTheTests) {
  const double bounds[] = {0.0,       -0.0,    kTiny,    -kTiny, 9 * kTiny, -15 * kTiny, 1.0,        -1.0,
                           3.25e-300, 1.7e308, -1.7e308, kMax,   -kMax,     kInfinity,   -kInfinity, kNan};
  for (const double bound : bounds) {
    const vlm::MissingRange missing(bound);
    std::vector<double> values = {kInfinity, -kInfinity, kNan, kMax, -kMax, 0.0, -0.0};
    for (std::int64_t step = -20; step <= 20 && std::isfinite(bound); ++step) {
      values.push_back(vlm::FromOrderedBits(vlm::OrderedBits(bound) + step));
    }
    for (const double x : values) {
      EXPECT_EQ(x > vlm::RaisedByTolerance(bound), vlm::GreaterBeyondTolerance(x, bound))
          << x << " and " << bound;
      EXPECT_EQ(missing.Contains(x), vlm::IsMissing(x, bound)) << x << " and " << bound;
    }
  }
}

// The quantile of 0.995 decides every interval. The others: tables of the normal distribution, to
// the approximation's own accuracy in the tail.
TEST(NormalQuantile, IsTheAlgorithmsToTheLastBit) {
  bool failed = true;
  EXPECT_EQ(vlm::NormalQuantile(0.995, &failed), 2.5758293009489543);
  EXPECT_FALSE(failed);
  const double rows[][2] = {{0.5, 0.0},
                            {0.75, 0.674489750196},
                            {0.92, 1.405071560309},
                            {0.975, 1.959963984540},
                            {0.999, 3.090232306168}};
  for (const auto& [p, z] : rows) {
    EXPECT_NEAR(vlm::NormalQuantile(p, nullptr), z, 1e-7) << p;
    EXPECT_NEAR(vlm::NormalQuantile(1 - p, nullptr), -z, 1e-7) << p;
  }
  for (const double outside : {0.0, 1.0, -0.5, 2.0, kNan}) {
    EXPECT_EQ(vlm::NormalQuantile(outside, &failed), 0.0);
    EXPECT_TRUE(failed) << outside;
  }
}

// The textbook index heap sort by successive selection from position n / 2 + 1, written with its
// one loop.
std::vector<int> OneLoopHeapSort(const std::vector<double>& keys, double sign) {
  const int n = static_cast<int>(keys.size());
  std::vector<int> at(static_cast<std::size_t>(n) + 1);
  for (int i = 0; i <= n; ++i) at[static_cast<std::size_t>(i)] = i;
  const auto key = [&](int position) { return sign * keys[static_cast<std::size_t>(position) - 1]; };
  const auto slot = [&](int i) -> int& { return at[static_cast<std::size_t>(i)]; };
  int left = n / 2 + 1, right = n;
  while (n > 1) {
    int moving;
    if (left > 1) {
      moving = slot(--left);
    } else {
      moving = slot(right);
      slot(right) = slot(1);
      if (--right == 1) {
        slot(1) = moving;
        break;
      }
    }
    int i = left, j = 2 * left;
    while (j <= right) {
      if (j < right && key(slot(j)) < key(slot(j + 1))) ++j;
      if (!(key(moving) < key(slot(j)))) break;
      slot(i) = slot(j);
      i = j;
      j *= 2;
    }
    slot(i) = moving;
  }
  return {at.begin() + 1, at.end()};
}

TEST(IndexHeapSort, KeepsTheHeapsOrderOfEqualKeys) {
  std::mt19937 random(1);
  for (int n = 0; n < 300; ++n) {
    std::vector<double> keys;
    for (int i = 0; i < n; ++i)
      keys.push_back(static_cast<double>(random() % (1 + static_cast<unsigned>(n) / 3)));
    std::vector<int> up(keys.size()), down(keys.size()), heap(keys.size());
    vlm::IndexSortAscending<double>(keys, up);
    vlm::IndexSortDescending<double>(keys, down);
    vlm::MinHeapIndexSort<double>(keys, heap);
    EXPECT_EQ(up, OneLoopHeapSort(keys, 1)) << n;
    EXPECT_EQ(down, OneLoopHeapSort(keys, -1)) << n;
    EXPECT_EQ(heap, down) << n;
    for (std::size_t i = 1; i < keys.size(); ++i) {
      EXPECT_LE(keys[static_cast<std::size_t>(up[i - 1]) - 1], keys[static_cast<std::size_t>(up[i]) - 1]);
    }
  }
}

TEST(NumberText, IsPrintfs) {
  std::mt19937_64 random(5);
  for (int i = 0; i < 3000; ++i) {
    const double v =
        i % 3 == 0 ? std::bit_cast<double>(random()) : static_cast<double>(random() % 100000) / 1000;
    if (!std::isfinite(v)) continue;
    char text[400];
    std::snprintf(text, sizeof text, "%g", v);
    EXPECT_EQ(vlm::FormatGeneral(v), text);
    std::snprintf(text, sizeof text, "%.15e", v);
    EXPECT_EQ(vlm::FormatMachine(v), text);
    std::snprintf(text, sizeof text, "%.4f", v);
    EXPECT_EQ(vlm::FormatFixed(v, 4), text);
  }
  EXPECT_EQ(vlm::FormatGeneral(-kInfinity), "-inf");
  EXPECT_EQ(vlm::FormatFixed(kNan, 3), "nan");
}

TEST(NumberText, TellsNeighboursApart) {
  using Texts = std::vector<std::string>;
  const auto format = [](std::vector<double> values) { return vlm::FormatDistinct(values); };
  EXPECT_EQ(format({0.5, 1, 1e7}), (Texts{"0.5", "1", "1e+07"}));
  EXPECT_EQ(format({1, 1.000001, 1.000002}), (Texts{"1.000000e+00", "1.000001e+00", "1.000002e+00"}));
  EXPECT_EQ(format({1, 1.0000001, 2}),
            (Texts{"1.000000000000000e+00", "1.000000100000000e+00", "2.000000000000000e+00"}));
  EXPECT_EQ(format({}), Texts{});
}

TEST(Utf8Text, CountsCutsAndWidensCharacters) {
  struct Row {
    const char* name;
    std::string text;
    std::size_t characters;
    std::string firstTwo;
    std::u16string wide;
  };
  const Row rows[] = {
      {"empty", "", 0, "", u""},
      {"ascii", "abc", 3, "ab", u"abc"},
      {"two bytes", "\u00FC\u07FFx", 3, "\u00FC\u07FF", u"\u00FC\u07FFx"},
      {"three bytes", "a\u20AC\uFFFDb", 4, "a\u20AC", u"a\u20AC\uFFFDb"},
      {"four bytes", "\U0001F600\U0010FFFFz", 3, "\U0001F600\U0010FFFF", u"\U0001F600\U0010FFFFz"},
      {"a byte that begins nothing", "a\xFFz", 3, "a\xFF", u"a\uFFFDz"},
      {"cut short", "a\xE2\x82", 2, "a\xE2\x82", u"a\uFFFD\uFFFD"},
      {"longer than needed", "\xC0\xAF", 1, "\xC0\xAF", u"\uFFFD\uFFFD"},
      {"half of a pair", "\xED\xA0\x80", 1, "\xED\xA0\x80", u"\uFFFD\uFFFD\uFFFD"},
      {"past the last", "\xF4\x90\x80\x80", 1, "\xF4\x90\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(vlm::CharacterCount(row.text), row.characters);
    EXPECT_EQ(vlm::FirstCharacters(row.text, 2), row.firstTwo);
    EXPECT_EQ(vlm::ToUtf16(row.text), row.wide);
  }
}

TEST(FormatText, FillsPlacesAndTrustsNothing) {
  const std::string_view percent = "100%s";
  const auto check = [](const char* pattern, std::initializer_list<vlm::TextArgument> arguments,
                        const char* expected) {
    EXPECT_EQ(vlm::FormatText(pattern, arguments), expected) << pattern;
  };
  check("Dependent variable: %s", {"age"}, "Dependent variable: age");
  check("%s are more than %d. the first %d", {"x", 5000LL, 5000LL}, "x are more than 5000. the first 5000");
  check("%.4f /%.4f", {0.25, 1.0 / 3}, "0.2500 /0.3333");
  check("%g%%", {12.5}, "12.5%");
  check("%s", {percent}, "100%s");
  check("%s and %s", {"one"}, "one and %s");
  check("%d", {"text"}, "%d");
  check("%s", {3LL}, "3");
  check("%n %5d 50%", {1LL}, "%n %5d 50%");
  check("plain", {"unused"}, "plain");
}

}  // namespace
}  // namespace vlmfsl
