#include "module/screening_outputs/event_scripts.h"

#include <cmath>

#include "base/format_text.h"
#include "base/number_text.h"
#include "module/screening/feature_selection_template.h"
#include "module/screening_outputs/output_texts.h"

namespace vlmfsl {
namespace {

// The templates of a bin's block. They differ in their spacing on purpose.
struct BlockTemplates {
  const char* first;
  const char* middle;
  const char* last;

  const char* Of(std::size_t bin, std::size_t binCount) const {
    return bin == 0 ? first : bin + 1 == binCount ? last : middle;
  }
};

constexpr BlockTemplates kDefaultRateBlocks = {
    "If(x>%s And x<=%s) Then \r\n\t Text=\" Bin : [%s%s %s] \" \r\n\t Text=Text & vbCrLf \r\n\t "
    "Text=Text & \" Default rate:%s\" \r\n Text=Text & vbCrLf & \"Percent of obs.:%s \" \r\n  End If",
    "If(x>%s And x<=%s) Then \r\n\t Text=\" Bin : (%s%s %s] \" \r\n\t Text=Text & vbCrLf \r\n\t "
    "Text=Text & \" Default rate:%s\" \r\n Text=Text & vbCrLf & \"Percent of obs.:%s\" \r\n End If",
    "If(x>%s And x<=%s) Then \r\n\t Text=\" Bin : (%s%s %s] \" \r\n\t Text=Text & vbCrLf \r\n\t "
    "Text=Text & \" Default rate:%s\" \r\n Text=Text & vbCrLf & \"Percent of obs. %s \" \r\n End If"};

constexpr BlockTemplates kDiamondBlocks = {
    "If(x>%s And x<=%s) Then \r\n\t Text=\" Bin : [%s%s %s] \" \r\n\t Text=Text & vbCrLf \r\n\t "
    "Text=Text & \" Mean: \" & %s \r\n\t Text=Text & vbCrLf & \"Lower 95 CI:\" & %s \r\n\t "
    "Text=Text & vbCrLf & \"Upper 95 CI:\" & %s \r\n\t Text=Text & vbCrLf & \"Median:\" & %s \r\n\t End If",
    "If(x>%s And x<=%s) Then \r\n\t Text=\" Bin : (%s%s %s] \" \r\n\t Text=Text & vbCrLf \r\n\t "
    "Text=Text & \" Mean: \" & %s \r\n\t Text=Text & vbCrLf & \"Lower 95 CI:\" & %s \r\n\t "
    "Text=Text & vbCrLf & \"Upper 95 CI:\" & %s \r\n\t Text=Text & vbCrLf &  \"Median:\" & %s \r\n\t End If",
    "If(x>%s And x<=%s) Then \r\n\t Text=\" Bin : (%s%s %s] \" \r\n\t Text=Text & vbCrLf \r\n\t "
    "Text=Text & \" Mean: \" & %s \r\n\t Text=Text & vbCrLf & \"Lower 95 CI:\" & %s \r\n\t "
    "Text=Text & vbCrLf & \"Upper 95 CI:\" & %s \r\n\t  Text=Text & vbCrLf &  \"Median:\" & %s \r\n End If"};

constexpr BlockTemplates kBoxBlocks = {
    "If(Abs(x-%d))<0.1 Then \r\n\t Text=\" Bin : [%s%s %s] \" \r\n\t Text=Text & vbCrLf \r\n\t "
    "Text=Text & \" Mean:%s \" \r\n\t Text=Text & vbCrLf & \"Lower 95 CI:%s \"\r\n\t "
    "Text=Text & vbCrLf & \"Upper 95 CI:%s \" \r\n\t Text=Text & vbCrLf & \"Median:%s\" \r\n\t "
    "Text=Text & vbCrLf & \"Min:%s \" \r\n Text=Text & vbCrLf & \"Max:%s \" \r\n\t "
    "Text=Text & vbCrLf & \"N:\" & CStr(%d) \r\n End If",
    "If(Abs(x-%d))<0.1 Then \r\n\t Text=\" Bin : (%s%s %s] \" \r\n\t Text=Text & vbCrLf \r\n\t "
    "Text=Text & \" Mean:%s \" \r\n\t Text=Text & vbCrLf & \"Lower 95 CI:%s \" \r\n\t "
    "Text=Text & vbCrLf & \"Upper 95 CI:%s \" \r\n\t Text=Text & vbCrLf &  \"Median:%s\" \r\n\t "
    "Text=Text & vbCrLf & \"Min:%s \"\r\n Text=Text & vbCrLf & \"Max:%s \"\r\n\t "
    "Text=Text & vbCrLf & \"N:\" & CStr(%d) \r\n End If",
    "If(Abs(x-%d))<0.1 Then \r\n\t Text=\" Bin : (%s%s %s] \" \r\n\t Text=Text & vbCrLf \r\n\t "
    "Text=Text & \" Mean:%s \" \r\n\t Text=Text & vbCrLf & \"Lower 95 CI:%s \" \r\n\t "
    "Text=Text & vbCrLf & \"Upper 95 CI:%s \" \r\n\t  Text=Text & vbCrLf &  \"Median:%s \"\r\n\t "
    "Text=Text & vbCrLf & \"Min:%s \" \r\n\t Text=Text & vbCrLf & \"Max:%s \" \r\n\t "
    "Text=Text & vbCrLf & \"N:\" & CStr(%d) \r\n End If"};

constexpr char kLevelBoxBlock[] =
    "If(Abs(x-%d))<0.1 Then \r\n\t Text=\" %s \" \r\n\t Text=Text & vbCrLf \r\n\t "
    "Text=Text & \" Mean:%s\" \r\n\t Text=Text & vbCrLf & \"Lower 95 CI:%s\" \r\n\t "
    "Text=Text & vbCrLf & \"Upper 95 CI:%s\" \r\n\t Text=Text & vbCrLf & \"Median:%s\" \r\n\t "
    "Text=Text & vbCrLf & \"Min:%s\" \r\n\t Text=Text & vbCrLf & \"Max:%s\" \r\n\t "
    "Text=Text & vbCrLf & \"N:\" & CStr(%d) \r\n End If";

constexpr char kNewLine[] = "\r\n";

// The bounds of a bin as scripts show and compare them.
struct BinBounds {
  std::string lowerShown, upperShown;
  std::string lowerCompared, upperCompared;
};

// Numbers of one script in the user's notation.
class ScriptNumbers {
 public:
  explicit ScriptNumbers(CFeatureSelectionTemplate& analysis)
      : analysis_(analysis),
        intervalSeparator_(analysis.IntervalSeparator()),
        decimalSeparator_(analysis.DecimalSeparator()) {}

  // Between the bounds of a shown interval.
  [[nodiscard]] const std::string& IntervalSeparator() const { return intervalSeparator_; }

  // As a reader sees it; empty when there is no value.
  [[nodiscard]] std::string Shown(double value) const {
    return HasValue(value) ? WithDecimalSeparator(vlm::FormatGeneral(value), decimalSeparator_) : "";
  }
  [[nodiscard]] BinBounds Bounds(const PredSummary& record, std::size_t bin) const {
    const double lower = bin == 0 ? record.values.Lowest() : record.bins.cutPoints[bin - 1];
    const double upper =
        bin < record.bins.cutPoints.size() ? record.bins.cutPoints[bin] : record.values.Highest();
    const auto compared = [&](double bound) { return Localized(analysis_, vlm::FormatMachine(bound)); };
    return {Shown(lower), Shown(upper), compared(lower), compared(upper)};
  }

 private:
  CFeatureSelectionTemplate& analysis_;
  std::string intervalSeparator_;
  std::string decimalSeparator_;
};

// A number as an operand of the script, which has a point whatever the locale; an empty text when
// there is none.
std::string Operand(double value) { return HasValue(value) ? vlm::FormatGeneral(value) : "\"\""; }

bool IsBinnedContinuous(const PredSummary& record) {
  return record.predictorKind == kContinuousPredictor && !record.bins.cutPoints.empty();
}

}  // namespace

std::string FrameEventScript(ScriptTarget target, std::string_view blocks) {
  std::string script = kNewLine;
  const auto add = [&](std::string_view line) { script.append(line).append(kNewLine); };
  add("Private Sub Document_OnToolTipDisplay(ByVal scale As Boolean, ByRef Coords() As Double, "
      "ByRef selectedObject As Object, ByVal numPlotPoints As Long, ByRef PlotPoints() As Long, "
      "ByRef Text As String)");
  add("Dim x As Double");
  add(target == ScriptTarget::kPlot ? "If(TypeName(selectedObject)=\"Plot2DSimple\") Then"
                                    : "If(TypeName(selectedObject)=\"Plot2DSimple\" Or "
                                      "TypeName(selectedObject)=\"PlotBoxWhisker\") Then");
  add("If(Ubound(Coords)<1) Then");
  add("Exit Sub");
  add("End If");
  add("x=Coords(1)");
  add(blocks);
  add("End If");
  add("End Sub");
  return script;
}

std::string BoxPlotEventCode(CFeatureSelectionTemplate& analysis, PredSummary& record) {
  std::string& script = record.resultTexts[kEventScriptText];
  script = FrameEventScript(ScriptTarget::kPlotOrBox, BinConditionsForBox(analysis, record));
  return script;
}

std::string BinConditions(CFeatureSelectionTemplate& analysis, PredSummary& record) {
  if (!IsBinnedContinuous(record) || !record.crosstab.summary) return "";
  const ScriptNumbers numbers(analysis);
  vlm::ISpreadsheet& sheet = *record.crosstab.summary;
  const auto casesOf = [&](int row) {
    return sheet.GetValue(row, record.binary.badColumn) + sheet.GetValue(row, record.binary.goodColumn);
  };
  const double totalCases = casesOf(sheet.GetRowCount());
  const std::size_t binCount = record.bins.ValueCount();
  std::string blocks;
  for (std::size_t bin = 0; bin < binCount; ++bin) {
    const int row = record.bins.RowOf(sheet, static_cast<int>(bin));
    if (row == 0) continue;
    const double cases = casesOf(row);
    const BinBounds bounds = numbers.Bounds(record, bin);
    blocks +=
        kNewLine + vlm::FormatText(kDefaultRateBlocks.Of(bin, binCount),
                                   {bounds.lowerCompared, bounds.upperCompared, bounds.lowerShown,
                                    numbers.IntervalSeparator(), bounds.upperShown,
                                    numbers.Shown(sheet.GetValue(row, record.binary.badColumn) / cases * 100),
                                    numbers.Shown(cases / totalCases * 100)});
  }
  return blocks;
}

std::string BinConditionsForDiamond(CFeatureSelectionTemplate& analysis, PredSummary& record) {
  if (!IsBinnedContinuous(record)) return "";
  const ScriptNumbers numbers(analysis);
  vlm::ISpreadsheet& sheet = BinStatistics(analysis, record);
  const std::size_t binCount = record.bins.ValueCount();
  std::string blocks;
  for (std::size_t bin = 0; bin < binCount; ++bin) {
    const int row = record.bins.RowOf(sheet, static_cast<int>(bin));
    if (row == 0) continue;
    const BinBounds bounds = numbers.Bounds(record, bin);
    const auto operand = [&](int column) { return Operand(sheet.GetValue(row, column)); };
    blocks +=
        kNewLine + vlm::FormatText(kDiamondBlocks.Of(bin, binCount),
                                   {bounds.lowerCompared, bounds.upperCompared, bounds.lowerShown,
                                    numbers.IntervalSeparator(), bounds.upperShown, operand(kBinMean),
                                    operand(kBinLowerLimit), operand(kBinUpperLimit), operand(kBinMedian)});
  }
  return blocks;
}

std::string BinConditionsForBox(CFeatureSelectionTemplate& analysis, PredSummary& record) {
  const ScriptNumbers numbers(analysis);
  vlm::ISpreadsheet& sheet = BinStatistics(analysis, record);
  const bool intervals = IsBinnedContinuous(record);
  const std::size_t binCount = record.bins.Count(), valueBins = record.bins.ValueCount();
  std::string blocks;
  for (std::size_t bin = 0; bin < binCount; ++bin) {
    const int row = record.bins.RowOf(sheet, static_cast<int>(bin));
    if (row == 0) continue;
    const auto position = static_cast<long long>(bin) + 1;
    const auto shown = [&](int column) { return numbers.Shown(sheet.GetValue(row, column)); };
    const std::string mean = shown(kBinMean), lower = shown(kBinLowerLimit), upper = shown(kBinUpperLimit),
                      median = shown(kBinMedian), minimum = shown(kBinMinimum), maximum = shown(kBinMaximum);
    const auto count = static_cast<long long>(std::llround(sheet.GetValue(row, kBinN)));
    if (intervals && bin < valueBins) {
      const BinBounds bounds = numbers.Bounds(record, bin);
      blocks += kNewLine +
                vlm::FormatText(kBoxBlocks.Of(bin, valueBins),
                                {position, bounds.lowerShown, numbers.IntervalSeparator(), bounds.upperShown,
                                 mean, lower, upper, median, minimum, maximum, count});
    } else {
      const std::string label = ScriptText(BinLabel(analysis, record, bin));
      blocks += kNewLine + vlm::FormatText(kLevelBoxBlock, {position, label, mean, lower, upper, median,
                                                            minimum, maximum, count});
    }
  }
  return blocks;
}

vlm::ISpreadsheet& BinStatistics(CFeatureSelectionTemplate& analysis, PredSummary& record) {
  if (record.continuous.binStatistics) return *record.continuous.binStatistics;
  // Uses the cases of the run, which are those of the work sheet, and its weights.
  const auto breakdown = CreateProcedure(*record.workSheet, vlm::kBreakdownProcedure);
  if (breakdown->SetCaseWeight(analysis.caseWeight) != 0) {
    throw HostCallError(vlm::TextOf([&](vlm::ITextSink* sink) { breakdown->GetError(sink); }));
  }
  SetOption(*breakdown, vlm::kBreakdownQuartilesOption, 1);
  SetVariableList(*breakdown, "2 | 3");
  Run(*breakdown);
  record.continuous.binStatistics = GetResult(*breakdown, vlm::kBreakdownResult);
  record.EvictSheets();
  return *record.continuous.binStatistics;
}

}  // namespace vlmfsl
