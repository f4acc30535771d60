// Feature selection for people and for spreadsheets: the terminal's tables and the CSV of all pairs.
#include <algorithm>

#include "workbench/cli/text_table.h"
#include "workbench/documents/texts.h"
#include "workbench/report/feature_selection_report.h"

namespace velmora {
namespace {

constexpr int kWidestName = 48;

std::string CasesLine(const FeatureSelectionReport& report) {
  const vlm::FeatureSelectionRun& run = report.run;
  std::string text = Counted(static_cast<std::size_t>(run.caseCount), "case", "cases") + ", " +
                     std::to_string(run.validCases) + " used";
  const auto add = [&](int count, const char* reason) {
    if (count > 0) text += "; " + std::to_string(count) + " " + reason;
  };
  add(run.excludedCases, "left out by the selection");
  add(run.zeroWeightCases, "without weight");
  add(run.badCountCases, "without a count");
  add(run.acceptedCases - run.validCases, "dropped for missing values");
  if (run.weighted)
    text += "; weighted by " + report.weightVariable + ", total " + ShownNumber(run.totalWeight, "");
  if (!report.countVariable.empty()) text += "; counted by " + report.countVariable;
  return text;
}

// Rank, predictor, kind, statistic, p and a bar for each of the dependent's best predictors. Sets anyBars where
// the bars have room.
std::string DependentTable(const FeatureSelectionReport& report, const ReportedDependent& dependent,
                           int width, bool utf8, bool& anyBars) {
  const auto pairOf = [&](int index) -> const vlm::FeatureSelectionPair& {
    return dependent.pairs[static_cast<std::size_t>(index)];
  };
  double largest = 0;
  for (const int index : dependent.best) largest = std::max(largest, pairOf(index).statistic);
  TextTable table(
      {{"rank", true}, {"predictor"}, {"kind"}, {dependent.statisticName, true}, {"p-value", true}});
  int rank = 0;
  for (const int index : dependent.best) {
    const ReportedPredictor& predictor = report.predictors[static_cast<std::size_t>(index)];
    const vlm::FeatureSelectionPair& pair = pairOf(index);
    const bool computed = pair.notComputable == 0;
    const char* const format = dependent.statisticName == "Cramer's V" ? "0.0000" : "0.000";
    table.AddRow({std::to_string(++rank), CutToWidth(Utf8Of(predictor.name), kWidestName, utf8 ? "…" : "~"),
                  KindName(predictor.kind), computed ? ShownNumber(pair.statistic, format) : "-",
                  computed ? ShownProbability(pair.pValue) : "-"},
                 computed && largest > 0 ? pair.statistic / largest : 0);
  }
  anyBars = anyBars || (largest > 0 && table.HasRoomForBars(width));
  return table.TextWithBars(width, utf8);
}

std::string Heading(const FeatureSelectionReport& report, const ReportedDependent& dependent) {
  const std::string of = " of " + Counted(report.predictors.size(), "predictor", "predictors");
  std::string shown;
  switch (report.displayMode) {
    case DisplayMode::kBest:
      shown = (dependent.best.size() == 1 ? "the best"
                                          : "the " + std::to_string(dependent.best.size()) + " best") +
              of;
      break;
    case DisplayMode::kBelowP: {
      const bool anyMeetsIt = dependent.pairs[static_cast<std::size_t>(dependent.best.front())].pValue <=
                              report.pCriterion * (1 + 1e-14);
      shown = (anyMeetsIt ? std::to_string(dependent.best.size()) + of + " with" : "none" + of + " has") +
              " p up to " + ShownNumber(report.pCriterion, "") +
              (anyMeetsIt ? "" : "; all that could be scored");
      break;
    }
    case DisplayMode::kBestByP:
      shown = "the " + std::to_string(dependent.best.size()) + of + " with the smallest p-values";
      break;
  }
  return Utf8Of(dependent.name) + " (" + KindName(dependent.kind) + "): " + shown + "\n";
}

const char* Legend(const std::string& statisticName) {
  if (statisticName == "F-value")
    return "F-value: variation between groups over variation within; larger is stronger.";
  if (statisticName == "Chi-square") return "Chi-square: departure from independence; larger is stronger.";
  return "Cramer's V: strength of association, 0 (none) to 1 (complete).";
}

}  // namespace

const char* KindName(Measurement kind) {
  return kind == Measurement::kContinuous ? "continuous" : "categorical";
}

std::string FeatureSelectionText(const FeatureSelectionReport& report, int width, bool utf8) {
  std::string text = "Feature selection: " + Utf8Of(report.dataFile) + "\n" + CasesLine(report) + "\n";
  std::vector<std::string> legends;
  bool anyBars = false;
  for (const ReportedDependent& dependent : report.dependents) {
    text += "\n";
    if (dependent.best.empty()) {
      text += Utf8Of(dependent.name) + " (" + KindName(dependent.kind) +
              "): no predictor could be scored (one value only, or nothing that varies together)\n";
      continue;
    }
    text += Heading(report, dependent) + DependentTable(report, dependent, width, utf8, anyBars);
    const std::string legend = Legend(dependent.statisticName);
    if (std::find(legends.begin(), legends.end(), legend) == legends.end()) legends.push_back(legend);
  }
  if (!legends.empty()) text += "\n";
  for (const std::string& legend : legends) text += legend + "\n";
  if (!legends.empty())
    text += "p-value: chance of a statistic at least this large if the predictor told nothing.\n";
  if (anyBars) text += "Bars: the statistic against the largest one shown.\n";
  return text;
}

std::string FeatureSelectionCsv(const FeatureSelectionReport& report) {
  std::string text =
      "dependent,dependent_number,dependent_kind,statistic_name,rank,predictor,predictor_number,"
      "predictor_kind,statistic,p_value,not_computable\n";
  for (const ReportedDependent& dependent : report.dependents) {
    std::vector<int> order = dependent.best;
    std::vector<char> ranked(report.predictors.size(), 0);
    for (const int index : order) ranked[static_cast<std::size_t>(index)] = 1;
    for (std::size_t j = 0; j < ranked.size(); ++j) {
      if (!ranked[j]) order.push_back(static_cast<int>(j));
    }
    for (std::size_t position = 0; position < order.size(); ++position) {
      const auto index = static_cast<std::size_t>(order[position]);
      const ReportedPredictor& predictor = report.predictors[index];
      const vlm::FeatureSelectionPair& pair = dependent.pairs[index];
      AppendCsvRow(text, {dependent.name, std::to_string(dependent.number), KindName(dependent.kind),
                          dependent.statisticName,
                          position < dependent.best.size() ? std::to_string(position + 1) : std::string(),
                          predictor.name, std::to_string(predictor.number), KindName(predictor.kind),
                          ShortestNumber(pair.statistic), ShortestNumber(pair.pValue),
                          pair.notComputable ? "1" : "0"});
    }
  }
  return text;
}

}  // namespace velmora
