// Screening results for people: a ranking per response, and the bins of its best predictors.
#include <algorithm>
#include <cmath>

#include "workbench/cli/words.h"
#include "workbench/documents/aligned_numbers.h"
#include "workbench/documents/terminal_text.h"
#include "workbench/documents/text_table.h"
#include "workbench/documents/texts.h"
#include "workbench/report/data_name.h"
#include "workbench/report/screen_columns.h"

namespace velmora {
namespace {

constexpr int kWidestName = 48;
constexpr std::size_t kMostRanked = 40;  // a screen or two; the other formats have them all
constexpr std::size_t kMostFailed = 20;
constexpr std::size_t kMostCodes = 8;
constexpr std::size_t kMostNamed = 12;
constexpr std::size_t kMostWarnedSingly = 3;

std::string Shown(double value, const char* format) {
  if (IsMissing(value, kMissing)) return "-";
  return format == nullptr ? ShownProbability(value) : ShownNumber(value, format);
}

// The predictors after those of the ranking, by name.
std::string ChanceLine(const ScreenedResponse& response) {
  std::vector<std::string> names;
  for (std::size_t i = CountAboveChance(response); i < response.predictors.size(); ++i)
    names.push_back(PrintableText(response.predictors[i].name));
  return names.empty() ? "" : "No better than chance: " + JoinFirst(names, kMostNamed) + "\n";
}

// The first predictors of the ranking that have this warning, with its figure.
std::vector<std::string> NamesWith(CommonWarning common, const ScreenedResponse& response,
                                   std::size_t count) {
  std::vector<std::string> names;
  for (std::size_t i = 0; i < count; ++i) {
    for (const ScreenWarning& warning : response.predictors[i].warnings) {
      if (warning.common != common) continue;
      names.push_back(PrintableText(response.predictors[i].name) + " (" +
                      ShownNumber(warning.figure, common == CommonWarning::kAuc ? "0.000" : "0.00") + ")");
    }
  }
  return names;
}

// A warning that many of the first predictors have is one line for all of them.
std::string WarningLines(const ScreenedResponse& response, std::size_t count) {
  std::string text;
  const auto areOneLine = [&](CommonWarning common, const std::string& sentence) {
    const std::vector<std::string> names = NamesWith(common, response, count);
    if (names.size() <= kMostWarnedSingly) return false;
    text += "Check " + std::to_string(names.size()) + " predictors: " + sentence + " " +
            JoinFirst(names, kMostNamed) + "\n";
    return true;
  };
  const std::string outcome = PrintableText(response.name);
  const bool aucs = areOneLine(
      CommonWarning::kAuc, "AUC on cases held out above 0.95, as if they were made from " + outcome + ":");
  const bool values = areOneLine(CommonWarning::kInformationValue,
                                 "information value above 0.5; are they known before " + outcome + "?");
  for (std::size_t i = 0; i < count; ++i) {
    std::string warnings;
    for (const ScreenWarning& warning : response.predictors[i].warnings) {
      if ((warning.common == CommonWarning::kAuc && aucs) ||
          (warning.common == CommonWarning::kInformationValue && values))
        continue;
      warnings += (warnings.empty() ? "" : "; ") + warning.text;
    }
    if (!warnings.empty())
      text += "Check " + PrintableText(response.predictors[i].name) + ": " + PrintableText(warnings) + "\n";
  }
  return text;
}

// The prescribed columns of a run as the dialogs make it.
TextTable ClassicTable(const ScreenedResponse& response, const std::vector<double>& bars, bool utf8) {
  std::vector<TextColumn> columns = {{"rank", true}, {"predictor"}, {"kind"}, {"bins", true}};
  for (const ScreenStatistic& statistic : StatisticsOf(response)) columns.push_back({statistic.header, true});
  TextTable table(std::move(columns));
  for (std::size_t i = 0; i < bars.size(); ++i) {
    const ScreenedPredictor& predictor = response.predictors[i];
    std::vector<std::string> row = {std::to_string(i + 1),
                                    CutToWidth(PrintableText(predictor.name), kWidestName, utf8 ? "…" : "~"),
                                    PredictorKindName(predictor), std::to_string(predictor.bins.size())};
    for (const ScreenStatistic& statistic : StatisticsOf(response)) {
      row.push_back(Shown(predictor.figures.*statistic.value, statistic.format));
    }
    table.AddRow(std::move(row), bars[i]);
  }
  return table;
}

std::string RankedTable(const ScreenReport& report, const ScreenedResponse& response, int width, bool utf8) {
  const std::size_t ranked = response.distinct.value_or(CountAboveChance(response));
  const std::size_t count = std::min(ranked, kMostRanked);
  std::vector<double> bars;
  for (std::size_t i = 0; i < count; ++i)
    bars.push_back(StrengthOf(response, response.predictors[i].figures));
  const double largest = bars.empty() ? 0 : *std::max_element(bars.begin(), bars.end());
  for (double& bar : bars) bar = largest > 0 ? bar / largest : 0;
  constexpr int kAlways = 3;
  int leastImportant = 0;
  std::string text;
  if (count > 0) {
    text = report.classic ? ClassicTable(response, bars, utf8).TextWithBars(width, utf8)
                          : TerminalTable(TerminalColumns(report, response, count), bars, width, utf8,
                                          kAlways, leastImportant)
                                .TextWithBars(width, utf8);
  }
  if (count < ranked)
    text += "... and " + std::to_string(ranked - count) + " more, which the other formats show\n";
  text += WarningLines(response, count);
  if (response.distinct && *response.distinct < CountAboveChance(response))
    text += Counted(CountAboveChance(response) - *response.distinct, "predictor says", "predictors say") +
            " the same as a better one, which the other formats list\n";
  return text + ChanceLine(response);
}

std::string Heading(const ScreenedResponse& response) {
  std::string text = PrintableText(response.name) + " (" + ResponseKindName(response.kind);
  if (response.kind == vlm::kBinaryResponse)
    text += "; bad: " + PrintableText(response.codes[0]) + ", good: " + PrintableText(response.codes[1]);
  text += "): " + Counted(response.predictors.size(), "predictor", "predictors") + " by ";
  text += RankingOf(response).statistic.header;
  if (RankingOf(response).by == RankBy::kGini) text += ", smallest first";
  return text + "\n";
}

// The counts of the codes; only the most frequent codes when there are many.
void AddCountColumns(const ScreenedResponse& response, const ScreenedPredictor& predictor,
                     std::vector<TextColumn>& columns, std::vector<std::size_t>& shownCodes) {
  for (std::size_t c = 0; c < response.codes.size(); ++c) shownCodes.push_back(c);
  std::stable_sort(shownCodes.begin(), shownCodes.end(), [&](std::size_t a, std::size_t b) {
    return predictor.total.counts[a] > predictor.total.counts[b];
  });
  shownCodes.resize(std::min(shownCodes.size(), kMostCodes));
  std::sort(shownCodes.begin(), shownCodes.end());
  for (const std::size_t c : shownCodes) columns.push_back({PrintableText(response.codes[c]), true});
  if (shownCodes.size() < response.codes.size()) columns.push_back({"others", true});
  columns.push_back({"total", true});
}

void AddCounts(const ScreenedResponse& response, const ScreenedBin& bin,
               const std::vector<std::size_t>& shownCodes, std::vector<std::string>& row) {
  double others = bin.figures.total;
  for (const std::size_t c : shownCodes) {
    row.push_back(Shown(bin.counts[c], ""));
    others -= bin.counts[c];
  }
  if (shownCodes.size() < response.codes.size()) row.push_back(Shown(others, ""));
  row.push_back(Shown(bin.figures.total, ""));
}

std::string BinTable(const ScreenedResponse& response, const ScreenedPredictor& predictor, int width,
                     bool utf8) {
  std::vector<TextColumn> columns = {{"bin"}};
  std::vector<std::size_t> shownCodes;
  std::vector<ScreenBinColumn> shown;
  for (const ScreenBinColumn& column : BinColumnsOf(response.kind)) {
    if (column.format != nullptr) shown.push_back(column);
  }
  std::vector<AlignedNumbers> numbers(shown.size());
  for (std::size_t c = 0; c < shown.size(); ++c) {
    columns.push_back({shown[c].header, true});
    for (const ScreenedBin& bin : predictor.bins) numbers[c].Add(bin.figures.*shown[c].value);
    numbers[c].Add(predictor.total.figures.*shown[c].value);
  }
  if (response.kind == vlm::kCategoricalResponse) AddCountColumns(response, predictor, columns, shownCodes);
  TextTable table(std::move(columns));
  const auto add = [&](const ScreenedBin& bin) {
    std::vector<std::string> row = {bin.label};
    for (std::size_t c = 0; c < shown.size(); ++c) {
      const double value = bin.figures.*shown[c].value;
      const bool aligned = *shown[c].format == '\0' && !IsMissing(value, kMissing);
      row.push_back(aligned ? numbers[c].Text(value) : Shown(value, shown[c].format));
    }
    if (response.kind == vlm::kCategoricalResponse) AddCounts(response, bin, shownCodes, row);
    table.AddRow(std::move(row));
  };
  for (const ScreenedBin& bin : predictor.bins) add(bin);
  add(predictor.total);
  std::string text = "\n" + PrintableText(predictor.name) + ": " +
                     Counted(predictor.bins.size(), "bin", "bins") + " (" + PredictorKindName(predictor);
  if (response.kind == vlm::kBinaryResponse) {
    text += ", Gini " + Shown(predictor.figures.giniBefore, "0.0000") + " before and " +
            Shown(predictor.figures.giniAfter, "0.0000") + " after binning";
  }
  return text + ")\n" + table.Text(width, utf8);
}

std::string FailedLines(const ScreenedResponse& response) {
  std::string text;
  for (std::size_t i = 0; i < response.failed.size() && i < kMostFailed; ++i) {
    text += "Not binned: " + PrintableText(response.failed[i].name) + " (" +
            PrintableText(response.failed[i].reason) + ")\n";
  }
  if (response.failed.size() > kMostFailed) {
    text += "... and " + std::to_string(response.failed.size() - kMostFailed) + " more\n";
  }
  return text.empty() ? text : "\n" + text;
}

const char* ValidatedLegend(vlm::ResponseKind kind) {
  switch (kind) {
    case vlm::kBinaryResponse:
      return "(CV): on cases that had no part in finding the bins, by 10-fold cross-validation. Information "
             "value\n"
             "(IV): below 0.02 negligible, 0.3 or more strong, above 0.5 check for leakage. Gini: 2 AUC - "
             "1.\n"
             "WOE: 100 ln(share of good / share of bad); negative: more bads than average.\n";
    case vlm::kContinuousResponse:
      return "R2 (CV): share of the variance that the bins explain on cases that had no part in finding "
             "them, by\n"
             "10-fold cross-validation. SSE: sum of squares within the bin.\n";
    case vlm::kCategoricalResponse:
      return "deviance (CV): share of the deviance that the bins explain on cases that had no part in "
             "finding them,\n"
             "by 10-fold cross-validation.\n";
  }
  return "";
}

const char* Legend(const ScreenedResponse& response) {
  if (IsCrossValidated(response)) return ValidatedLegend(response.kind);
  switch (response.kind) {
    case vlm::kBinaryResponse:
      return "Gini: impurity left in the bins; smaller is better. WOE: 100 ln(share of good / share of "
             "bad);\n"
             "negative: more bads than average. Information value (IV): below 0.02 negligible, 0.3 or more\n"
             "strong, above 0.5 check for leakage.\n";
    case vlm::kContinuousResponse:
      return "R-squared: share of the variance that the bins explain. SSE: sum of squares within the bin.\n";
    case vlm::kCategoricalResponse:
      return "p-value: probability of a Chi-square at least this large if predictor and outcome were\n"
             "unrelated (one test, not adjusted).\n";
  }
  return "";
}

bool NamesTheSame(const ScreenedResponse& response) {
  const std::size_t count = std::min(response.distinct.value_or(CountAboveChance(response)), kMostRanked);
  return std::any_of(response.predictors.begin(),
                     response.predictors.begin() + static_cast<std::ptrdiff_t>(count),
                     [](const ScreenedPredictor& predictor) { return predictor.sameAs >= 0; });
}

std::string CasesLine(const ScreenReport& report) {
  std::string text = Counted(static_cast<std::size_t>(report.caseCount), "case", "cases");
  if (report.selectedCases < report.caseCount)
    text += ", " + std::to_string(report.selectedCases) + " selected";
  if (!report.weightVariable.empty()) text += "; weighted by " + PrintableText(report.weightVariable);
  if (!report.countVariable.empty()) text += "; counted by " + PrintableText(report.countVariable);
  if (!report.strataVariable.empty()) text += "; strata " + PrintableText(report.strataVariable);
  if (!report.clusterVariable.empty()) text += "; clusters " + PrintableText(report.clusterVariable);
  if (!report.optimal && !report.pruned) text += "; trees not pruned";
  text += "\n";
  for (const ScreenedResponse& response : report.responses) {
    const ScreenedCases& cases = response.cases;
    if (cases.withoutWeight + cases.withoutResponse + cases.otherCodes > 0)
      text += PrintableText(response.name) + ": " + CasesText(cases) + "\n";
    if (const std::string weights = WeightsText(report, cases); !weights.empty())
      text += PrintableText(response.name) + ": " + weights + "\n";
  }
  return text;
}

}  // namespace

std::string ScreenText(const ScreenReport& report, int width, bool utf8) {
  std::string text =
      "Predictor screening: " + PrintableText(DataPath(report.dataFile)) + "\n" + CasesLine(report);
  for (const ScreenedResponse& response : report.responses) {
    text += "\n" + Heading(response);
    if (!response.predictors.empty()) text += RankedTable(report, response, width, utf8);
    const std::size_t shown = report.ShownOf(response, kBestOnTerminal);
    for (std::size_t i = 0; i < shown; ++i) text += BinTable(response, response.predictors[i], width, utf8);
    text += FailedLines(response) + "\n" + Legend(response);
    if (NamesTheSame(response))
      text +=
          "same as: rank of a better predictor whose bins are associated with these (V: corrected Cramer's "
          "V).\n";
  }
  return text;
}

}  // namespace velmora
