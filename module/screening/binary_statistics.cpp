// Statistics of a binary response: the summary crosstab of the coded predictor with its screening
// columns, the information value and the weighted Gini after categorisation.
#include <cmath>

#include "base/format_text.h"
#include "base/number_text.h"
#include "module/frame/step_result.h"
#include "module/resources/text_ids.h"
#include "module/screening/failed_predictor.h"
#include "module/screening/feature_selection_template.h"

namespace vlmfsl {
namespace {

constexpr int kBadCountColumn = 2;
constexpr int kGoodCountColumn = 3;
constexpr int kRowTotalColumn = 4;

// Returns the new column's number.
int AddCrossTabVariable(vlm::ISpreadsheet& sheet, int afterColumn, const std::string& name,
                        const std::string& formula) {
  return InsertColumn(sheet, afterColumn, name, formula, "0.0000");
}

// Weights of evidence by the formula above, with half a case added to both counts of a bin that has
// no bad or no good cases. The column holds values: a formula has no conditions.
int AddCorrectedWoe(vlm::ISpreadsheet& sheet, int afterColumn, const std::string& name,
                    const std::string& badText, const std::string& goodText) {
  const std::string what = "100 log((v3/" + goodText + ")/(v2/" + badText +
                           ")), of bins without bad or good cases with v2+0.5 and v3+0.5";
  const int column = InsertColumn(sheet, afterColumn, name, what, "0.0000");
  const double badTotal = ParseMachineNumber(badText), goodTotal = ParseMachineNumber(goodText);
  for (int row = 1; row <= sheet.GetRowCount(); ++row) {
    double bad = sheet.GetValue(row, kBadCountColumn), good = sheet.GetValue(row, kGoodCountColumn);
    if (!(bad > 0) || !(good > 0)) {
      bad += 0.5;
      good += 0.5;
    }
    sheet.SetValue(row, column, 100 * std::log((good / goodTotal) / (bad / badTotal)));
  }
  return column;
}

}  // namespace

int CFeatureSelectionTemplate::BinarySummaryAnalysis(vlm::IDialogWindow* /*parentWindow*/,
                                                     PredSummary& record) {
  try {
    const auto crosstab = CreateStatisticsProcedure(record, vlm::kCrosstabProcedure);
    SetVariableList(*crosstab, " 3 | 2");
    SetResponseCodes(*crosstab, QuotedCode(record.badCodeText) + "|" + QuotedCode(record.goodCodeText));
    Run(*crosstab);
    record.crosstab.summary = GetResult(*crosstab, vlm::kCrosstabSummaryResult);
    vlm::ISpreadsheet& sheet = *record.crosstab.summary;
    const int totalsRow = sheet.GetRowCount();
    if (totalsRow - 1 < 1) return Fail(*this, record, kTextNoSelectedCases);
    if (totalsRow - 1 < 2 && settings.acceptOneBin == 0) return Fail(*this, record, kTextOneBinLeft);
    if (!(sheet.GetValue(totalsRow, kBadCountColumn) > 0 &&
          sheet.GetValue(totalsRow, kGoodCountColumn) > 0)) {
      return Fail(*this, record, kTextConstantResponse);
    }
    SetTitle(*record.crosstab.summary,
             vlm::FormatText(Text(kTextSummaryCrosstabulation), {record.predictorName, record.responseName}));
    ComputeAdditionalTemplateCrossTabStats(*record.crosstab.summary, record);
    // Not one less the distribution function, which has no digits left where p is small.
    record.crosstab.chiSquareP = PearsonPValue(*GetResult(*crosstab, vlm::kCrosstabStatisticsResult));
    if (record.predictorKind == kContinuousPredictor) MakeUniqueValuesSpreadsheet(record);
    record.binary.giniBefore = ComputeGiniBeforeCategorization(record);
    return kOk;
  } catch (const HostCallError& error) {
    return FailAtHost(*this, record, error);
  }
}

void CFeatureSelectionTemplate::ComputeAdditionalTemplateCrossTabStats(vlm::ISpreadsheet& crosstab,
                                                                       PredSummary& record) {
  const int totalsRow = crosstab.GetRowCount();
  const double bad = crosstab.GetValue(totalsRow, kBadCountColumn);
  const double good = crosstab.GetValue(totalsRow, kGoodCountColumn);
  record.binary.badShare = bad / (good + bad);
  record.binary.goodShare = good / (good + bad);

  // Totals enter the formulas with six digits on purpose. Two columns are inserted before the six
  // others at the end: the host rebinds the formulas, the numbers kept here are moved by hand.
  const std::string badText = vlm::FormatGeneral(bad);
  const std::string goodText = vlm::FormatGeneral(good);
  int column = crosstab.GetColumnCount();
  column = AddCrossTabVariable(crosstab, column, Text(kTextBadRateColumn), "=v2/" + badText);
  column = AddCrossTabVariable(crosstab, column, Text(kTextGoodRateColumn), "=v3/" + goodText);
  const int woe = settings.correctPureBins != 0
                      ? AddCorrectedWoe(crosstab, column, Text(kTextWoe), badText, goodText)
                      : AddCrossTabVariable(crosstab, column, Text(kTextWoe),
                                            "= 100* log((v3/" + goodText + ")/(v2/" + badText + "))");
  const int gini = AddCrossTabVariable(crosstab, woe, Text(kTextGini), "= 2.0*((v3)/(v2+v3))*(1-v3/(v3+v2))");
  column = AddCrossTabVariable(crosstab, gini, Text(kTextOdds), "= v3/v2");
  const int value =
      AddCrossTabVariable(crosstab, column, Text(kTextInformationValue),
                          "=(v3/" + goodText + "-v2/" + badText + ")*0.01*v" + std::to_string(woe));
  column = AddCrossTabVariable(crosstab, kRowTotalColumn, Text(kTextPercentValidN),
                               "=100*v4/" + vlm::FormatFixed(std::round(bad + good), 0));
  AddCrossTabVariable(crosstab, column, Text(kTextBadRateRow), "=v2/(v2+v3)");
  constexpr int kInsertedBefore = 2;
  const int giniColumn = gini + kInsertedBefore;
  const int valueColumn = value + kInsertedBefore;

  record.binary.informationValue = 0;
  record.binary.giniAfter = 0;
  UpdateCrosstabIndices(record);
  for (int row = 1; row < totalsRow; ++row) {
    const double levelBad = crosstab.GetValue(row, record.binary.badColumn);
    if (HasValue(levelBad)) {
      const double levelGood = crosstab.GetValue(row, record.binary.goodColumn);
      record.binary.giniAfter += (levelGood + levelBad) * crosstab.GetValue(row, giniColumn) / (bad + good);
    }
    const double levelValue = crosstab.GetValue(row, valueColumn);
    if (HasValue(levelValue)) record.binary.informationValue += levelValue;
  }
}

void CFeatureSelectionTemplate::UpdateCrosstabIndices(PredSummary& record) {
  const std::string badRate = TrimBlanks(Text(kTextBadRateColumn));
  const std::string badText = TrimBlanks(record.badCodeText);
  const std::string goodText = TrimBlanks(record.goodCodeText);
  vlm::ISpreadsheet& sheet = *record.crosstab.summary;
  for (int column = 1; column <= sheet.GetColumnCount(); ++column) {
    const std::string name =
        vlm::WholeTextOf([&](vlm::ITextSink* sink) { sheet.GetColumnName(column, sink); });
    const std::string longName =
        vlm::WholeTextOf([&](vlm::ITextSink* sink) { sheet.GetColumnLongName(column, sink); });
    const std::string code = TrimBlanks(vlm::WholeTextOf([&](vlm::ITextSink* sink) {
      Services().StripFormatting(longName.data(), vlm::LengthOf(longName), sink);
    }));
    // The last column that fits wins.
    if (TrimBlanks(name) == badRate) record.binary.badRateColumn = column;
    if (code == badText) record.binary.badColumn = column;
    if (code == goodText) record.binary.goodColumn = column;
  }
  if (record.binary.badColumn == 0 || record.binary.goodColumn == 0) {
    throw HostCallError("The cross-tabulation has no column for one of the codes.");
  }
}

}  // namespace vlmfsl
