// Feature selection for people and for spreadsheets: the terminal's tables and the CSV of all
// pairs.
#include <algorithm>
#include <cctype>
#include <cmath>
#include <numbers>
#include <set>

#include "workbench/documents/csv_row.h"
#include "workbench/documents/terminal_text.h"
#include "workbench/documents/text_table.h"
#include "workbench/documents/texts.h"
#include "workbench/report/data_name.h"
#include "workbench/report/feature_selection_report.h"
#include "workbench/report/ranking_columns.h"

namespace velmora {
namespace {

// The meaning of a statistic after its name and a colon.
std::string LowerFirst(std::string text) {
  text.front() = static_cast<char>(std::tolower(static_cast<unsigned char>(text.front())));
  return text;
}

// Lines of at most width columns, the second and later ones indented.
std::string Wrapped(const std::string& text, int width) {
  constexpr int kNarrowest = 40;
  const std::string indent = "    ";
  std::string wrapped, line;
  for (std::size_t begin = 0; begin < text.size();) {
    const std::size_t end = std::min(text.find(' ', begin), text.size());
    const std::string word = text.substr(begin, end - begin);
    if (!line.empty() && WidthOf(line) + 1 + WidthOf(word) > std::max(width, kNarrowest)) {
      wrapped += line + "\n";
      line = indent + word;
    } else {
      line += (line.empty() ? "" : " ") + word;
    }
    begin = end + 1;
  }
  return wrapped + line + "\n";
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
  if (report.ranking) {
    add(static_cast<int>(report.ranking->incompleteCases), "with a missing value left out");
  } else if (run.casewiseDeletion) {
    text += "; casewise deletion: " + std::to_string(run.validCases) +
            " complete, the others count until their first missing value (see N)";
  }
  if (run.weighted)
    text += "; weighted by " + report.weightVariable + ", total " + ShownNumber(run.totalWeight, "");
  if (run.weighted && report.ranking)
    text += ", design effect " + ShownNumber(report.ranking->designEffect, "0.00");
  if (!report.countVariable.empty()) text += "; counted by " + report.countVariable;
  return text;
}

// The rows of the dependent that are shown, with as many columns as fit the width. Sets
// anyBars where bars have room.
std::string DependentTable(const FeatureSelectionReport& report, const ReportedDependent& dependent,
                           int width, bool utf8, bool& anyBars, std::set<std::string>& meanings) {
  std::vector<int> rows = OrderedPredictors(report, dependent);
  rows.resize(ShownRows(report, dependent));
  double largest = 0;
  const auto strength = [&](int index) {
    const vlm::FeatureSelectionPair& pair = dependent.pairs[static_cast<std::size_t>(index)];
    if (pair.notComputable != 0) return 0.0;
    return dependent.ranked ? dependent.ranked->pairs[static_cast<std::size_t>(index)].association.effect
                            : pair.statistic;
  };
  for (const int index : rows) largest = std::max(largest, strength(index));
  std::vector<double> shares;
  for (const int index : rows) shares.push_back(largest > 0 ? strength(index) / largest : 0);
  const std::vector<RankingColumn> columns = RankingColumns(report, dependent, rows);
  int leastImportant = 0;
  const TextTable table = TerminalTable(columns, shares, width, utf8, 3, leastImportant);
  for (const RankingColumn& column : columns) {
    if (column.importance <= leastImportant && !column.shortTitle.empty() && !column.meaning.empty())
      meanings.insert(column.shortTitle + ": " + LowerFirst(column.meaning));
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
  if (report.ranking || !report.run.weighted || !anyCategorical) return "";
  return "The weights sum to " + ShownNumber(report.run.totalWeight, "") + " for " +
         Counted(static_cast<std::size_t>(report.run.validCases), "case", "cases") +
         ": p-values of categorical outcomes take that sum for the\n"
         "number of cases, so they are wrong unless each weight is a count of cases.\n";
}

}  // namespace

std::string FeatureSelectionText(const FeatureSelectionReport& report, int width, bool utf8) {
  std::string text =
      "Feature selection: " + PrintableText(DataPath(report.dataFile)) + "\n" + CasesLine(report) + "\n";
  for (const std::string& notice : report.notices) text += "Note: " + PrintableText(notice) + "\n";
  std::set<std::string> meanings;
  bool anyBars = false, anyNoBetter = false;
  for (const ReportedDependent& dependent : report.dependents) {
    text += "\n";
    const std::size_t rows = ShownRows(report, dependent);
    if (report.NoneMeetsCriterion(dependent)) {
      text += Heading(report, dependent);
    } else if (rows == 0) {
      text += PrintableText(dependent.name) + " (" + KindName(dependent.kind) +
              "): no predictor could be scored (one value only, or nothing that varies together)\n";
    } else {
      text += Heading(report, dependent) + DependentTable(report, dependent, width, utf8, anyBars, meanings);
    }
    if (report.ranking) {
      for (const std::string& notice : dependent.notices) text += "Note: " + PrintableText(notice) + "\n";
    }
    anyNoBetter = anyNoBetter || rows > dependent.best.size();
  }
  if (meanings.empty()) return text;
  text += "\n";
  for (const std::string& meaning : meanings) text += Wrapped(meaning, width);
  if (anyNoBetter) {
    text += "n.s.: not distinguishable from chance, the adjusted p is above " +
            ShownNumber(report.ranking->alpha, "") + "\n";
  }
  text += WeightNote(report);
  if (anyBars)
    text += std::string("Bars: the ") + (report.ranking ? "effect" : "statistic") +
            " relative to the largest one shown.\n";
  return text;
}

namespace {

void AppendEffectCells(const ReportedDependent& dependent, std::size_t index,
                       std::vector<std::string>& cells) {
  constexpr std::size_t kEffectCells = 13;
  if (!dependent.ranked || !dependent.ranked->pairs[index].association.computable) {
    cells.resize(cells.size() + kEffectCells);
    return;
  }
  const ranking::RankedPair& pair = dependent.ranked->pairs[index];
  const stats::Association& a = pair.association;
  const auto number = [&](double value) {
    cells.push_back(std::isfinite(value) ? ShortestNumber(value) : std::string());
  };
  for (const double value : {a.effect, a.lower, a.upper, std::fabs(a.logP / std::numbers::ln10),
                             std::exp(pair.logAdjustedP), std::fabs(pair.logAdjustedP / std::numbers::ln10)})
    number(value);
  cells.emplace_back(pair.better ? "1" : "0");
  cells.push_back(std::to_string(a.levels));
  for (const double value : {a.designEffect, a.testStatistic, a.testDf1}) number(value);
  cells.push_back(a.testDf2 > 0 ? ShortestNumber(a.testDf2) : std::string());
  cells.push_back(a.cells > 0 ? std::to_string(a.smallCells) : std::string());
}

}  // namespace

std::string FeatureSelectionCsv(const FeatureSelectionReport& report) {
  std::string text =
      "dependent,dependent_number,dependent_kind,statistic_name,rank,predictor,predictor_number,"
      "predictor_kind,statistic,p_value,not_computable,cases,missing_cases,df1,df2,effect,effect_lower,"
      "effect_upper,minus_log10_p,adjusted_p,minus_log10_adjusted_p,better_than_chance,levels,"
      "design_effect,test_statistic,test_df1,test_df2,small_expected_cells\n";
  for (const ReportedDependent& dependent : report.dependents) {
    const std::vector<int> order = OrderedPredictors(report, dependent);
    for (std::size_t position = 0; position < order.size(); ++position) {
      const auto index = static_cast<std::size_t>(order[position]);
      const ReportedPredictor& predictor = report.predictors[index];
      const vlm::FeatureSelectionPair& pair = dependent.pairs[index];
      std::vector<std::string> cells = {
          dependent.name,
          std::to_string(dependent.number),
          KindName(dependent.kind),
          dependent.statisticName,
          position < dependent.best.size() ? std::to_string(position + 1) : std::string(),
          predictor.name,
          std::to_string(predictor.number),
          KindName(predictor.kind),
          ShortestNumber(pair.statistic),
          ShortestNumber(pair.pValue),
          pair.notComputable ? "1" : "0",
          std::to_string(pair.usedCases),
          std::to_string(pair.missingCases),
          pair.notComputable ? std::string() : ShortestNumber(pair.df1),
          pair.notComputable || pair.df2 <= 0 ? std::string() : ShortestNumber(pair.df2)};
      AppendEffectCells(dependent, index, cells);
      AppendCsvRow(text, cells);
    }
  }
  return text;
}

}  // namespace velmora
