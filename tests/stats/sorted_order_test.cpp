#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <functional>
#include <limits>
#include <numeric>

#include "tests/stats/stats_testing.h"
#include "workbench/stats/missing.h"

namespace velmora::stats {
namespace {

constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

void ExpectSortedLikeStdSort(const std::vector<double>& column, const std::vector<std::uint8_t>& selected,
                             double code, SortScratch& scratch, SortedOrder& order) {
  OrderVector<std::uint32_t> cases;
  for (std::size_t i = 0; i < column.size(); ++i) {
    const bool missing = std::isfinite(column[i]) && MissingBits(code)(column[i]);
    if ((selected.empty() || selected[i] != 0) && !missing && column[i] == column[i])
      cases.push_back(static_cast<std::uint32_t>(i));
  }
  std::stable_sort(cases.begin(), cases.end(), [&](auto a, auto b) { return column[a] < column[b]; });
  OrderVector<std::int32_t> starts;
  // A value within the tolerance of its predecessor is the same value; so is an infinity after an
  // infinity.
  const auto same = [](double a, double b) { return a == b || NearlyEqual(a, b); };
  for (std::size_t i = 0; i < cases.size(); ++i)
    if (i == 0 || !same(column[cases[i - 1]], column[cases[i]]))
      starts.push_back(static_cast<std::int32_t>(i));
  if (!cases.empty()) starts.push_back(static_cast<std::int32_t>(cases.size()));
  SortColumn(column, code, selected, scratch, order);
  EXPECT_EQ(order.cases, cases);
  EXPECT_EQ(order.starts, starts);
}

TEST(SortedOrder, IsTheStableOrderWhateverTheColumnLooksLike) {
  Random random(7);
  struct Row {
    const char* name;
    std::function<double()> draw;
  };
  const Row rows[] = {
      {"bell", [&] { return random.Normal(); }},
      {"money", [&] { return std::floor(1e5 * random.Uniform() * random.Uniform()) / 100; }},
      {"few whole numbers", [&] { return random.Below(40) - 10.0; }},
      {"many whole numbers", [&] { return std::floor(1e9 * random.Uniform()); }},
      {"three decimals, both signs", [&] { return std::floor(1000 * random.Normal()) / 1000; }},
      {"cents far apart", [&] { return std::floor(4e9 * random.Normal()) / 100; }},
      {"four decimals but for a few",
       [&] { return random.Below(5000) == 0 ? 0.00001 : std::floor(1e5 * random.Uniform()) / 1e4; }},
      {"one value", [&] { return 3.5; }},
      {"mostly zero, of both signs",
       [&] { return random.Below(3) != 0   ? random.Normal()
                    : random.Below(2) != 0 ? 0.0
                                           : -0.0; }},
      {"an outlier flattens the top bits",
       [&] { return random.Below(9000) == 0 ? 1e300 : 1 + 1e-9 * random.Uniform(); }},
      {"long runs that differ far down",
       [&] { return random.Below(5) * 1e80 + random.Below(2) * (1 + 1e-12 * random.Below(5000)); }},
      {"denormal", [&] { return (random.Below(1000) - 500) * std::numeric_limits<double>::denorm_min(); }},
      {"infinite",
       [&] {
         const int d = random.Below(8);
         return d == 0 ? kInf : d == 1 ? -kInf : random.Normal();
       }},
      {"infinite only", [&] { return random.Below(2) != 0 ? kInf : -kInf; }},
      {"missing and not a number",
       [&] {
         const int d = random.Below(6);
         return d == 0 ? 1.7e308 : d == 1 ? kNan : 10 * random.Normal();
       }},
      {"whole and missing", [&] { return random.Below(5) == 0 ? 1.7e308 : random.Below(30); }},
      {"all missing", [&] { return random.Below(2) != 0 ? 1.7e308 : kNan; }},
      {"huge whole numbers", [&] { return 9007199254740992.0 * (1 + random.Below(50)); }},
      {"whole numbers that only doubles tell apart", [&] { return 1e15 + 12.0 * random.Below(2000); }},
      {"the same in runs of a few", [&] { return 1e15 + 12.0 * random.Below(2000) + random.Below(3); }},
      {"cents that only doubles tell apart", [&] { return 3e13 + std::floor(1e4 * random.Uniform()) / 100; }},
      {"sums of decimals", [&] { return 0.1 * random.Below(50) + 0.2 * random.Below(50); }},
      {"a few units apart",
       [&] { return std::bit_cast<double>(std::bit_cast<std::int64_t>(1.0) + random.Below(100000)); }},
      {"a few units apart, over a wide range",
       [&] {
         const std::int64_t block = std::int64_t{1} << 40;
         return std::bit_cast<double>(std::bit_cast<std::int64_t>(1e-3) + block * random.Below(4000) +
                                      random.Below(40));
       }},
      {"beside infinity",
       [&] {
         const double largest = std::numeric_limits<double>::max();
         return random.Below(3) != 0 ? kInf : random.Below(2) != 0 ? largest : std::nextafter(largest, 0.0);
       }},
  };
  SortScratch scratch;
  SortedOrder order;
  for (const Row& row : rows) {
    for (const std::size_t count : {std::size_t{0}, std::size_t{1}, std::size_t{2}, std::size_t{100},
                                    std::size_t{20000}, std::size_t{300000}}) {
      SCOPED_TRACE(std::string(row.name) + ", " + std::to_string(count) + " cases");
      if (count > 20000 && row.name != rows[0].name && row.name != rows[1].name) continue;
      std::vector<double> column(count);
      for (double& value : column) value = row.draw();
      const double code = 1.7e308;
      ExpectSortedLikeStdSort(column, {}, code, scratch, order);
      std::vector<std::uint8_t> selected(count);
      for (std::uint8_t& s : selected) s = random.Below(4) != 0 ? 1 : 0;
      if (count > 0) ExpectSortedLikeStdSort(column, selected, code, scratch, order);
    }
  }
}

TEST(SortedOrder, TakesFifteenUnitsAroundTheMissingCodeAsMissing) {
  for (const double code : {-9.0, 0.0, 1.7e308, std::numeric_limits<double>::max(), kInf, kNan}) {
    SCOPED_TRACE(code);
    std::vector<double> column{1.0, code, code};
    for (int i = 0; i < 15; ++i) column[1] = std::nextafter(column[1], -kInf);
    for (int i = 0; i < 16; ++i) column[2] = std::nextafter(column[2], -kInf);
    std::size_t expected = code == code ? 2 : 1;
    if (code == kInf) expected = 3;  // an infinite code equals nothing
    EXPECT_EQ(OrderOf(column, code).CaseCount(), expected);
  }
  EXPECT_EQ(OrderOf({kInf, 1.0}, std::numeric_limits<double>::max()).CaseCount(), 2u);
}

TEST(SortedOrder, FilterIsTheOrderOfTheMarkedCases) {
  Random random(3);
  std::vector<double> column(500);
  std::vector<std::uint8_t> marked(500);
  for (std::size_t i = 0; i < 500; ++i) {
    column[i] = random.Below(60);
    marked[i] = column[i] > 20 && random.Below(2) != 0 ? 1 : 0;
  }
  SortScratch scratch;
  SortedOrder direct;
  SortColumn(column, 1.7e308, marked, scratch, direct);
  SortedOrder filtered;
  FilterOrder(OrderOf(column), marked, filtered);
  EXPECT_EQ(filtered.cases, direct.cases);
  EXPECT_EQ(filtered.starts, direct.starts);
  FilterOrder(OrderOf(column), std::vector<std::uint8_t>(500, 0), filtered);
  EXPECT_EQ(filtered.DistinctCount(), 0u);
}

}  // namespace
}  // namespace velmora::stats
