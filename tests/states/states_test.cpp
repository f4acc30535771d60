// States of parts: merging in any order, bytes that travel, bytes that are damaged on the way.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <numeric>

#include "tests/stats/stats_testing.h"
#include "workbench/data/errors.h"
#include "workbench/states/pair_sums.h"
#include "workbench/states/value_cells.h"
#include "workbench/states/variable_survey.h"

namespace velmora::states {
namespace {

using stats::Random;

std::vector<double> Lognormal(std::size_t count, std::uint64_t seed) {
  Random random(seed);
  std::vector<double> values;
  for (std::size_t i = 0; i < count; ++i)
    values.push_back(std::exp(3 * (random.Uniform() + random.Uniform() + random.Uniform() - 1.5)) - 1);
  return values;
}

bool AreSame(const ValueCells& a, const ValueCells& b) {
  return std::equal(a.Cells().begin(), a.Cells().end(), b.Cells().begin(), b.Cells().end(),
                    [](const ValueCell& x, const ValueCell& y) {
                      return x.low == y.low && x.high == y.high && x.cases == y.cases;
                    });
}

// Many values in 1, 7 and 200 parts, some of them empty, merged one by one
// and in pairs, through bytes.
TEST(ValueCells, DependOnTheValuesAlone) {
  constexpr std::size_t kCount = 60000, kMost = 1000;
  std::vector<double> values = Lognormal(kCount, 7);
  values[0] = INFINITY;
  values[1] = -0.0;
  ValueCells whole(kMost);
  for (const double value : values) whole.Add(value, 1, 1);
  ASSERT_FALSE(whole.IsExact());
  EXPECT_LE(whole.Cells().size(), kMost);
  EXPECT_GT(whole.Cells().size(), kMost / 3);

  std::reverse(values.begin(), values.end());
  for (const std::size_t parts : {1, 7, 200}) {
    std::vector<ValueCells> cells(parts, ValueCells(kMost));
    for (std::size_t i = 0; i < kCount; ++i) cells[(i * i) % parts].Add(values[i], 1, 1);
    ValueCells chain(kMost);
    for (const ValueCells& one : cells) chain.Merge(ValueCells::Unpack(Unsealed(Sealed(one.Pack()))));
    EXPECT_TRUE(AreSame(chain, whole)) << parts;
    for (std::size_t step = 1; step < parts; step *= 2) {
      for (std::size_t i = 0; i + step < parts; i += 2 * step) cells[i].Merge(cells[i + step]);
    }
    EXPECT_TRUE(AreSame(cells[0], whole)) << parts << " parts, in pairs";
  }

  // A quantile from the cells is as close to the true one as RankError says.
  std::sort(values.begin(), values.end());
  EXPECT_LT(whole.RankError(), 0.02);
  double below = 0;
  for (const ValueCell& cell : whole.Cells()) {
    below += cell.cases;
    const auto rank = std::upper_bound(values.begin(), values.end(), cell.high) - values.begin();
    ASSERT_EQ(static_cast<double>(rank), below);
  }
}

TEST(ValueCells, FewValuesAreExact) {
  ValueCells cells(100);
  for (int i = 0; i < 10000; ++i) cells.Add(i % 100 * 0.1, 1, 0.5);
  EXPECT_TRUE(cells.IsExact());
  EXPECT_EQ(cells.Cells().size(), 100U);
  EXPECT_EQ(cells.RankError(), 0);
  EXPECT_EQ(cells.Cells()[3].cases, 100);
  EXPECT_EQ(cells.Cells()[3].mass, 50);
}

Column Texts(const std::vector<std::string>& labels, const std::vector<double>& codes) {
  Column column;
  column.name = "town";
  column.fromText = true;
  for (const std::string& label : labels) column.labels.push_back({column.labels.size() + 1.0, label});
  column.values = codes;
  return column;
}

PartCases AllCases(std::size_t count) {
  PartCases cases;
  cases.used.assign(count, 1);
  cases.cases = cases.frequency = cases.weight = cases.squares = std::vector<double>(count, 1);
  return cases;
}

// Each part numbers its own texts.
TEST(VariableSurvey, TextsMeetByTheirBytes) {
  VariableSurvey a("town", {}), b("town", {});
  a.Take(Texts({"Bonn", "Kiel"}, {1, 2, 2}), AllCases(3), false);
  b.Take(Texts({"Kiel", "Ulm"}, {1, 2, kMissing}), AllCases(3), false);
  a.Merge(VariableSurvey::Unpack(Unsealed(Sealed(b.Pack()))));
  ASSERT_EQ(a.Levels().size(), 3U);
  EXPECT_EQ(a.Levels().at("Kiel").cases, 3);
  EXPECT_EQ(a.UsedCases(), 5);
  Column numbers;
  numbers.name = "town";
  numbers.values = {1, 2};
  VariableSurvey c("town", {});
  c.Take(numbers, AllCases(2), false);
  EXPECT_THROW(a.Merge(c), DataError);
}

// A variable of too many texts stays small, whichever part meets the limit.
TEST(VariableSurvey, TooManyTextsAreDropped) {
  const SurveyLimits limits{100, 1000};
  VariableSurvey whole("town", limits), merged("town", limits);
  for (int part = 0; part < 4; ++part) {
    std::vector<std::string> labels;
    for (int i = 0; i < 400; ++i) labels.push_back(std::to_string(100000 + part * 400 + i));
    std::vector<double> codes(400);
    std::iota(codes.begin(), codes.end(), 1);
    VariableSurvey one("town", limits);
    one.Take(Texts(labels, codes), AllCases(400), false);
    EXPECT_FALSE(one.HasTooManyLevels());
    whole.Take(Texts(labels, codes), AllCases(400), false);
    merged.Merge(one);
  }
  EXPECT_TRUE(whole.HasTooManyLevels());
  EXPECT_TRUE(merged.HasTooManyLevels());
  EXPECT_TRUE(merged.Levels().empty());
  EXPECT_LT(Sealed(merged.Pack()).size(), 2000U);
  EXPECT_NE(merged.Representative({}).role, Role::kUsable);
}

// Against sums over all cases at once; the weights have a mean of their own.
TEST(PairSums, MergedMomentsAreThoseOfAllCases) {
  constexpr std::size_t kCases = 5000;
  Random random(3);
  std::vector<double> values, weights;
  std::vector<std::uint32_t> groupOf;
  for (std::size_t i = 0; i < kCases; ++i) {
    groupOf.push_back(static_cast<std::uint32_t>(3 * random.Uniform()));
    weights.push_back(0.1 + random.Uniform());
    // Groups far apart, each narrow.
    values.push_back(100 * groupOf.back() + 1e-3 * random.Uniform());
  }
  PairSums merged(3, 0, 0);
  for (std::size_t begin = 0; begin < kCases; begin += 700) {
    const std::size_t end = std::min(begin + 700, kCases);
    PartCases cases = AllCases(end - begin);
    OutcomePart outcome;
    std::vector<std::uint32_t> groups;
    for (std::size_t i = begin; i < end; ++i) {
      cases.weight[i - begin] = weights[i];
      cases.squares[i - begin] = weights[i] * weights[i];
      outcome.classOf.push_back(0);
      outcome.values.push_back(values[i]);
      groups.push_back(groupOf[i]);
    }
    PairSums part(3, 0, 0);
    part.Take(groups, outcome, cases);
    merged.Merge(PairSums::Unpack(Unsealed(Sealed(part.Pack()))));
  }
  for (std::uint32_t g = 0; g < 3; ++g) {
    long double weight = 0, mean = 0, deviations = 0;
    for (std::size_t i = 0; i < kCases; ++i) {
      if (groupOf[i] != g) continue;
      weight += weights[i];
      mean += weights[i] * values[i];
    }
    mean /= weight;
    for (std::size_t i = 0; i < kCases; ++i) {
      if (groupOf[i] == g) deviations += weights[i] * (values[i] - mean) * (values[i] - mean);
    }
    const PairSums::Cell cell = merged.At(g, 0);
    EXPECT_NEAR(cell.weight, static_cast<double>(weight), 1e-12 * cell.weight);
    EXPECT_NEAR(cell.mean, static_cast<double>(mean), 1e-12 * std::fabs(cell.mean));
    // Values of 200 have 3e-14 between them.
    EXPECT_NEAR(cell.deviations, static_cast<double>(deviations), 1e-10 * cell.deviations);
  }
}

// Cases that count once are taken faster than those with weights, and nothing else is different:
// with missing values, cases that are not used, and more values than are kept.
TEST(SingleCases, GiveWhatWeightsOfOneGive) {
  constexpr std::size_t kCases = 30000;
  for (const bool anyLeftOut : {false, true}) {
    Column column;
    column.name = "income";
    column.values = Lognormal(kCases, 11);
    PartCases slow = AllCases(kCases);
    OutcomePart classes, measured;
    classes.classes = 2;
    for (std::size_t i = 0; i < kCases; ++i) {
      classes.classOf.push_back(i % 5 == 0 ? 1 : 0);
      measured.classOf.push_back(0);
      measured.values.push_back(1e-3 * static_cast<double>(i % 997) - 0.4);
      if (!anyLeftOut) continue;
      if (i % 7 == 0) column.values.Own()[i] = kMissing;
      if (i % 11 == 0) slow.used[i] = 0;
      if (i % 13 == 0) classes.classOf[i] = measured.classOf[i] = kNoGroup;
    }
    slow.totals.used = static_cast<double>(std::count(slow.used.begin(), slow.used.end(), 1));
    PartCases fast = slow;
    fast.areSingle = true;

    VariableSurvey one("income", {1000, 100}), other("income", {1000, 100});
    one.Take(column, slow, anyLeftOut);
    other.Take(column, fast, anyLeftOut);
    EXPECT_TRUE(AreSame(one.Cells(), other.Cells()));
    EXPECT_EQ(one.UsedCases(), other.UsedCases());
    EXPECT_EQ(one.Distinct(), other.Distinct());
    EXPECT_EQ(one.UsedMoments().mass, other.UsedMoments().mass);
    EXPECT_NEAR(one.UsedMoments().mean, other.UsedMoments().mean, 1e-12 * one.UsedMoments().mean);
    EXPECT_NEAR(one.UsedMoments().squares, other.UsedMoments().squares, 1e-12 * one.UsedMoments().squares);

    Grouping grouping{"income", false, {}, {}};
    for (const ValueCell& cell : one.Cells().Cells()) grouping.highest.push_back(cell.high);
    grouping.highest.pop_back();  // what is above is in no group
    for (std::size_t groups = grouping.highest.size(); groups > 0; groups /= 3) {
      grouping.highest.resize(groups);
      const std::vector<std::uint32_t> groupOf = grouping.Assign(column, fast);
      for (std::size_t i = 0; i < kCases; ++i) {
        if (fast.used[i] == 0 || column.values[i] == kMissing) continue;
        const auto at = std::lower_bound(grouping.highest.begin(), grouping.highest.end(), column.values[i]);
        ASSERT_EQ(groupOf[i], at == grouping.highest.end()
                                  ? kNoGroup
                                  : static_cast<std::uint32_t>(at - grouping.highest.begin()));
      }
      for (const OutcomePart* const outcome : {&classes, &measured}) {
        PairSums weighted(grouping.Count(), outcome->classes, 0),
            counted(grouping.Count(), outcome->classes, 0);
        weighted.Take(groupOf, *outcome, slow);
        counted.Take(groupOf, *outcome, fast);
        EXPECT_EQ(weighted.Pack(), counted.Pack());
      }
    }
  }
}

TEST(Packed, DamageIsNoticed) {
  ValueCells cells(100);
  for (int i = 0; i < 50; ++i) cells.Add(i, 1, 2);
  const std::string bytes = Sealed(cells.Pack());
  EXPECT_EQ(ValueCells::Unpack(Unsealed(bytes)).Cells().size(), 50U);
  const std::vector<std::pair<const char*, std::function<void(std::string&)>>> damages = {
      {"one bit", [](std::string& b) { b[b.size() / 2] = static_cast<char>(b[b.size() / 2] ^ 4); }},
      {"cut short", [](std::string& b) { b.resize(b.size() - 1); }},
      {"longer", [](std::string& b) { b += 'x'; }},
      {"another version", [](std::string& b) { b[8] = 9; }},
      {"not a state", [](std::string& b) { b = "PAR1"; }},
      {"empty", [](std::string& b) { b.clear(); }}};
  for (const auto& [name, damage] : damages) {
    std::string damaged = bytes;
    damage(damaged);
    EXPECT_THROW(Unsealed(damaged), DataError) << name;
  }
  // Complete, but of another kind than it claims.
  Packed packed = cells.Pack();
  packed["cases"] = PackCounts(std::vector<double>{1, 2});
  EXPECT_THROW(ValueCells::Unpack(packed), DataError);
  packed.erase("cases");
  EXPECT_THROW(ValueCells::Unpack(packed), DataError);
}

// Malicious bytes with a valid checksum.
TEST(Packed, HostileContentsAreRefused) {
  using namespace std::string_literals;
  const std::pair<const char*, std::string> bodies[] = {
      {"nested too deep", "\xA1\x61x" + std::string(1000000, '\x81') + "\x00"s},
      {"more members than bytes", "\xA1\x61x\x9B\x7F\xFF\xFF\xFF\xFF\xFF\xFF\xFF"s},
      {"a text longer than the bytes", "\xA1\x61x\x7B\x7F\xFF\xFF\xFF\xFF\xFF\xFF\xFF"s},
      {"no object", "\x80"s}};
  for (const auto& [name, body] : bodies) EXPECT_THROW(Unsealed(SealedBody(body)), DataError) << name;

  VariableSurvey survey("town", {});
  survey.Take(Texts({"Bonn"}, {1}), AllCases(1), false);
  const Packed grouping = Grouping{"age", false, {1, 2, 3}, {}}.Pack();
  const Packed outcome = MeasuredOutcome::Of("y", -3, 5, 1).Pack();
  const auto changed = [](Packed packed, const char* member, const Packed& value) {
    packed[member] = value;
    return packed;
  };
  const std::pair<const char*, std::function<void()>> states[] = {
      {"a kind beyond its type", [&] { VariableSurvey::Unpack(changed(survey.Pack(), "kind", 4294967296)); }},
      {"a kind that is no whole number",
       [&] { VariableSurvey::Unpack(changed(survey.Pack(), "kind", 1e300)); }},
      {"more cases than can be counted",
       [&] {
         VariableSurvey::Unpack(
             changed(survey.Pack(), "sums", PackDoubles(std::vector{1e300, 1.0, 1.0, 0.0, 0.0})));
       }},
      {"ends that do not ascend",
       [&] {
         Grouping::Unpack(changed(grouping, "highest", PackDoubles(std::vector{2.0, 1.0})));
       }},
      {"an exponent of no double",
       [&] { MeasuredOutcome::Unpack(changed(outcome, "exponent", 2147483647)); }},
      {"more sums than there are",
       [&] { PairSums::Unpack(changed(PairSums(2, 2, 0).Pack(), "groups", 4294967295U)); }}};
  for (const auto& [name, read] : states) EXPECT_THROW(read(), DataError) << name;
  Packed sums = PairSums(3, 2, 0).Pack();
  sums["groups"] = 4000000000U;
  EXPECT_THROW(PairSums::Unpack(sums), DataError);
}

}  // namespace
}  // namespace velmora::states
