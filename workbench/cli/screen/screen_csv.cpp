// Screening results as rows for other programs.
#include <cmath>

#include "workbench/documents/csv_row.h"
#include "workbench/documents/texts.h"
#include "workbench/report/screen_columns.h"

namespace velmora {
namespace {

std::string Field(double value) { return IsMissing(value, kMissing) ? std::string() : ShortestNumber(value); }

struct FigureField {
  const char* name;
  double vlm::ScreeningPredictor::*value;
};
constexpr FigureField kFigures[] = {
    {"information_value", &vlm::ScreeningPredictor::informationValue},
    {"gini_before", &vlm::ScreeningPredictor::giniBefore},
    {"gini_after", &vlm::ScreeningPredictor::giniAfter},
    {"chi_square", &vlm::ScreeningPredictor::chiSquare},
    {"p_value", &vlm::ScreeningPredictor::chiSquareP},
    {"cramers_v", &vlm::ScreeningPredictor::cramersV},
    {"r_squared", &vlm::ScreeningPredictor::rSquared},
    {"f_statistic", &vlm::ScreeningPredictor::fStatistic},
    {"r_squared_ranks", &vlm::ScreeningPredictor::rSquaredRanks},
    {"out_of_fold_information_value", &vlm::ScreeningPredictor::heldOutInformationValue},
    {"out_of_fold_gini", &vlm::ScreeningPredictor::heldOutGini},
    {"out_of_fold_explained", &vlm::ScreeningPredictor::heldOutExplained},
};

struct BinField {
  const char* name;
  double vlm::ScreeningBin::*value;
};
constexpr BinField kBinFields[] = {
    {"total", &vlm::ScreeningBin::total},
    {"bad", &vlm::ScreeningBin::bad},
    {"good", &vlm::ScreeningBin::good},
    {"pct_valid_n", &vlm::ScreeningBin::percentValidN},
    {"bad_rate_row", &vlm::ScreeningBin::badRateRow},
    {"bad_rate_col", &vlm::ScreeningBin::badRateColumn},
    {"good_rate_col", &vlm::ScreeningBin::goodRateColumn},
    {"woe", &vlm::ScreeningBin::woe},
    {"gini", &vlm::ScreeningBin::gini},
    {"odds", &vlm::ScreeningBin::odds},
    {"information_value", &vlm::ScreeningBin::informationValue},
    {"mean", &vlm::ScreeningBin::mean},
    {"variance", &vlm::ScreeningBin::variance},
    {"sse", &vlm::ScreeningBin::sumOfSquares},
};

void AddBasis(const ScreenedResponse& response, const ScreenedPredictor& predictor,
              std::vector<std::string>& row) {
  const auto add = [&](bool known, double value) { row.push_back(known ? ShortestNumber(value) : ""); };
  const std::optional<binning::Interval>& interval = predictor.heldOutInterval;
  const bool isSame = predictor.sameAs >= 0, adds = predictor.addsPlace > 0;
  row.push_back(std::to_string(predictor.cases));
  row.push_back(std::to_string(predictor.missing));
  add(interval.has_value(), interval ? interval->lower : 0);
  add(interval.has_value(), interval ? interval->upper : 0);
  add(!std::isnan(predictor.searchP), predictor.searchP);
  add(!std::isnan(predictor.adjustedSearchP), predictor.adjustedSearchP);
  const stats::Association sample = predictor.association.value_or(stats::Association{});
  const bool tested = predictor.association && !std::isnan(sample.logP);
  add(predictor.association.has_value(), sample.designEffect);
  for (const double figure : {sample.testStatistic, sample.testDf1, sample.testDf2, std::exp(sample.logP)})
    add(tested, figure);
  add(predictor.cluster > 0, predictor.cluster);
  row.push_back(isSame ? response.predictors[static_cast<std::size_t>(predictor.sameAs)].name : "");
  add(isSame, predictor.sameAsV);
  add(adds, predictor.addsPlace);
  add(adds, predictor.addsShare);
  row.push_back(WarningText(predictor));
}

}  // namespace

std::string ScreenImportanceCsv(const ScreenReport& report) {
  std::string text;
  std::vector<std::string> header = {"response", "response_kind", "rank",    "predictor", "predictor_number",
                                     "kind",     "bins",          "valid_n", "minimum",   "maximum"};
  for (const FigureField& figure : kFigures) header.emplace_back(figure.name);
  for (const char* name :
       {"cases", "missing", "out_of_fold_lower", "out_of_fold_upper", "search_p", "adjusted_search_p",
        "design_effect", "test_statistic", "test_df1", "test_df2", "test_p", "cluster", "says_the_same_as",
        "association", "adds_place", "adds_share", "warnings"})
    header.emplace_back(name);
  header.emplace_back("no_better_than_chance");
  header.emplace_back("failed");
  AppendCsvRow(text, header);
  for (const ScreenedResponse& response : report.responses) {
    const std::string kind = ResponseKindName(response.kind);
    for (std::size_t rank = 0; rank < response.predictors.size(); ++rank) {
      const ScreenedPredictor& predictor = response.predictors[rank];
      const vlm::ScreeningPredictor& figures = predictor.figures;
      const bool any = figures.minimum <= figures.maximum;
      std::vector<std::string> row = {response.name,
                                      kind,
                                      std::to_string(rank + 1),
                                      predictor.name,
                                      std::to_string(figures.predictorNumber),
                                      PredictorKindName(predictor),
                                      std::to_string(predictor.bins.size()),
                                      std::to_string(figures.validN),
                                      any ? Field(figures.minimum) : "",
                                      any ? Field(figures.maximum) : ""};
      for (const FigureField& figure : kFigures) {
        const bool isNone = predictor.searched && figure.value == &vlm::ScreeningPredictor::chiSquareP;
        row.push_back(isNone ? std::string() : Field(figures.*figure.value));
      }
      AddBasis(response, predictor, row);
      row.emplace_back(figures.noBetterThanChance != 0 ? "yes" : "no");
      row.emplace_back();
      AppendCsvRow(text, row);
    }
    for (const FailedPredictor& failed : response.failed) {
      std::vector<std::string> row(header.size());
      row[0] = response.name;
      row[1] = kind;
      row[3] = failed.name;
      row[4] = std::to_string(failed.number);
      row.back() = failed.reason;
      AppendCsvRow(text, row);
    }
  }
  return text;
}

std::string ScreenBinsCsv(const ScreenReport& report) {
  std::string text;
  std::vector<std::string> header = {"response", "response_kind", "rank", "predictor", "bin", "label"};
  for (const BinField& field : kBinFields) header.emplace_back(field.name);
  const std::size_t fixed = header.size();
  for (const ScreenedResponse& response : report.responses) {
    if (response.kind != vlm::kCategoricalResponse) continue;
    for (const std::string& code : response.codes) header.push_back("count " + code);
  }
  AppendCsvRow(text, header);
  for (const ScreenedResponse& response : report.responses) {
    for (std::size_t rank = 0; rank < response.predictors.size(); ++rank) {
      const ScreenedPredictor& predictor = response.predictors[rank];
      for (std::size_t b = 0; b < predictor.bins.size(); ++b) {
        const ScreenedBin& bin = predictor.bins[b];
        std::vector<std::string> row = {
            response.name,  ResponseKindName(response.kind), std::to_string(rank + 1),
            predictor.name, std::to_string(b + 1),           bin.label};
        for (const BinField& field : kBinFields) row.push_back(Field(bin.figures.*field.value));
        if (response.kind == vlm::kCategoricalResponse) {
          for (const double count : bin.counts) row.push_back(Field(count));
        }
        row.resize(std::max(header.size(), fixed));
        AppendCsvRow(text, row);
      }
    }
  }
  return text;
}

}  // namespace velmora
