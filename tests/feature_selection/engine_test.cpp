// The engine against the plain loop, bit by bit; against frozen figures; and through every fault of
// the host.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdlib>
#include <map>
#include <numeric>
#include <optional>
#include <random>

#include "base/tolerant.h"
#include "module/feature_selection/compute_moments.h"
#include "module/feature_selection/compute_statistics.h"
#include "module/feature_selection/cross_table.h"
#include "module/feature_selection/feature_selection_settings.h"
#include "module/feature_selection/interval_rule.h"
#include "module/feature_selection/vector_kernels.h"
#include "tests/feature_selection/reference_engine.h"
#include "tests/support/scripted_engine_host.h"

namespace vlmfsl::testing {
namespace {

using Numbers = std::vector<int>;

struct Lists {
  Numbers continuousDependents, categoricalDependents, continuousPredictors, categoricalPredictors;
};

class Settings {
 public:
  Settings(ScriptedEngineHost& host, const Lists& lists) {
    EXPECT_EQ(record.Create(&host), kOk);
    EXPECT_EQ(record.SetVariables(VariableRole::kContinuousDependent, lists.continuousDependents), kOk);
    EXPECT_EQ(record.SetVariables(VariableRole::kCategoricalDependent, lists.categoricalDependents), kOk);
    EXPECT_EQ(record.SetVariables(VariableRole::kContinuousPredictor, lists.continuousPredictors), kOk);
    EXPECT_EQ(record.SetVariables(VariableRole::kCategoricalPredictor, lists.categoricalPredictors), kOk);
  }
  ~Settings() { record.ReleaseAll(); }
  Settings(const Settings&) = delete;
  FeatureSelectionSettings* operator->() { return &record; }
  FeatureSelectionSettings record;
};

std::uint64_t Bits(double v) { return std::isnan(v) ? ~std::uint64_t{0} : std::bit_cast<std::uint64_t>(v); }

// 35 variables of many kinds, with missing values, ties, both zeros, and values a few units in the
// last place apart.
void FillWithEverything(ScriptedEngineHost* host, int cases, unsigned seed) {
  std::mt19937 random(seed);
  std::normal_distribution<double> normal;
  const auto below = [&](int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); };
  const auto column = [&](auto value, double missingShare = 0.0, double code = vlm::kMissingValue) {
    std::vector<double> values;
    for (int i = 0; i < cases; ++i) values.push_back(below(1000) < missingShare * 1000 ? code : value());
    host->AddColumn(std::move(values), "v" + std::to_string(host->columns.size() + 1), code);
  };
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double infinity = std::numeric_limits<double>::infinity();
  const auto ulps = [](double v, int n) { return vlm::FromOrderedBits(vlm::OrderedBits(v) + n); };
  // 1 to 4: continuous dependents
  column([&] { return 50 + 10 * normal(random); });
  column([&] { return static_cast<double>(below(7)) - 3; }, 0.05);
  column([&] { return std::exp(3 * normal(random)); }, 0.1, -9.0);
  column([&] { return below(40) == 0 ? (below(2) ? infinity : nan) : normal(random); });
  // 5 to 8: categorical dependents
  column([&] { return static_cast<double>(below(2)); });
  column([&] { return static_cast<double>(below(5)) + 1; }, 0.05);
  column([&] { return std::floor(300 * normal(random)); });
  column([&] { return below(500) == 0 ? below(90) * 1.5 : below(3) ? 0.0 : -0.0; });
  // 9 to 20: continuous predictors
  column([&] { return normal(random); });
  column([&] { return std::exp(2 * normal(random)); }, 0.1);
  column([&] { return ulps(1.0, below(200)); });
  column([&] { return static_cast<double>(below(10)); }, 0.02, 3.0);
  column([&] { return 4.0; });
  column([&] { return below(3) ? 0.0 : -0.0; });
  int at = 0;  // ordinary values in the first half
  column([&] { return 2 * ++at < cases ? normal(random) : ulps(0.0, below(90) - 45); }, 0.02, 0.0);
  column([&] { return 1e300 * normal(random); });
  at = 0;
  column([&] {
    return 2 * ++at < cases ? normal(random)
           : below(30) == 0 ? (below(2) ? infinity : -infinity)
           : below(50) == 0 ? nan
                            : normal(random);
  });
  column([&] { return -7 + 1e-9 * normal(random); }, 0.5);
  column([&] { return 0.0; }, 1.0);
  column([&] { return normal(random) > 1 ? 5 * normal(random) : 0.0; }, 0.01);
  // 21 to 31: categorical predictors
  column([&] { return static_cast<double>(below(2)); });
  column([&] { return static_cast<double>(below(20)); }, 0.03);
  column([&] { return static_cast<double>(below(30)) + 50; });
  column([&] { return static_cast<double>(below(5000)) - 2500; }, 0.01);
  column([&] { return below(9) / 4.0; });
  column([&] { return below(3) ? -0.0 : 0.0; });
  column([&] { return below(4) == 0 ? nan : below(4) == 0 ? infinity : static_cast<double>(below(2)); });
  column([&] { return ulps(2.0, below(3)); });
  column([&] { return 1.0; });
  column([&] { return static_cast<double>(below(3)); }, 0.9);
  column([&] { return 1e9 * below(70); });
  // 32: a count
  column([&] { return below(20) == 0 ? 0.5 : below(20) == 0 ? ulps(1.0, -9) : 1 + below(8) / 2.0; }, 0.03);
  // 33: a continuous dependent that is finite for a while
  column([&] { return below(2000) == 0 ? infinity : normal(random); });
  // 34, 35: continuous predictors whose moments only a division gives: the last mean is infinite,
  // not not-a-number; and 9/6 of the smallest number is two of them, not one
  at = 0;
  column([&] { return ++at == cases ? infinity : normal(random); });
  at = 0;
  column([&] { return ++at == 6 ? ulps(0.0, 9) : 0.0; });
}

Numbers Range(int first, int last) {
  Numbers numbers;
  for (int i = first; i <= last; ++i) numbers.push_back(i);
  return numbers;
}

Lists AllLists() { return {{1, 2, 3, 4, 33}, Range(5, 8), Range(9, 20), Range(21, 31)}; }

// Without those that are mostly missing: casewise deletion would leave no case.
Lists MostlyPresentLists() {
  Lists lists = AllLists();
  std::erase_if(lists.continuousPredictors, [](int number) { return number == 18 || number == 19; });
  std::erase(lists.categoricalPredictors, 30);
  return lists;
}

enum class Weights { kNone, kPositive, kSigned, kNearlyOneInAll };

struct Scenario {
  const char* name;
  int cases;
  Weights weights = Weights::kNone;
  bool rounded = false;
  bool count = false;
  bool casewise = false;
  bool cutDependents = false;
  int cuts = 10;
  int dependentCuts = 10;
  bool chiSquare = false;
  bool excluded = false;
  int one = 0;  // the only continuous predictor
};

const Scenario kScenarios[] = {
    {.name = "plain", .cases = 5000},
    {.name = "an infinite mean", .cases = 3000, .one = 34},
    {.name = "a quotient between two of the smallest numbers", .cases = 3000, .one = 35},
    {.name = "a few cases", .cases = 3},
    {.name = "one block and one case", .cases = 513, .chiSquare = true},
    {.name = "casewise", .cases = 3000, .casewise = true},
    {.name = "weights", .cases = 3000, .weights = Weights::kPositive},
    {.name = "weights of both signs", .cases = 2000, .weights = Weights::kSigned, .chiSquare = true},
    {.name = "rounded weights",
     .cases = 2000,
     .weights = Weights::kPositive,
     .rounded = true,
     .casewise = true},
    {.name = "weights that sum to nearly one", .cases = 4, .weights = Weights::kNearlyOneInAll},
    {.name = "counts", .cases = 3000, .count = true, .excluded = true},
    {.name = "counts and weights, casewise",
     .cases = 3000,
     .weights = Weights::kSigned,
     .count = true,
     .casewise = true},
    {.name = "cut dependents", .cases = 9000, .cutDependents = true, .dependentCuts = 7},
    {.name = "cut dependents, weights",
     .cases = 2000,
     .weights = Weights::kPositive,
     .cutDependents = true,
     .cuts = 20,
     .dependentCuts = 1},
    {.name = "cut dependents, casewise",
     .cases = 2500,
     .casewise = true,
     .cutDependents = true,
     .chiSquare = true},
    {.name = "one cut", .cases = 700, .cuts = 1},
    {.name = "no cuts", .cases = 300, .cutDependents = true, .cuts = 0, .dependentCuts = -3},
    {.name = "one cut less than none", .cases = 300, .cutDependents = true, .cuts = -1, .dependentCuts = -1},
    {.name = "as many cuts as a table holds",
     .cases = 900,
     .cutDependents = true,
     .cuts = 64,
     .dependentCuts = 65},
    {.name = "hundreds of cuts",
     .cases = 900,
     .casewise = true,
     .cutDependents = true,
     .cuts = 400,
     .dependentCuts = 300},
    {.name = "a million cuts", .cases = 20, .cuts = 1000000},
};

void Apply(const Scenario& scenario, ScriptedEngineHost* host, FeatureSelectionSettings* settings) {
  std::mt19937 random(7);
  for (int i = 0; i < scenario.cases && scenario.weights != Weights::kNone; ++i) {
    const double w = static_cast<double>(random() % 4000) / 1000;  // now and then exactly 0
    host->weights.push_back(scenario.weights == Weights::kSigned && random() % 5 == 0 ? -w
                            : scenario.weights == Weights::kNearlyOneInAll            ? (i == 0 ? 0.7 : 0.1)
                                                                                      : w);
  }
  if (scenario.excluded) {
    for (int i = 0; i < scenario.cases; ++i) host->excluded.push_back(random() % 4 == 0);
  }
  settings->useWeightsAsGiven = scenario.rounded ? 0 : 1;
  settings->useCountVariable = scenario.count ? 1 : 0;
  settings->countVariable = 32;
  settings->casewiseDeletion = scenario.casewise;
  settings->treatContinuousDependentAsCategorical = scenario.cutDependents;
  settings->cutsContinuousPredictor = scenario.cuts;
  settings->cutsContinuousDependent = scenario.dependentCuts;
  settings->useCramersV = !scenario.chiSquare;
}

void ExpectSameMoments(const ContinuousVarMoments& got, const ContinuousVarMoments& want,
                       const std::string& where) {
  EXPECT_EQ(Bits(got.minimum), Bits(want.minimum)) << where;
  EXPECT_EQ(Bits(got.maximum), Bits(want.maximum)) << where;
  EXPECT_EQ(Bits(got.mean), Bits(want.mean)) << where;
  EXPECT_EQ(Bits(got.variance), Bits(want.variance)) << where;
  EXPECT_EQ(Bits(got.width), Bits(want.width)) << where;
}

void ExpectSame(const FeatureSelectionSettings& got, int result, const ReferenceResult& want) {
  ASSERT_EQ(result, want.result);
  if (want.result != 0) return;
  EXPECT_EQ(got.facts.casesValid, want.validCases);
  EXPECT_EQ(Bits(got.totalWeight), Bits(want.totalWeight));
  for (std::size_t p = 0; p < want.predictorMoments.size(); ++p) {
    ExpectSameMoments(got.predictorMoments[p], want.predictorMoments[p], "predictor " + std::to_string(p));
  }
  for (std::size_t d = 0; d < want.dependentMoments.size(); ++d) {
    ExpectSameMoments(got.dependentMoments[d], want.dependentMoments[d], "dependent " + std::to_string(d));
  }
  for (int d = 0; d < got.DependentCount(); ++d) {
    for (int p = 0; p < got.PredictorCount(); ++p) {
      const std::size_t at = got.MatrixIndex(d, p);
      const std::string where = "dependent " + std::to_string(d) + ", predictor " + std::to_string(p);
      EXPECT_EQ(Bits(got.statistic[at]), Bits(want.statistic[at]))
          << where << ": " << got.statistic[at] << " for " << want.statistic[at];
      EXPECT_EQ(Bits(got.pValue[at]), Bits(want.pValue[at])) << where;
      EXPECT_EQ(got.notComputable[at], want.notComputable[at]) << where;
      const PairBasis& basis = got.basis[at];
      EXPECT_EQ(basis.usedCases, want.basis[at].usedCases) << where;
      EXPECT_EQ(Bits(basis.count), Bits(want.basis[at].count)) << where;
      EXPECT_EQ(basis.df1, want.basis[at].df1) << where;
      EXPECT_EQ(basis.df2, want.basis[at].df2) << where;
    }
    EXPECT_EQ(got.dependentCases[d], want.dependentCases[static_cast<std::size_t>(d)]) << d;
  }
}

struct Unit {
  VectorUnit unit;
  const char* name;
};
constexpr Unit kUnits[] = {
    {VectorUnit::kSse2, "sse2"}, {VectorUnit::kAvx2, "avx2"}, {VectorUnit::kAvx512, "avx512"}};

// How the host gives its cases, and the threads that it lends.
struct Way {
  const char* name;
  int mostBlockCases, threads;
};
constexpr Way kWays[] = {{"single cases", 0, 0},           {"columns", 1000000, 0},
                         {"columns, small blocks", 37, 0}, {"one thread", 1000000, 1},
                         {"two threads", 1000000, 2},      {"three threads, small blocks", 150, 3},
                         {"eight threads", 1000000, 8}};

void Choose(const Way& way, ScriptedEngineHost* host) {
  host->mostBlockCases = way.mostBlockCases;
  host->threads = way.threads;
}

// Runs in every way and expects the bits of the reference.
void ExpectSameInEveryWay(ScriptedEngineHost* host, Settings* settings, const ReferenceResult& want) {
  for (const Way& way : kWays) {
    SCOPED_TRACE(way.name);
    Choose(way, host);
    const int blocks = host->BlocksRead(), tasks = host->TasksRun();
    ExpectSame(settings->record, RunFeatureSelection(settings->record), want);
    EXPECT_EQ(host->BlocksRead() > blocks, way.mostBlockCases > 0);
    if (want.result == kOk && (*settings)->PredictorCount() > 0 && (*settings)->casewiseDeletion == 0) {
      EXPECT_EQ(host->TasksRun() > tasks, way.threads > 0);
    }
  }
  Choose(kWays[0], host);
}

struct UnitScope {
  ~UnitScope() { ForceVectorUnit(VectorUnit::kBest); }
};

TEST(Engine, GivesThePlainLoopsBitsOnEveryVectorUnit) {
  const UnitScope restore;
  for (const Scenario& scenario : kScenarios) {
    SCOPED_TRACE(scenario.name);
    ScriptedEngineHost host;
    FillWithEverything(&host, scenario.cases, 11);
    Lists lists = scenario.casewise ? MostlyPresentLists() : AllLists();
    if (scenario.one != 0) lists.continuousPredictors = {scenario.one};
    Settings settings(host, lists);
    Apply(scenario, &host, &settings.record);
    const ReferenceResult want = RunReference(host, settings.record);
    ASSERT_EQ(want.result, kOk) << "nothing to compare";
    for (const Unit& unit : kUnits) {
      SCOPED_TRACE(unit.name);
      if (!ForceVectorUnit(unit.unit)) continue;
      ASSERT_STREQ(Kernels().name, unit.name);
      ExpectSameInEveryWay(&host, &settings, want);
    }
    EXPECT_TRUE(host.Misuses().empty()) << host.Misuses().front();
  }
}

TEST(Engine, TakesAVariableInSeveralListsAndListsOfEveryLength) {
  std::vector<int> many;
  for (int i = 0; i < 250; ++i) many.push_back(9 + i % 12);
  const Lists rows[] = {
      {{1}, {5}, many, Range(21, 29)},                 // wide cases
      {{1, 9, 1}, {5, 5}, {9, 1, 9, 21}, {9, 21, 5}},  // dependents that are predictors too
      {{}, {6}, {9}, {}},                              // one predictor
      {{1}, {}, {}, {22, 23}},                         // categorical predictors only
      {{}, {}, {9, 10}, {21}},                         // no dependent
      {{1, 2}, {5}, {}, {}},                           // no predictor
      {{1}, {}, Range(9, 20), Numbers(30, 22)},        // more entries than variables
      {Range(1, 12), Range(5, 31), Range(9, 17), Range(21, 29)},
  };
  for (const Lists& lists : rows) {
    for (const bool casewise : {false, true}) {
      ScriptedEngineHost host;
      FillWithEverything(&host, 700, 5);
      Settings settings(host, lists);
      settings->casewiseDeletion = casewise;
      const ReferenceResult want = RunReference(host, settings.record);
      ExpectSameInEveryWay(&host, &settings, want);
    }
  }
}

// One run with everything drawn: lists, values, missing data, weights, counts, deletion, cuts.
class RandomRun {
 public:
  explicit RandomRun(unsigned seed) : random_(seed), cases_(3 + Below(398)) {
    const Lists lists = {AddColumns(Below(4), true), AddColumns(Below(3), false), AddColumns(Below(41), true),
                         AddColumns(Below(6), false)};
    const int count = host.AddColumn(Counts());
    if (Below(3) == 0) Weigh();
    if (Below(4) == 0) {
      for (int i = 0; i < cases_; ++i) host.excluded.push_back(Below(4) == 0);
    }
    settings.emplace(host, lists);
    FeatureSelectionSettings& record = settings->record;
    record.useWeightsAsGiven = Below(3) != 0;
    record.useCountVariable = Below(3) == 0;
    record.countVariable = count;
    record.casewiseDeletion = Below(3) == 0;
    record.treatContinuousDependentAsCategorical = Below(3) == 0;
    record.cutsContinuousPredictor = 1 + Below(20);
    record.cutsContinuousDependent = 1 + Below(20);
    record.useCramersV = Below(2) == 0;
  }

  ScriptedEngineHost host;
  std::optional<Settings> settings;

 private:
  int Below(int n) { return static_cast<int>(random_() % static_cast<unsigned>(n)); }

  Numbers AddColumns(int count, bool continuous) {
    Numbers numbers;
    for (int c = 0; c < count; ++c) {
      const int kind = Below(5), levels = 1 + Below(kind == 0 ? 400 : 8);
      const double scale = std::pow(10.0, Below(7) - 3), offset = Below(2) * Below(100);
      const double code = Below(4) == 0 ? 3.0 : vlm::kMissingValue;
      const int missing = Below(3) == 0 ? Below(60) : 0;  // percent
      std::vector<double> values;
      for (int i = 0; i < cases_; ++i) {
        const double level = Below(levels);
        const double value = continuous && kind > 1 ? offset + scale * normal_(random_) : level;
        values.push_back(Below(100) < missing ? code : value);
      }
      numbers.push_back(host.AddColumn(std::move(values), "v", code));
    }
    return numbers;
  }

  std::vector<double> Counts() {
    constexpr double kCounts[] = {1, 1, 2, 3, 2.5, 0.9999999999999999, 0.99, 0, vlm::kMissingValue};
    std::vector<double> counts;
    for (int i = 0; i < cases_; ++i) counts.push_back(kCounts[Below(9)]);
    return counts;
  }

  void Weigh() {
    constexpr double kWeights[] = {1, 0.4, 1.5, 2.25, 1e-3, 7, 0};
    const bool negative = Below(2) == 0;
    for (int i = 0; i < cases_; ++i) {
      host.weights.push_back((negative && Below(4) == 0 ? -1 : 1) * kWeights[Below(7)]);
    }
  }

  std::mt19937 random_;
  std::normal_distribution<double> normal_;
  int cases_;
};

// VELMORA_RANDOM_RUNS sets the number of runs, VELMORA_FIRST_RUN the first seed.
TEST(Engine, AgreesWithThePlainLoopInRandomRuns) {
  const auto number = [](const char* name, int otherwise) {
    const char* const text = std::getenv(name);
    return text == nullptr ? otherwise : std::atoi(text);
  };
  const int first = number("VELMORA_FIRST_RUN", 1);
  const int last = first + number("VELMORA_RANDOM_RUNS", 150);
  int computed = 0;
  for (int seed = first; seed < last && !HasFailure(); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    RandomRun run(static_cast<unsigned>(seed));
    FeatureSelectionSettings& record = run.settings->record;
    const ReferenceResult want = RunReference(run.host, record);
    ExpectSameInEveryWay(&run.host, &*run.settings, want);
    computed += want.result == kOk ? 1 : 0;
  }
  EXPECT_GT(computed, (last - first) / 2) << "too few runs had enough cases";
}

// A class that turns up late has no place in the tables of joint classes that were planned without
// it.
TEST(Engine, CountsLateClassesAndLateCodes) {
  std::mt19937 random(3);
  ScriptedEngineHost host;
  const int cases = 60000;
  const auto add = [&](auto value) {
    std::vector<double> values;
    for (int i = 0; i < cases; ++i) values.push_back(value(i));
    return host.AddColumn(std::move(values));
  };
  const auto code = [&](int i, int early, int late) {
    return static_cast<double>(random() % static_cast<unsigned>(i < 40000 ? early : late));
  };
  Lists lists;
  for (int d = 0; d < 4; ++d)
    lists.categoricalDependents.push_back(add([&](int i) { return code(i, 2, 2 + d); }));
  lists.categoricalPredictors = {add([&](int i) { return code(i, 3, 4); }),
                                 add([&](int i) { return code(i, 3, 900); }),
                                 add([&](int i) { return code(i, 20, 21); })};
  Settings settings(host, lists);
  const ReferenceResult want = RunReference(host, settings.record);
  ExpectSameInEveryWay(&host, &settings, want);
}

// Meets each fault, expects everything to be released, and then runs as if nothing had happened.
void ExpectCleanFailure(ScriptedEngineHost* host, Settings* settings, const Faults& faults,
                        std::size_t blocksBefore) {
  host->Fail(faults);
  host->notices.clear();
  EXPECT_EQ(RunFeatureSelection(settings->record), kFailed);
  EXPECT_FALSE((*settings)->HasResults());
  EXPECT_FALSE(host->DisplayOpen());
  EXPECT_EQ(host->BlocksHeld(), blocksBefore);
  EXPECT_TRUE(host->Misuses().empty()) << host->Misuses().front();
  EXPECT_TRUE(host->notices.empty());
}

TEST(EngineFaults, GivesEverythingBackWhereverTheHostFails) {
  ScriptedEngineHost host;
  const int cases = 40;
  FillWithEverything(&host, cases, 2);
  Settings settings(host, AllLists());
  settings->treatContinuousDependentAsCategorical = 1;
  const std::size_t lists = host.BlocksHeld();
  EXPECT_EQ(lists, 4u);

  host.Fail({});
  ASSERT_EQ(RunFeatureSelection(settings.record), kOk);
  const int allocations = host.Allocations();
  EXPECT_GE(allocations, 9);  // two moments, three matrices, two times codes and the block
  const std::vector<double> statistic(settings->statistic,
                                      settings->statistic + settings->DependentCount() * 23);
  settings->ReleaseResults();

  for (int n = 1; n <= allocations; ++n) {
    SCOPED_TRACE("allocation " + std::to_string(n));
    ExpectCleanFailure(&host, &settings, {.failAllocation = n}, lists);
  }
  for (int pass = 1; pass <= 3; ++pass) {
    const int steps = pass < 3 ? cases : settings->PredictorCount();
    for (int step = 1; step <= steps; ++step) {
      SCOPED_TRACE("pass " + std::to_string(pass) + ", step " + std::to_string(step));
      ExpectCleanFailure(&host, &settings, {.cancelButtonAtStep = step, .inPass = pass}, lists);
      ExpectCleanFailure(&host, &settings, {.externalAtStep = step, .inPass = pass}, lists);
      ExpectCleanFailure(&host, &settings, {.iterDisplayAtStep = step, .inPass = pass}, lists);
      if (pass < 3) ExpectCleanFailure(&host, &settings, {.stopAtCase = step, .inPass = pass}, lists);
    }
  }
  for (const Way& way : {kWays[2], kWays[5]}) {
    Choose(way, &host);
    for (int step = 1; step <= cases; step += 6) {
      for (int pass = 1; pass <= 2; ++pass) {
        SCOPED_TRACE(std::string(way.name) + ", pass " + std::to_string(pass) + ", case " +
                     std::to_string(step));
        ExpectCleanFailure(&host, &settings, {.cancelButtonAtStep = step, .inPass = pass}, lists);
        ExpectCleanFailure(&host, &settings, {.stopAtCase = step, .inPass = pass}, lists);
      }
    }
  }
  Choose(kWays[0], &host);
  host.iterDisplayAttached = false;
  host.Fail({.iterDisplayAtStep = 1});
  ASSERT_EQ(RunFeatureSelection(settings.record), kOk);
  for (std::size_t i = 0; i < statistic.size(); ++i)
    EXPECT_EQ(Bits(settings->statistic[i]), Bits(statistic[i])) << i;

  // A run over held results replaces them.
  const std::size_t held = host.BlocksHeld();
  ASSERT_EQ(RunFeatureSelection(settings.record), kOk);
  EXPECT_EQ(host.BlocksHeld(), held);
  settings->ReleaseAll();
  EXPECT_EQ(host.BlocksHeld(), 0u);
}

// Chi-square adds a term for each cell of a table, also for those without a case.
TEST(EngineFaults, ALargeTableCanBeCancelled) {
  constexpr std::uint32_t kLevels = 5000;
  CrossTable table;
  table.Start(true);
  table.Fit(kLevels + 1, kLevels + 1);
  std::vector<std::uint32_t> ranks(kLevels + 1);
  for (std::uint32_t level = 1; level <= kLevels; ++level) {
    table.AddCount(level, level, 1);
    ranks[level] = level - 1;
  }
  ChiSquareSum sum;
  int asked = 0;
  EXPECT_FALSE(sum.Form(table, ranks, ranks, [&] { return ++asked == 2; }).has_value());
  EXPECT_EQ(asked, 2);
  const auto result = sum.Form(table, ranks, ranks, [] { return false; });
  ASSERT_TRUE(result.has_value());
  EXPECT_NEAR(result->chiSquare / (double{kLevels} * (kLevels - 1)), 1, 1e-9);
}

TEST(EngineFaults, CreatesNothingWithoutMemory) {
  for (int n = 1; n <= 4; ++n) {
    ScriptedEngineHost host;
    host.AddColumn({1, 2, 3});
    host.Fail({.failAllocation = n});
    FeatureSelectionSettings record;
    EXPECT_EQ(record.Create(&host), kFailed);
    EXPECT_EQ(host.BlocksHeld(), 0u);
    EXPECT_EQ(record.variableList, nullptr);
    EXPECT_EQ(record.PrepareRun(), kFailed);
    record.ReleaseAll();
  }
}

TEST(EngineFaults, SaysThatCasesAreTooFew) {
  struct Row {
    const char* name;
    std::vector<double> y, x, weights;
    bool casewise;
    int result;
  };
  const double md = vlm::kMissingValue;
  const Row rows[] = {{"no case", {}, {}, {}, false, kFailed},
                      {"two", {1, 2}, {1, 2}, {}, false, kFailed},
                      {"three", {1, 2, 3}, {1, 2, 3}, {}, false, kOk},
                      {"three, one of weight 0", {1, 2, 3}, {1, 2, 3}, {1, 0, 1}, false, kFailed},
                      {"three, one abandoned", {1, 2, 3}, {1, md, 3}, {}, true, kFailed},
                      {"three, one missing pairwise", {1, 2, 3}, {1, md, 3}, {}, false, kOk}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    ScriptedEngineHost host;
    host.AddColumn(row.y, "y");
    host.AddColumn(row.x, "x");
    host.weights = row.weights;
    Settings settings(host, {{1}, {}, {2}, {2}});
    settings->casewiseDeletion = row.casewise;
    EXPECT_EQ(RunFeatureSelection(settings.record), row.result);
    const std::vector<std::string> notice = {"There are not enough valid cases (<3)"};
    EXPECT_EQ(host.notices, row.result == kOk ? std::vector<std::string>{} : notice);
    EXPECT_FALSE(host.DisplayOpen());
  }
}

TEST(Engine, ShowsTheStagesOfARun) {
  ScriptedEngineHost host;
  host.AddColumn({1, 2, 3, 4}, "y");
  host.AddColumn({1, 1, 2, 2}, "x");
  Settings settings(host, {{1}, {}, {2}, {2}});
  ASSERT_EQ(RunFeatureSelection(settings.record), kOk);
  const std::vector<std::string> expected = {"d_pbar Initializing...",      "dstart 4", "dstop",
                                             "d_pbar Reading data...",      "dstart 4", "dstop",
                                             "d_pbar Preparing results...", "dstart 2", "dstop"};
  EXPECT_EQ(host.log, expected);
  EXPECT_EQ(host.StepsShown(), 10);
}

TEST(Settings, BeginsWithTheDefaults) {
  for (const int chiSquareByDefault : {0, 1}) {
    ScriptedEngineHost host;
    host.AddColumn({1, 2, 3});
    host.profile[56236] = chiSquareByDefault;
    Settings settings(host, {});
    EXPECT_EQ(settings->useCramersV, chiSquareByDefault == 0);
    EXPECT_EQ(settings->cutsContinuousPredictor, 10);
    EXPECT_EQ(settings->cutsContinuousDependent, 10);
    EXPECT_EQ(settings->fixedNumberOfBest, 10);
    EXPECT_EQ(settings->fixedNumberOfBestByP, 10);
    EXPECT_EQ(settings->pCriterion, 0.01);
    EXPECT_EQ(settings->displayMode, DisplayMode::kFixedNumber);
    EXPECT_EQ(settings->casewiseDeletion, 0);
    EXPECT_EQ(settings->useWeightsAsGiven, 1);
    EXPECT_EQ(host.BytesHeld(), 4u * (1u * 4u + 40u));
  }
}

TEST(Settings, JoinsTheListsIntoTheReadList) {
  ScriptedEngineHost host;
  for (int i = 0; i < 6; ++i) host.AddColumn({1, 2, 3});
  Settings settings(host, {{3, 1}, {2}, {4}, {5, 5}});
  settings->countVariable = 6;
  for (const int useCount : {0, 1}) {
    settings->useCountVariable = useCount;
    ASSERT_EQ(settings->PrepareRun(), kOk);
    EXPECT_EQ(settings->nReadVariables, 6 + useCount);
    EXPECT_EQ(Numbers(settings->variableList, settings->variableList + 7), (Numbers{3, 1, 2, 4, 5, 5, 6}));
    EXPECT_EQ(settings->Variables(VariableRole::kContinuousDependent).size(), 2u);
  }
}

// Sums of squares within the tolerance of zero are zero: neither a quotient of two specks nor one
// by a speck is formed.
TEST(Engine, SumsOfSquaresNearlyZeroAreZero) {
  const double speck = 4e-162;  // its square is a few units in the last place above zero
  const double small = 1e-150;
  struct Row {
    const char* name;
    std::vector<double> y;
    int notComputable;
  };
  const Row rows[] = {{"between and within", {0, 1, 3, 4}, 0},
                      {"nothing within", {0, 0, 1, 1}, 1},
                      {"a speck within", {0, speck, 1, 1}, 1},
                      {"small values within", {0, small, 1, 1}, 0},
                      {"nothing between", {-small, small, -small, small}, 1},
                      {"a speck between", {-small, small, -small + speck, small + speck}, 1},
                      {"small values between", {-small, small, 0, small}, 0}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    ScriptedEngineHost host;
    host.AddColumn(row.y, "y");
    host.AddColumn({1, 1, 2, 2}, "x");
    Settings settings(host, {{1}, {}, {}, {2}});
    ASSERT_EQ(RunFeatureSelection(settings.record), kOk);
    EXPECT_EQ(settings->notComputable[0], row.notComputable) << settings->statistic[0];
    EXPECT_EQ(settings->pValue[0] == 1.0 && settings->statistic[0] == 0.0, row.notComputable == 1);
  }
}

// F of the groups by the definition, in two passes over z.
double TwoPassF(const std::vector<long double>& z, const std::vector<double>& group) {
  std::map<double, std::vector<long double>> groups;
  long double grandMean = 0, between = 0, within = 0;
  for (std::size_t i = 0; i < z.size(); ++i) groups[group[i]].push_back(z[i]);
  for (const long double value : z) grandMean += value / static_cast<long double>(z.size());
  for (const auto& [key, values] : groups) {
    const auto n = static_cast<long double>(values.size());
    const long double mean = std::accumulate(values.begin(), values.end(), 0.0L) / n;
    between += n * (mean - grandMean) * (mean - grandMean);
    for (const long double value : values) within += (value - mean) * (value - mean);
  }
  const auto n = static_cast<long double>(z.size()), k = static_cast<long double>(groups.size());
  return static_cast<double>(between * (n - k) / within / (k - 1));
}

TEST(Engine, FIsRightForDependentsOfAnyMagnitude) {
  struct Row {
    const char* name;
    double offset;
    int exponent;  // of the unit of the values
  };
  const Row rows[] = {{"usual values", 0, 0},
                      {"a small offset", 1000, 0},
                      {"a large offset", 1e12, 0},
                      {"the largest offset that leaves digits", 1e15, 0},
                      {"a negative offset", -1e13, 0},
                      {"squares that overflow", 0, 600},
                      {"the largest values", 0, 1021},
                      {"squares that vanish", 0, -600},
                      {"values with few digits left", 0, -1050},
                      {"large, around a larger offset", 1e190, 600}};
  std::mt19937 random(4);
  std::normal_distribution<double> normal;
  std::vector<double> group, z;
  for (int i = 0; i < 500; ++i) {
    group.push_back(static_cast<double>(random() % 4));
    z.push_back(std::clamp(normal(random) + 0.3 * group.back(), -3.0, 3.0));
  }
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    std::vector<double> y;
    std::vector<long double> units;
    for (const double value : z) {
      y.push_back(row.offset + std::ldexp(value, row.exponent));
      units.push_back(std::ldexp(static_cast<long double>(y.back()) - row.offset, -row.exponent));
    }
    ScriptedEngineHost host;
    host.AddColumn(y, "y");
    host.AddColumn(group, "group");
    Settings settings(host, {{1}, {}, {}, {2}});
    ASSERT_EQ(RunFeatureSelection(settings.record), kOk);
    const double expected = TwoPassF(units, group);
    EXPECT_NEAR(settings->statistic[0], expected, 1e-10 * expected);
    EXPECT_EQ(settings->notComputable[0], 0);
    EXPECT_TRUE(host.notices.empty());
  }
}

TEST(Engine, SaysWhichVariablesAreBeyondAllFigures) {
  const double infinity = std::numeric_limits<double>::infinity();
  struct Row {
    const char* name;
    std::vector<double> y, x;
    bool cutDependents;
    int notComputable;
    std::vector<std::string> notices;
  };
  const std::string noVariance =
      " are too large or too close together for a variance, which its intervals need.";
  const Row rows[] = {{"infinite dependent",
                       {1, 2, infinity, 4},
                       {1, 1, 2, 2},
                       false,
                       1,
                       {"y has infinite values; its statistics cannot be computed."}},
                      {"large predictor",
                       {1, 2, 3, 4},
                       {1e200, -1e200, 3e200, 0},
                       false,
                       1,
                       {"The values of x" + noVariance}},
                      {"tiny predictor",
                       {1, 2, 3, 4},
                       {1e-200, 2e-200, 3e-200, 0},
                       false,
                       0,
                       {"The values of x" + noVariance}},
                      {"large dependent, cut",
                       {1e200, 2e200, 3e200, 0},
                       {1, 2, 3, 4},
                       true,
                       1,
                       {"The values of y" + noVariance}}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    ScriptedEngineHost host;
    host.AddColumn(row.y, "y");
    host.AddColumn(row.x, "x");
    Settings settings(host, {{1}, {}, {2}, {}});
    settings->treatContinuousDependentAsCategorical = row.cutDependents;
    ASSERT_EQ(RunFeatureSelection(settings.record), kOk);
    EXPECT_EQ(host.notices, row.notices);
    EXPECT_EQ(settings->notComputable[0], row.notComputable);
    EXPECT_EQ(settings->statistic[0] == 0.0 && settings->pValue[0] == 1.0, row.notComputable == 1);
  }
}

// The upper tail of a host that offers it keeps small p-values apart; a host without it gives 1
// less the distribution.
TEST(Engine, TakesTheUpperTailOfChiSquareWhereTheHostHasIt) {
  for (const bool offered : {false, true}) {
    ScriptedEngineHost host;
    host.chiSquareBelow = [](double, double) { return 1.0; };
    if (offered) host.chiSquareAbove = [](double x, double df) { return x * 1e-80 + df * 1e-90; };
    host.AddColumn({1, 1, 2, 2}, "y");
    host.AddColumn({1, 1, 2, 2}, "x");
    Settings settings(host, {{}, {1}, {}, {2}});
    ASSERT_EQ(RunFeatureSelection(settings.record), kOk);
    EXPECT_EQ(settings->pValue[0], offered ? 4.0 * 1e-80 + 1e-90 : 0.0);
  }
}

// A case for each acceptance rule, checked by the facts of the run.
TEST(CaseRules, AcceptRoundAndSkip) {
  const double below1 = vlm::FromOrderedBits(vlm::OrderedBits(1.0) - 15),
               furtherBelow1 = vlm::FromOrderedBits(vlm::OrderedBits(1.0) - 16);
  struct Row {
    const char* name;
    double weight;
    bool asGiven;
    double count;
    int accepted, zeroWeight, badCount;
    double mass;
  };
  const double md = vlm::kMissingValue;
  const Row rows[] = {{"weight as given", 0.4, true, 1, 1, 0, 0, 0.4},
                      {"rounded away", 0.4, false, 1, 0, 1, 0, 0},
                      {"half rounds up", 1.5, false, 1, 1, 0, 0, 2},
                      {"just below a half", 0.49999999999999994, false, 1, 0, 1, 0, 0},
                      {"negative as given", -2.5, true, 2, 1, 0, 0, -5},
                      {"negative, rounded", -2.5, false, 1, 0, 1, 0, 0},
                      {"nearly zero", 3e-323, true, 1, 0, 1, 0, 0},
                      {"small but not zero", 1e-300, true, 1, 1, 0, 0, 1e-300},
                      {"count nearly 1", 1, true, below1, 1, 0, 0, below1},
                      {"count below 1", 1, true, furtherBelow1, 0, 0, 1, 0},
                      {"count zero", 1, true, 0, 0, 0, 1, 0},
                      {"count negative", 1, true, -3, 0, 0, 1, 0},
                      {"count missing", 1, true, md, 0, 0, 1, 0},
                      {"fractional count", 2, true, 2.5, 1, 0, 0, 5}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    ScriptedEngineHost host;
    host.AddColumn({1, 5, 2, 3}, "y");
    host.AddColumn({1, 5, 1, 2}, "x");
    host.AddColumn({row.count, 1, 1, 1}, "count");
    host.weights = {row.weight, 7, 1, 1};
    host.excluded = {0, 1, 0, 0};
    Settings settings(host, {{1}, {}, {}, {2}});
    settings->useWeightsAsGiven = row.asGiven;
    settings->useCountVariable = 1;
    settings->countVariable = 3;
    ASSERT_EQ(RunFeatureSelection(settings.record), row.accepted == 1 ? kOk : kFailed);
    const RunFacts& facts = settings->facts;
    EXPECT_EQ(facts.casesRead, 4);
    EXPECT_EQ(facts.casesExcluded, 1);
    EXPECT_EQ(facts.casesAccepted, 2 + row.accepted);
    EXPECT_EQ(facts.casesZeroWeight, row.zeroWeight);
    EXPECT_EQ(facts.casesInvalidCount, row.badCount);
    EXPECT_EQ(facts.acceptedMass, row.mass + 1 + 1);
  }
}

}  // namespace
}  // namespace vlmfsl::testing
