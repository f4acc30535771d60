#include "workbench/report/feature_selection_report.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "workbench/documents/presentation.h"
#include "workbench/documents/texts.h"
#include "workbench/system/system.h"

namespace velmora {

const char* KindName(Measurement kind) {
  return kind == Measurement::kContinuous ? "continuous" : "categorical";
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
      return (dependent.best.size() == 1 ? "the best" : "the " + best + " best") + of;
    case DisplayMode::kBelowP: {
      const std::string criterion = " p <= " + ShownNumber(report.pCriterion, "");
      return dependent.best.empty() ? "no predictor of " + count + " has" + criterion
                                    : best + of + " with" + criterion;
    }
    case DisplayMode::kBestByP:
      break;
  }
  return "the " + best + of + " with the smallest p-values";
}

std::vector<int> OrderedPredictors(const FeatureSelectionReport& report, const ReportedDependent& dependent) {
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

std::vector<Fact> RunFacts(const FeatureSelectionReport& report) {
  const vlm::FeatureSelectionRun& run = report.run;
  std::vector<Fact> facts = {{"Data file", PathOf(report.dataFile).filename().string()},
                             {"Cases in the file", GroupedDigits(run.caseCount)}};
  const auto count = [&](const char* key, int value) {
    if (value > 0) facts.push_back({key, GroupedDigits(value)});
  };
  count("Left out by the selection", run.excludedCases);
  count("Without weight", run.zeroWeightCases);
  count("Without a count", run.badCountCases);
  if (!report.select.empty()) facts.push_back({"Only cases for which", report.select});
  if (!report.exclude.empty()) facts.push_back({"Without the cases for which", report.exclude});
  if (run.weighted) {
    facts.push_back({"Weighted by", report.weightVariable + (run.useWeightsAsGiven ? "" : ", rounded")});
    facts.push_back({"Total weight", ShownNumber(run.totalWeight, "")});
  }
  if (!report.countVariable.empty()) facts.push_back({"Counted by", report.countVariable});
  facts.push_back({"Missing values", run.casewiseDeletion
                                         ? "casewise: a case counts for the pairs before its first "
                                           "missing value; " +
                                               GroupedDigits(run.validCases) + " cases are complete"
                                         : "left out pair by pair"});
  facts.push_back({"Intervals of continuous predictors", std::to_string(run.cutsContinuousPredictor)});
  if (run.treatContinuousDependentAsCategorical)
    facts.push_back({"Intervals of continuous dependents", std::to_string(run.cutsContinuousDependent)});
  facts.push_back({"Statistic of categorical dependents", run.useCramersV ? "Cramer's V" : "Chi-square"});
  facts.push_back({"Predictors", GroupedDigits(static_cast<long long>(report.predictors.size()))});
  for (const LeftOutVariable& variable : report.leftOut)
    facts.push_back(
        {"Not screened: " + variable.name, variable.reason.empty() ? variable.role : variable.reason});
  return facts;
}

Workbook FeatureSelectionWorkbook(const FeatureSelectionReport& report) {
  Workbook workbook;
  workbook.facts = RunFacts(report);
  workbook.title = "Feature selection: " + PathOf(report.dataFile).filename().string();
  for (const ReportedDependent& dependent : report.dependents) {
    const int group = workbook.GroupOfSubject(dependent.number, dependent.name,
                                              std::string(KindName(dependent.kind)) + " dependent");
    workbook.Group(group)->facts = {{"Shown", ShownPredictors(report, dependent)},
                                    {"Cases with a value", GroupedDigits(dependent.cases.validCases)},
                                    {"Cases without a value", GroupedDigits(dependent.cases.missingCases)}};
    for (const std::string& notice : dependent.notices) workbook.AddNotice(notice, group);

    const std::vector<int> order = OrderedPredictors(report, dependent);
    auto sheet = std::make_shared<Sheet>(static_cast<int>(order.size()), 9);
    sheet->SetTitle("Predictors of " + dependent.name + ": " + ShownPredictors(report, dependent));
    enum { kRank = 1, kStatistic, kP, kKind, kN, kMissingCases, kDf1, kDf2, kNumber };
    const std::pair<const char*, NumberRole> columns[] = {
        {"Rank", NumberRole::kPlain},
        {dependent.statisticName.c_str(), NumberRole::kPlain},
        {"p-value", NumberRole::kProbability},
        {"Kind", NumberRole::kPlain},
        {"N", NumberRole::kCount},
        {"Missing", NumberRole::kCount},
        {"df", NumberRole::kPlain},
        {"df within", NumberRole::kPlain},
        {"Variable number", NumberRole::kPlain}};
    int column = 0;
    for (const auto& [name, role] : columns) {
      sheet->SetColumnName(++column, name);
      sheet->SetRole(column, role);
    }
    for (std::size_t position = 0; position < order.size(); ++position) {
      const auto index = static_cast<std::size_t>(order[position]);
      const ReportedPredictor& predictor = report.predictors[index];
      const vlm::FeatureSelectionPair& pair = dependent.pairs[index];
      const int row = static_cast<int>(position) + 1;
      sheet->SetRowName(row, predictor.name);
      if (position < dependent.best.size()) sheet->SetInteger(row, kRank, row);
      sheet->SetText(row, kKind, KindName(predictor.kind));
      sheet->SetInteger(row, kN, pair.usedCases);
      sheet->SetInteger(row, kMissingCases, pair.missingCases);
      sheet->SetInteger(row, kNumber, predictor.number);
      if (pair.notComputable) continue;
      sheet->SetCell(row, kStatistic, pair.statistic);
      sheet->SetCell(row, kP, pair.pValue);
      sheet->SetCell(row, kDf1, pair.df1);
      if (pair.df2 > 0) sheet->SetCell(row, kDf2, pair.df2);
    }
    workbook.SetName(workbook.Add(std::move(sheet), group), dependent.name);
  }
  return workbook;
}

}  // namespace velmora
