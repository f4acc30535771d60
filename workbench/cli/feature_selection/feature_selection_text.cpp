// Feature selection for people and for spreadsheets: the terminal's tables and the CSV of all
// pairs.
#include <algorithm>
#include <cctype>

#include "workbench/documents/csv_row.h"
#include "workbench/documents/terminal_text.h"
#include "workbench/documents/text_table.h"
#include "workbench/documents/texts.h"
#include "workbench/report/feature_selection_report.h"

namespace velmora {
namespace {

constexpr int kWidestName = 48;

// The meaning of a statistic after its name and a colon.
std::string LowerFirst(std::string text) {
  text.front() = static_cast<char>(std::tolower(static_cast<unsigned char>(text.front())));
  return text;
}

std::string CasesLine(const FeatureSelectionReport& report) {
  const vlm::FeatureSelectionRun& run = report.run;
  std::string text = Counted(static_cast<std::size_t>(run.caseCount), "case", "cases");
  const auto add = [&](int count, const char* reason) {
    if (count > 0) text += "; " + std::to_string(count) + " " + reason;
  };
  add(run.excludedCases, "left out by the selection");
  add(run.zeroWeightCases, "without weight");
  add(run.badCountCases, "without a count");
  if (run.casewiseDeletion) {
    text += "; casewise deletion: " + std::to_string(run.validCases) +
            " complete, the others count until their first missing value (see N)";
  }
  if (run.weighted)
    text += "; weighted by " + report.weightVariable + ", total " + ShownNumber(run.totalWeight, "");
  if (!report.countVariable.empty()) text += "; counted by " + report.countVariable;
  return text;
}

// Rank, predictor, kind, statistic, p, N, degrees of freedom and a bar for each of the dependent's
// best predictors. Sets anyBars where the bars have room.
std::string DependentTable(const FeatureSelectionReport& report, const ReportedDependent& dependent,
                           int width, bool utf8, bool& anyBars) {
  const auto pairOf = [&](int index) -> const vlm::FeatureSelectionPair& {
    return dependent.pairs[static_cast<std::size_t>(index)];
  };
  double largest = 0;
  for (const int index : dependent.best) largest = std::max(largest, pairOf(index).statistic);
  TextTable table({{"rank", true},
                   {"predictor"},
                   {"kind"},
                   {dependent.statisticName, true},
                   {"p-value", true},
                   {"N", true},
                   {"df", true}});
  int rank = 0;
  for (const int index : dependent.best) {
    const ReportedPredictor& predictor = report.predictors[static_cast<std::size_t>(index)];
    const vlm::FeatureSelectionPair& pair = pairOf(index);
    const bool computed = pair.notComputable == 0;
    table.AddRow(
        {std::to_string(++rank), CutToWidth(PrintableText(predictor.name), kWidestName, utf8 ? "…" : "~"),
         KindName(predictor.kind), computed ? ShownStatistic(dependent, pair) : "-",
         computed ? ShownProbability(pair.pValue) : "-", std::to_string(pair.usedCases),
         computed ? DegreesOfFreedomText(pair) : "-"},
        computed && largest > 0 ? pair.statistic / largest : 0);
  }
  anyBars = anyBars || (largest > 0 && table.HasRoomForBars(width));
  return table.TextWithBars(width, utf8);
}

std::string Heading(const FeatureSelectionReport& report, const ReportedDependent& dependent) {
  std::string text = PrintableText(dependent.name) + " (" + KindName(dependent.kind);
  if (dependent.cases.missingCases > 0)
    text += "; " + std::to_string(dependent.cases.missingCases) + " cases without a value";
  return text + "): " + ShownPredictors(report, dependent) + "\n";
}

// A Chi-square grows with the unit of the weights, so its p-value does, too.
std::string WeightNote(const FeatureSelectionReport& report) {
  const bool anyCategorical =
      report.run.treatContinuousDependentAsCategorical != 0 ||
      std::any_of(report.dependents.begin(), report.dependents.end(), [](const ReportedDependent& dependent) {
        return dependent.kind == Measurement::kCategorical;
      });
  if (!report.run.weighted || !anyCategorical) return "";
  return "The weights sum to " + ShownNumber(report.run.totalWeight, "") + " for " +
         Counted(static_cast<std::size_t>(report.run.validCases), "case", "cases") +
         ": p-values of categorical outcomes take that sum for the\n"
         "number of cases, so they are wrong unless each weight is a count of cases.\n";
}

}  // namespace

std::string FeatureSelectionText(const FeatureSelectionReport& report, int width, bool utf8) {
  std::string text = "Feature selection: " + PrintableText(report.dataFile) + "\n" + CasesLine(report) + "\n";
  std::vector<PairStatistic> legends;
  bool anyBars = false;
  for (const ReportedDependent& dependent : report.dependents) {
    text += "\n";
    if (report.NoneMeetsCriterion(dependent)) {
      text += Heading(report, dependent);
    } else if (dependent.best.empty()) {
      text += PrintableText(dependent.name) + " (" + KindName(dependent.kind) +
              "): no predictor could be scored (one value only, or nothing that varies together)\n";
    } else {
      text += Heading(report, dependent) + DependentTable(report, dependent, width, utf8, anyBars);
      if (std::find(legends.begin(), legends.end(), dependent.statistic) == legends.end())
        legends.push_back(dependent.statistic);
    }
  }
  if (legends.empty()) return text;
  text += "\n";
  for (const ReportedDependent& dependent : report.dependents) {
    const auto legend = std::find(legends.begin(), legends.end(), dependent.statistic);
    if (legend == legends.end()) continue;
    text += dependent.statisticName + ": " + LowerFirst(StatisticMeaning(dependent.statistic)) + "\n";
    legends.erase(legend);
  }
  text +=
      "p-value: probability of a value at least this large if predictor and outcome were unrelated (one "
      "test, not adjusted).\n";
  text += WeightNote(report);
  text += "N: cases that entered the statistic; df: its degrees of freedom.\n";
  if (anyBars) text += "Bars: the statistic relative to the largest one shown.\n";
  return text;
}

std::string FeatureSelectionCsv(const FeatureSelectionReport& report) {
  std::string text =
      "dependent,dependent_number,dependent_kind,statistic_name,rank,predictor,predictor_number,"
      "predictor_kind,statistic,p_value,not_computable,cases,missing_cases,df1,df2\n";
  for (const ReportedDependent& dependent : report.dependents) {
    const std::vector<int> order = OrderedPredictors(report, dependent);
    for (std::size_t position = 0; position < order.size(); ++position) {
      const auto index = static_cast<std::size_t>(order[position]);
      const ReportedPredictor& predictor = report.predictors[index];
      const vlm::FeatureSelectionPair& pair = dependent.pairs[index];
      AppendCsvRow(
          text,
          {dependent.name, std::to_string(dependent.number), KindName(dependent.kind),
           dependent.statisticName,
           position < dependent.best.size() ? std::to_string(position + 1) : std::string(), predictor.name,
           std::to_string(predictor.number), KindName(predictor.kind), ShortestNumber(pair.statistic),
           ShortestNumber(pair.pValue), pair.notComputable ? "1" : "0", std::to_string(pair.usedCases),
           std::to_string(pair.missingCases), pair.notComputable ? std::string() : ShortestNumber(pair.df1),
           pair.notComputable || pair.df2 <= 0 ? std::string() : ShortestNumber(pair.df2)});
    }
  }
  return text;
}

}  // namespace velmora
