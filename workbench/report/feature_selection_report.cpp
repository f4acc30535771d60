#include "workbench/report/feature_selection_report.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "workbench/documents/presentation.h"
#include "workbench/documents/texts.h"
#include "workbench/report/data_name.h"
#include "workbench/report/ranking_columns.h"

namespace velmora {

const char* KindName(Measurement kind) {
  return kind == Measurement::kContinuous ? "continuous" : "categorical";
}

const char* StatisticName(PairStatistic statistic) {
  static constexpr const char* kNames[] = {"F-value", "Chi-square", "Cramer's V"};
  return kNames[static_cast<int>(statistic)];
}

const char* StatisticMeaning(PairStatistic statistic) {
  switch (statistic) {
    case PairStatistic::kF:
      return "Variation between groups divided by the variation within them; larger is stronger.";
    case PairStatistic::kChiSquare:
      return "Departure from independence; larger is stronger.";
    case PairStatistic::kCramersV:
      break;
  }
  return "Strength of the association, 0 (none) to 1 (complete).";
}

const char* EffectName(PairStatistic statistic) {
  return statistic == PairStatistic::kF ? "epsilon squared" : "corrected Cramer's V";
}

const char* EffectMeaning(PairStatistic statistic) {
  return statistic == PairStatistic::kF
             ? "share of the variance explained, corrected for the number of levels; noise has 0 on average."
             : "strength of the association, 0 (none) to 1 (complete), corrected for the number of levels; "
               "noise has 0 on average.";
}

const char* AdjustmentName(stats::Adjustment adjustment) {
  static constexpr const char* kNames[] = {"bh", "by", "holm", "none"};
  return kNames[static_cast<int>(adjustment)];
}

const char* AdjustmentMeaning(stats::Adjustment adjustment) {
  switch (adjustment) {
    case stats::Adjustment::kBenjaminiHochberg:
      return "p-value for all tests together: the share of false discoveries among those up to here "
             "(Benjamini and Hochberg).";
    case stats::Adjustment::kBenjaminiYekutieli:
      return "p-value for all tests together: the share of false discoveries among those up to here, "
             "whatever the tests' dependence (Benjamini and Yekutieli).";
    case stats::Adjustment::kHolm:
      return "p-value for all tests together: the probability of any false discovery among those up to "
             "here (Holm).";
    case stats::Adjustment::kNone:
      break;
  }
  return "The p-value of the one test, not adjusted (--adjust none).";
}

const char* RankKeyName(ranking::RankKey key) {
  static constexpr const char* kNames[] = {"effect", "statistic", "p"};
  return kNames[static_cast<int>(key)];
}

const char* IntervalMethodName(ranking::IntervalMethod method) {
  static constexpr const char* kNames[] = {"quantiles", "equal-width", "tree"};
  return kNames[static_cast<int>(method)];
}

std::string ShownStatistic(const ReportedDependent& dependent, const vlm::FeatureSelectionPair& pair) {
  return ShownNumber(pair.statistic, dependent.statistic == PairStatistic::kCramersV ? "0.0000" : "0.000");
}

std::string DegreesOfFreedomText(const vlm::FeatureSelectionPair& pair) {
  const std::string first = ShownNumber(pair.df1, "");
  return pair.df2 > 0 ? first + ", " + ShownNumber(pair.df2, "") : first;
}

std::string ShownPredictors(const FeatureSelectionReport& report, const ReportedDependent& dependent) {
  const std::string count = GroupedDigits(static_cast<long long>(report.predictors.size()));
  const std::string of = " of " + count + (report.predictors.size() == 1 ? " predictor" : " predictors");
  const std::string best = GroupedDigits(static_cast<long long>(dependent.best.size()));
  switch (report.displayMode) {
    case DisplayMode::kBest:
      if (dependent.best.empty()) return "none" + of + " can be distinguished from chance";
      return (dependent.best.size() == 1 ? "the best" : "the " + best + " best") + of;
    case DisplayMode::kBelowP: {
      const bool adjusted = report.ranking && report.ranking->adjustment != stats::Adjustment::kNone;
      const std::string criterion =
          (adjusted ? " adjusted p <= " : " p <= ") + ShownNumber(report.pCriterion, "");
      return dependent.best.empty() ? "no predictor of " + count + " has" + criterion
                                    : best + of + " with" + criterion;
    }
    case DisplayMode::kBestByP:
      break;
  }
  return "the " + best + of + " with the smallest p-values";
}

std::size_t ShownRows(const FeatureSelectionReport& report, const ReportedDependent& dependent) {
  if (!dependent.ranked || report.displayMode != DisplayMode::kBest) return dependent.best.size();
  std::size_t rows = dependent.best.size();
  const std::size_t limit = std::min(static_cast<std::size_t>(report.best), dependent.pairs.size());
  while (rows < limit &&
         dependent.pairs[static_cast<std::size_t>(dependent.ranked->order[rows])].notComputable == 0)
    ++rows;
  return rows;
}

std::vector<int> OrderedPredictors(const FeatureSelectionReport& report, const ReportedDependent& dependent) {
  if (dependent.ranked) return dependent.ranked->order;
  std::vector<int> order = dependent.best;
  std::vector<char> ranked(report.predictors.size(), 0);
  for (const int index : order) ranked[static_cast<std::size_t>(index)] = 1;
  const auto firstOther = static_cast<std::ptrdiff_t>(order.size());
  for (std::size_t j = 0; j < ranked.size(); ++j) {
    if (!ranked[j]) order.push_back(static_cast<int>(j));
  }
  const auto key = [&](int index) {
    const vlm::FeatureSelectionPair& pair = dependent.pairs[static_cast<std::size_t>(index)];
    const bool hasScore = !pair.notComputable && !std::isnan(pair.statistic);
    const double score = report.displayMode == DisplayMode::kBest ? -pair.statistic : pair.pValue;
    return std::pair(!hasScore, hasScore ? score : 0.0);
  };
  std::stable_sort(order.begin() + firstOther, order.end(), [&](int a, int b) { return key(a) < key(b); });
  return order;
}

namespace {

void AppendModuleFacts(const vlm::FeatureSelectionRun& run, std::vector<Fact>& facts) {
  facts.push_back({"Missing values", run.casewiseDeletion
                                         ? "casewise: a case counts for the pairs before its first "
                                           "missing value; " +
                                               GroupedDigits(run.validCases) + " cases are complete"
                                         : "left out pair by pair"});
  facts.push_back(CountFact("Intervals of continuous predictors", run.cutsContinuousPredictor));
  if (run.treatContinuousDependentAsCategorical)
    facts.push_back(CountFact("Intervals of continuous dependents", run.cutsContinuousDependent));
  facts.push_back({"Statistic of categorical dependents", run.useCramersV ? "Cramer's V" : "Chi-square"});
}

void AppendRankingFacts(const FeatureSelectionReport& report, std::vector<Fact>& facts) {
  const vlm::FeatureSelectionRun& run = report.run;
  const ReportedRanking& ranking = *report.ranking;
  if (run.weighted)
    facts.push_back({"Design effect of the weights",
                     ShownNumber(ranking.designEffect, "0.00") + ": the cases are worth " +
                         GroupedDigits(std::llround(run.validCases / ranking.designEffect)) +
                         " without weights"});
  facts.push_back({"Missing values", run.casewiseDeletion ? GroupedDigits(ranking.incompleteCases) +
                                                                " cases with a missing value are left out"
                                                          : "left out pair by pair"});
  static constexpr const char* kMethods[] = {", as many cases in each", ", equally wide",
                                             ", found for each dependent"};
  const char* const method = kMethods[static_cast<int>(ranking.intervals)];
  facts.push_back({"Intervals of continuous predictors",
                   "up to " + std::to_string(run.cutsContinuousPredictor) + method});
  if (run.treatContinuousDependentAsCategorical)
    facts.push_back({"Intervals of continuous dependents",
                     "up to " + std::to_string(run.cutsContinuousDependent) + method});
  if (!ranking.strataVariable.empty() || !ranking.clusterVariable.empty()) {
    const auto part = [](const std::string& variable, std::size_t count, const char* otherwise) {
      return variable.empty() ? std::string(otherwise)
                              : GroupedDigits(static_cast<long long>(count)) + " of " + variable;
    };
    facts.push_back({"Strata", part(ranking.strataVariable, ranking.strata, "one")});
    facts.push_back({"Clusters", part(ranking.clusterVariable, ranking.clusters, "the cases")});
  }
  if (ranking.replicates > 0)
    facts.push_back(
        {"Where expected counts are below 5", "Fisher's test of 2 x 2 tables, else Monte Carlo with " +
                                                  GroupedDigits(ranking.replicates) + " tables, seed " +
                                                  std::to_string(ranking.seed)});
  static constexpr const char* kOrders[] = {"effect; what chance gives comes after the others", "statistic",
                                            "p-value"};
  facts.push_back({"Order", kOrders[static_cast<int>(ranking.key)]});
  facts.push_back({"p-values adjusted", std::string(AdjustmentName(ranking.adjustment)) +
                                            (ranking.adjustedAcrossDependents ? ", over all dependents"
                                                                              : ", for each dependent")});
  facts.push_back({"Distinguishable from chance", "adjusted p <= " + ShownNumber(ranking.alpha, "")});
}

}  // namespace

std::vector<Fact> RunFacts(const FeatureSelectionReport& report) {
  const vlm::FeatureSelectionRun& run = report.run;
  std::vector<Fact> facts = {{"Data", DataName(report.dataFile)},
                             CountFact("Cases in the data", run.caseCount)};
  const auto count = [&](const char* key, int value) {
    if (value > 0) facts.push_back(CountFact(key, value));
  };
  count("Left out by the selection", run.excludedCases);
  count("Without weight", run.zeroWeightCases);
  count("Without a count", run.badCountCases);
  if (!report.select.empty()) facts.push_back({"Only cases for which", report.select});
  if (!report.exclude.empty()) facts.push_back({"Without the cases for which", report.exclude});
  if (run.weighted) {
    facts.push_back({"Weighted by", report.weightVariable + (run.useWeightsAsGiven ? "" : ", rounded")});
    facts.push_back({"Total weight", ShownNumber(run.totalWeight, ""), run.totalWeight});
  }
  if (!report.countVariable.empty()) facts.push_back({"Counted by", report.countVariable});
  if (report.ranking) {
    AppendRankingFacts(report, facts);
  } else {
    AppendModuleFacts(run, facts);
  }
  facts.push_back(CountFact("Predictors", static_cast<std::int64_t>(report.predictors.size())));
  for (const LeftOutVariable& variable : report.leftOut)
    facts.push_back(
        {"Not screened: " + variable.name, variable.reason.empty() ? variable.role : variable.reason});
  AppendProvenance(report.provenance, facts);
  return facts;
}

namespace {

void FillColumn(const RankingColumn& column, int number, Sheet& sheet) {
  sheet.SetColumnName(number, column.title);
  sheet.SetRole(number, column.kind == RankingColumn::kProbability ? NumberRole::kProbability
                        : column.kind == RankingColumn::kCount     ? NumberRole::kCount
                                                                   : NumberRole::kPlain);
  for (std::size_t position = 0; position < column.texts.size(); ++position) {
    const int row = static_cast<int>(position) + 1;
    if (column.values.empty()) {
      sheet.SetText(row, number, column.texts[position]);
    } else if (column.kind == RankingColumn::kCount && !std::isnan(column.values[position])) {
      sheet.SetInteger(row, number, static_cast<std::int64_t>(column.values[position]));
    } else if (!std::isnan(column.values[position])) {
      sheet.SetCell(row, number, column.values[position]);
    }
  }
}

}  // namespace

Workbook FeatureSelectionWorkbook(const FeatureSelectionReport& report) {
  Workbook workbook;
  workbook.facts = RunFacts(report);
  workbook.title = "Feature selection: " + DataName(report.dataFile);
  for (const std::string& notice : report.notices) workbook.AddNotice(notice);
  for (const ReportedDependent& dependent : report.dependents) {
    const int group = workbook.GroupOfSubject(dependent.number, dependent.name,
                                              std::string(KindName(dependent.kind)) + " dependent");
    workbook.Group(group)->facts = {{"Shown", ShownPredictors(report, dependent)},
                                    {"Cases with a value", GroupedDigits(dependent.cases.validCases)},
                                    {"Cases without a value", GroupedDigits(dependent.cases.missingCases)}};
    for (const std::string& notice : dependent.notices) workbook.AddNotice(notice, group);

    const std::vector<int> order = OrderedPredictors(report, dependent);
    const std::vector<RankingColumn> columns = RankingColumns(report, dependent, order);
    std::vector<const RankingColumn*> shown;
    for (const RankingColumn& column : columns) {
      if (column.kind != RankingColumn::kName && !column.title.empty()) shown.push_back(&column);
    }
    const int numberColumn = static_cast<int>(shown.size()) + 1;
    auto sheet = std::make_shared<Sheet>(static_cast<int>(order.size()), numberColumn);
    sheet->SetTitle("Predictors of " + dependent.name + ": " + ShownPredictors(report, dependent));
    sheet->SetColumnName(numberColumn, "Variable number");
    for (std::size_t position = 0; position < order.size(); ++position) {
      const ReportedPredictor& predictor = report.predictors[static_cast<std::size_t>(order[position])];
      sheet->SetRowName(static_cast<int>(position) + 1, predictor.name);
      sheet->SetInteger(static_cast<int>(position) + 1, numberColumn, predictor.number);
    }
    for (std::size_t c = 0; c < shown.size(); ++c) FillColumn(*shown[c], static_cast<int>(c) + 1, *sheet);
    workbook.SetName(workbook.Add(std::move(sheet), group), dependent.name);
  }
  return workbook;
}

}  // namespace velmora
