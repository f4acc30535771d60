// p-values of whole searches for bins: the quick search finds the gain of the thorough one, noise
// gives every p-value equally often, and the best of many predictors is judged as such.
#include "workbench/evidence/permutation_test.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

#include "workbench/evidence/gain_search.h"

namespace velmora::evidence {
namespace {

using binning::SearchRecord;

struct Data {
  std::vector<double> y;
  std::vector<double> codes;  // empty: measured
  std::vector<double> weights;
};

std::shared_ptr<const stats::TreeResponse> ResponseOf(const Data& data, bool counts = false) {
  auto response = std::make_shared<stats::TreeResponse>(
      data.codes.empty() ? stats::MakeContinuousResponse(data.y, -9999, {}, data.weights)
                         : stats::MakeClassResponse(data.y, data.codes, {}, data.weights));
  response->weightsAreCounts = counts;
  return response;
}

// A search over m pre-bins of equal size, which follow the response as far as signal says.
SearchRecord RecordOf(const std::shared_ptr<const stats::TreeResponse>& cases, const std::vector<double>& y,
                      std::mt19937& random, std::size_t m, double signal, bool categorical = false,
                      std::size_t separate = 0) {
  SearchRecord record;
  record.cases = cases;
  record.categorical = categorical;
  record.preBinCount = m;
  record.separateCount = separate;
  std::normal_distribution<double> normal;
  for (const double one : y) {
    const double place = 0.5 + 0.15 * (normal(random) + signal * (one - 0.5));
    const auto preBin = std::clamp(place, 0.0, 0.999) * static_cast<double>(m);
    const bool apart = separate > 0 && random() % 5 == 0;
    record.preBinOf.push_back(static_cast<std::uint16_t>(apart ? m + random() % separate : preBin));
  }
  return record;
}

std::vector<double> Labels(std::mt19937& random, std::size_t cases, int classes) {
  std::vector<double> y;
  for (std::size_t i = 0; i < cases; ++i)
    y.push_back(classes == 0 ? std::normal_distribution<double>()(random)
                             : random() % static_cast<unsigned>(classes));
  return y;
}

std::vector<double> CodesOf(int classes) {
  std::vector<double> codes;
  for (int c = 0; c < classes; ++c) codes.push_back(c);
  return codes;
}

TEST(GainSearch, FindsTheGainOfTheThoroughSearch) {
  struct Row {
    const char* name;
    int classes;
    std::size_t preBins;
    bool categorical;
    std::size_t separate;
    double signal;
    int minBins = 1, exactBins = 0;
  };
  const Row rows[] = {
      {"flag", 2, 40, false, 0, 0},
      {"flag with signal", 2, 100, false, 0, 2},
      {"flag, missing values apart", 2, 20, false, 1, 1},
      {"levels", 2, 30, true, 0, 0},
      {"levels and two codes apart", 2, 12, true, 2, 1},
      {"three classes", 3, 25, false, 0, 1},
      {"mean", 0, 60, false, 0, 0.5},
      {"mean of levels", 0, 15, true, 1, 0.5},
      {"more levels than are partitioned", 2, 2000, true, 1, 1},
      {"mean of that many", 0, 2000, true, 0, 0.5},
      {"at least four bins", 2, 30, false, 0, 0, 4},
      {"exactly three bins", 0, 30, false, 0, 1, 1, 3},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    std::mt19937 random(11);
    const std::vector<double> y = Labels(random, 700, row.classes);
    const auto cases = ResponseOf({y, CodesOf(row.classes), {}});
    SearchRecord record = RecordOf(cases, y, random, row.preBins, row.signal, row.categorical, row.separate);
    record.rules.minBins = row.minBins;
    record.rules.exactBins = row.exactBins;
    ASSERT_TRUE(GainSearch::Supports(record));
    const std::size_t all = row.preBins + row.separate;
    const auto stride = static_cast<std::size_t>(row.classes == 0 ? 3 : row.classes);
    std::vector<std::uint32_t> count(all), classes(all * stride);
    std::vector<double> sums(all);
    binning::PreBinSums values, separate;
    for (binning::PreBinSums* one : {&values, &separate}) {
      const std::size_t size = one == &values ? row.preBins : row.separate;
      one->classCount = row.classes;
      one->values.assign(size * stride, 0.0);
      one->cases.assign(size, 0.0);
    }
    double squares = 0;
    for (std::size_t i = 0; i < y.size(); ++i) {
      const std::size_t b = record.preBinOf[i];
      binning::PreBinSums& part = b < row.preBins ? values : separate;
      const std::size_t place = b < row.preBins ? b : b - row.preBins;
      ++count[b];
      part.cases[place] += 1;
      part.squaredWeights += 1;
      if (row.classes > 0) {
        ++classes[b * stride + static_cast<std::size_t>(y[i])];
        part.values[place * stride + static_cast<std::size_t>(y[i])] += 1;
      } else {
        const double deviation = cases->deviations[i];
        sums[b] += deviation;
        squares += deviation * deviation;
        part.values[place * 3] += 1;
        part.values[place * 3 + 1] += deviation;
        part.values[place * 3 + 2] += deviation * deviation;
      }
    }
    const GainSearch search(record, count);
    GainSearch::Scratch scratch;
    const double quick = row.classes > 0 ? search.OfClasses(classes, stride, LogTable(y.size()), scratch)
                                         : search.OfMeans(sums, squares, scratch);
    const double thorough = binning::SearchGain(values, separate, record.rules, row.categorical);
    ASSERT_TRUE(std::isfinite(thorough));
    EXPECT_NEAR(quick, thorough, 1e-8 * std::max(1.0, std::fabs(thorough)));
  }
}

// How far an empirical distribution is from the uniform one, times the root of n: everywhere, and
// where there are too many small values.
struct Distance {
  double any = 0, above = 0;
};

Distance DistanceFromUniform(std::vector<double> p) {
  std::sort(p.begin(), p.end());
  Distance distance;
  const auto n = static_cast<double>(p.size());
  for (std::size_t i = 0; i < p.size(); ++i) {
    distance.above = std::max(distance.above, (static_cast<double>(i + 1) / n - p[i]) * std::sqrt(n));
    distance.any =
        std::max({distance.any, distance.above, (p[i] - static_cast<double>(i) / n) * std::sqrt(n)});
  }
  return distance;
}

TEST(TestSearches, NoiseGivesEveryPEquallyOften) {
  struct Row {
    const char* name;
    int classes;
    bool categorical, weighted;
    std::size_t separate;
    std::size_t preBins = 10;
  };
  // The last ones have few gains: many tie, those of a code or missing values apart above all.
  const Row rows[] = {{"flag", 2, false, false, 0},
                      {"mean", 0, false, false, 0},
                      {"weights", 2, false, true, 0},
                      {"levels and a code", 2, true, false, 1},
                      {"missing values apart", 2, false, false, 1, 40},
                      {"two values", 2, false, false, 0, 2}};
  WorkerPool pool;
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    std::mt19937 random(3);
    std::lognormal_distribution<double> weight(0, 0.5);
    std::vector<double> single, best;
    const int runs = row.weighted ? 60 : 200;
    for (int run = 0; run < runs; ++run) {
      Data data{Labels(random, 150, row.classes), CodesOf(row.classes), {}};
      for (std::size_t i = 0; row.weighted && i < data.y.size(); ++i) data.weights.push_back(weight(random));
      const auto cases = ResponseOf(data);
      std::vector<SearchRecord> records;
      for (int p = 0; p < 3; ++p)
        records.push_back(RecordOf(cases, data.y, random, row.preBins, 0, row.categorical, row.separate));
      const SearchRecord* const pointers[] = {&records[0], &records[1], &records[2]};
      const SearchTest test = TestSearches(pointers, {99, static_cast<std::uint64_t>(run)}, pool);
      single.push_back(test.p[0]);
      best.push_back(*std::min_element(test.adjustedP.begin(), test.adjustedP.end()));
    }
    // Each is passed once in a hundred times.
    for (const std::vector<double>* p : {&single, &best}) {
      EXPECT_LT(DistanceFromUniform(*p).above, 1.52);
      EXPECT_LT(DistanceFromUniform(*p).any, 1.63);
    }
  }
}

TEST(TestSearches, JudgesTheBestOfManyAsSuch) {
  std::mt19937 random(5);
  const Data data{Labels(random, 400, 2), CodesOf(2), {}};
  const auto cases = ResponseOf(data);
  std::vector<SearchRecord> records;
  records.push_back(RecordOf(cases, data.y, random, 50, 1.5));
  for (int p = 0; p < 30; ++p) records.push_back(RecordOf(cases, data.y, random, 5 + p, 0, p % 2 == 1));
  records.push_back(records[0]);
  SearchRecord unknown = records[1];
  unknown.preBinOf.clear();
  records.push_back(unknown);
  std::vector<const SearchRecord*> pointers;
  for (const SearchRecord& record : records) pointers.push_back(&record);
  WorkerPool one(1), three(3);
  const SearchTest test = TestSearches(pointers, {499, 7}, one);
  EXPECT_DOUBLE_EQ(test.p[0], 1.0 / 500);
  EXPECT_DOUBLE_EQ(test.adjustedP[0], 1.0 / 500);
  EXPECT_DOUBLE_EQ(test.p[31], test.p[0]);
  EXPECT_TRUE(std::isnan(test.p[32]) && std::isnan(test.adjustedP[32]));
  int below = 0, adjustedBelow = 0;
  for (std::size_t i = 1; i <= 30; ++i) {
    EXPECT_GE(test.adjustedP[i], test.p[i]);
    below += test.p[i] < 0.1 ? 1 : 0;
    adjustedBelow += test.adjustedP[i] < 0.1 ? 1 : 0;
  }
  EXPECT_GT(below, 0);
  EXPECT_EQ(adjustedBelow, 0);

  const SearchTest again = TestSearches(pointers, {499, 7}, three);
  const SearchTest other = TestSearches(pointers, {499, 8}, three);
  pointers.pop_back();
  for (std::size_t i = 0; i < pointers.size(); ++i) {
    EXPECT_EQ(test.p[i], again.p[i]);
    EXPECT_EQ(test.adjustedP[i], again.adjustedP[i]);
  }
  EXPECT_NE(test.p, other.p);
  EXPECT_TRUE(TestSearches(pointers, {499, 7}, one, [](double) { return false; }).cancelled);
}

TEST(TestSearches, CountsAreCases) {
  std::mt19937 random(9);
  const std::vector<double> y = Labels(random, 80, 2);
  std::vector<double> counts, long_y;
  for (std::size_t i = 0; i < y.size(); ++i) counts.push_back(1 + random() % 4);
  const SearchRecord rows = RecordOf(ResponseOf({y, CodesOf(2), counts}, true), y, random, 8, 0.5);
  SearchRecord cases = rows;
  cases.preBinOf.clear();
  for (std::size_t i = 0; i < y.size(); ++i) {
    for (int copy = 0; copy < counts[i]; ++copy) {
      long_y.push_back(y[i]);
      cases.preBinOf.push_back(rows.preBinOf[i]);
    }
  }
  cases.cases = ResponseOf({long_y, CodesOf(2), {}});
  WorkerPool pool(1);
  const SearchRecord* const counted[] = {&rows};
  const SearchRecord* const expanded[] = {&cases};
  const SearchTest a = TestSearches(counted, {200, 1}, pool), b = TestSearches(expanded, {200, 1}, pool);
  EXPECT_EQ(a.gains, b.gains);
  EXPECT_EQ(a.p, b.p);
  counts[3] = 1.5;
  const SearchRecord fractions = RecordOf(ResponseOf({y, CodesOf(2), counts}, true), y, random, 8, 0.5);
  const SearchRecord* const broken[] = {&fractions};
  EXPECT_THROW(static_cast<void>(TestSearches(broken, {200, 1}, pool)), std::invalid_argument);
}

}  // namespace
}  // namespace velmora::evidence
