// Event scripts against the full expected texts.
#include "module/screening_outputs/event_scripts.h"

#include <gmock/gmock.h>

#include <algorithm>

#include "tests/screening_outputs/records.h"
#include "workbench/language/event_script.h"

namespace vlmfsl::testing {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::StartsWith;

constexpr double kNone = vlm::kMissingValue;
const double kTenth = 0.1 + 0.2;  // needs all 16 digits: 3.000000000000000e-01

// Columns 2 bad, 3 good, as CFeatureSelectionTemplate finds them.
PredSummary BinaryRecord(Analysis& analysis, std::vector<double> cutPoints,
                         const std::vector<std::vector<double>>& rows) {
  std::vector<std::string> labels(cutPoints.size() + 1, "label");
  PredSummary record =
      ContinuousRecord("x", vlm::kBinaryResponse, std::move(cutPoints), -2, 9.5, std::move(labels));
  record.crosstab.summary = analysis.Sheet(rows);
  record.binary.badColumn = 2;
  record.binary.goodColumn = 3;
  return record;
}

TEST(EventScripts, DefaultRateBlocksUnderAPoint) {
  Analysis analysis;
  PredSummary record =
      BinaryRecord(analysis, {kTenth, 1234567.5}, {{2, 1, 3}, {3, 0, 8}, {4, 6, 2}, {kNone, 7, 13}});
  EXPECT_EQ(vlmfsl::BinConditions(analysis.screening, record),
            "\r\nIf(x>-2.000000000000000e+00 And x<=3.000000000000000e-01) Then \r\n"
            "\t Text=\" Bin : [-2, 0.3] \" \r\n\t Text=Text & vbCrLf \r\n"
            "\t Text=Text & \" Default rate:25\" \r\n"
            " Text=Text & vbCrLf & \"Percent of obs.:20 \" \r\n  End If"
            "\r\nIf(x>3.000000000000000e-01 And x<=1.234567500000000e+06) Then \r\n"
            "\t Text=\" Bin : (0.3, 1.23457e+06] \" \r\n\t Text=Text & vbCrLf \r\n"
            "\t Text=Text & \" Default rate:0\" \r\n"
            " Text=Text & vbCrLf & \"Percent of obs.:40\" \r\n End If"
            "\r\nIf(x>1.234567500000000e+06 And x<=9.500000000000000e+00) Then \r\n"
            "\t Text=\" Bin : (1.23457e+06, 9.5] \" \r\n\t Text=Text & vbCrLf \r\n"
            "\t Text=Text & \" Default rate:75\" \r\n"
            " Text=Text & vbCrLf & \"Percent of obs. 40 \" \r\n End If");
}

TEST(EventScripts, OneCutPointUnderACommaAndABinWithoutCases) {
  Analysis analysis(",");
  // Node 2 has no row: the other bin's figures must not slip into its place.
  PredSummary record = BinaryRecord(analysis, {2.5}, {{3, 1, 7}, {kNone, 1, 7}});
  EXPECT_EQ(vlmfsl::BinConditions(analysis.screening, record),
            "\r\nIf(x>2,500000000000000e+00 And x<=9,500000000000000e+00) Then \r\n"
            "\t Text=\" Bin : (2,5; 9,5] \" \r\n\t Text=Text & vbCrLf \r\n"
            "\t Text=Text & \" Default rate:12,5\" \r\n"
            " Text=Text & vbCrLf & \"Percent of obs. 100 \" \r\n End If");
  record.predictorKind = kCategoricalPredictor;
  EXPECT_EQ(vlmfsl::BinConditions(analysis.screening, record), "");
}

// Columns of BinStatisticsColumn: code, N, mean, sd, variance, min, q25, median, q75, max, lower,
// upper.
const std::vector<std::vector<double>> kStatistics = {
    {2, 30, 1.5, 1, 1, -4, 0, 1.25, 2, 6, 1.25, 1.75},
    {3, 1, 1e7, kNone, kNone, 1e7, 1e7, 1e7, 1e7, 1e7, kNone, kNone},
    {4, 2.4, -0.5, 1, 1, -1, 0, -0.75, 2, 3, -2, 0.5},
    {kNone, 33, 2, 1, 1, -4, 0, 1, 2, 1e7, 1, 3}};

TEST(EventScripts, DiamondBlocksKeepNumbersThatTheScriptCanRead) {
  Analysis analysis(",");
  PredSummary record = ContinuousRecord("x", vlm::kContinuousResponse, {1, 2.5}, 0.5, 4, {"a", "b", "c"});
  record.continuous.binStatistics = analysis.Sheet(kStatistics);
  EXPECT_EQ(vlmfsl::BinConditionsForDiamond(analysis.screening, record),
            "\r\nIf(x>5,000000000000000e-01 And x<=1,000000000000000e+00) Then \r\n"
            "\t Text=\" Bin : [0,5; 1] \" \r\n\t Text=Text & vbCrLf \r\n"
            "\t Text=Text & \" Mean: \" & 1.5 \r\n\t Text=Text & vbCrLf & \"Lower 95 CI:\" & 1.25 \r\n"
            "\t Text=Text & vbCrLf & \"Upper 95 CI:\" & 1.75 \r\n"
            "\t Text=Text & vbCrLf & \"Median:\" & 1.25 \r\n\t End If"
            "\r\nIf(x>1,000000000000000e+00 And x<=2,500000000000000e+00) Then \r\n"
            "\t Text=\" Bin : (1; 2,5] \" \r\n\t Text=Text & vbCrLf \r\n"
            "\t Text=Text & \" Mean: \" & 1e+07 \r\n\t Text=Text & vbCrLf & \"Lower 95 CI:\" & \"\" \r\n"
            "\t Text=Text & vbCrLf & \"Upper 95 CI:\" & \"\" \r\n"
            "\t Text=Text & vbCrLf &  \"Median:\" & 1e+07 \r\n\t End If"
            "\r\nIf(x>2,500000000000000e+00 And x<=4,000000000000000e+00) Then \r\n"
            "\t Text=\" Bin : (2,5; 4] \" \r\n\t Text=Text & vbCrLf \r\n"
            "\t Text=Text & \" Mean: \" & -0.5 \r\n\t Text=Text & vbCrLf & \"Lower 95 CI:\" & -2 \r\n"
            "\t Text=Text & vbCrLf & \"Upper 95 CI:\" & 0.5 \r\n"
            "\t  Text=Text & vbCrLf &  \"Median:\" & -0.75 \r\n End If");
}

TEST(EventScripts, BoxPlotScriptOfIntervals) {
  Analysis analysis;
  PredSummary record = ContinuousRecord("x", vlm::kContinuousResponse, {1, 2.5}, 0.5, 4, {"a", "b", "c"});
  record.continuous.binStatistics = analysis.Sheet(kStatistics);
  const std::string script = vlmfsl::BoxPlotEventCode(analysis.screening, record);
  EXPECT_EQ(
      script,
      "\r\nPrivate Sub Document_OnToolTipDisplay(ByVal scale As Boolean, ByRef Coords() As Double, ByRef "
      "selectedObject As Object, ByVal numPlotPoints As Long, ByRef PlotPoints() As Long, ByRef Text As "
      "String)\r\nDim x As Double\r\n"
      "If(TypeName(selectedObject)=\"Plot2DSimple\" Or TypeName(selectedObject)=\"PlotBoxWhisker\") Then\r\n"
      "If(Ubound(Coords)<1) Then\r\nExit Sub\r\nEnd If\r\nx=Coords(1)\r\n"
      "\r\nIf(Abs(x-1))<0.1 Then \r\n\t Text=\" Bin : [0.5, 1] \" \r\n\t Text=Text & vbCrLf \r\n"
      "\t Text=Text & \" Mean:1.5 \" \r\n\t Text=Text & vbCrLf & \"Lower 95 CI:1.25 \"\r\n"
      "\t Text=Text & vbCrLf & \"Upper 95 CI:1.75 \" \r\n\t Text=Text & vbCrLf & \"Median:1.25\" \r\n"
      "\t Text=Text & vbCrLf & \"Min:-4 \" \r\n Text=Text & vbCrLf & \"Max:6 \" \r\n"
      "\t Text=Text & vbCrLf & \"N:\" & CStr(30) \r\n End If"
      "\r\nIf(Abs(x-2))<0.1 Then \r\n\t Text=\" Bin : (1, 2.5] \" \r\n\t Text=Text & vbCrLf \r\n"
      "\t Text=Text & \" Mean:1e+07 \" \r\n\t Text=Text & vbCrLf & \"Lower 95 CI: \" \r\n"
      "\t Text=Text & vbCrLf & \"Upper 95 CI: \" \r\n\t Text=Text & vbCrLf &  \"Median:1e+07\" \r\n"
      "\t Text=Text & vbCrLf & \"Min:1e+07 \"\r\n Text=Text & vbCrLf & \"Max:1e+07 \"\r\n"
      "\t Text=Text & vbCrLf & \"N:\" & CStr(1) \r\n End If"
      "\r\nIf(Abs(x-3))<0.1 Then \r\n\t Text=\" Bin : (2.5, 4] \" \r\n\t Text=Text & vbCrLf \r\n"
      "\t Text=Text & \" Mean:-0.5 \" \r\n\t Text=Text & vbCrLf & \"Lower 95 CI:-2 \" \r\n"
      "\t Text=Text & vbCrLf & \"Upper 95 CI:0.5 \" \r\n\t  Text=Text & vbCrLf &  \"Median:-0.75 \"\r\n"
      "\t Text=Text & vbCrLf & \"Min:-1 \" \r\n\t Text=Text & vbCrLf & \"Max:3 \" \r\n"
      "\t Text=Text & vbCrLf & \"N:\" & CStr(2) \r\n End If"
      "\r\nEnd If\r\nEnd Sub\r\n");
  EXPECT_EQ(record.resultTexts[kEventScriptText], script);
  EXPECT_EQ(FrameEventScript(ScriptTarget::kPlot, "")
                .find("If(TypeName(selectedObject)=\"Plot2DSimple\") Then\r\n"),
            script.find("If(TypeName"));
}

TEST(EventScripts, LevelsWithQuotesAndWithoutCases) {
  Analysis analysis;
  PredSummary record(kCategoricalPredictor, 3, "group", vlm::kContinuousResponse, 1, "risk");
  record.bins.names = {"say \"a\", 5%s", "none", "zwölf\nzeilen"};
  record.bins.nodes = {2, 9, 4};
  record.continuous.binStatistics = analysis.Sheet(kStatistics);
  EXPECT_EQ(vlmfsl::BinConditionsForBox(analysis.screening, record),
            "\r\nIf(Abs(x-1))<0.1 Then \r\n\t Text=\" say \"\"a\"\", 5%s \" \r\n\t Text=Text & vbCrLf \r\n"
            "\t Text=Text & \" Mean:1.5\" \r\n\t Text=Text & vbCrLf & \"Lower 95 CI:1.25\" \r\n"
            "\t Text=Text & vbCrLf & \"Upper 95 CI:1.75\" \r\n\t Text=Text & vbCrLf & \"Median:1.25\" \r\n"
            "\t Text=Text & vbCrLf & \"Min:-4\" \r\n\t Text=Text & vbCrLf & \"Max:6\" \r\n"
            "\t Text=Text & vbCrLf & \"N:\" & CStr(30) \r\n End If"
            "\r\nIf(Abs(x-3))<0.1 Then \r\n\t Text=\" zwölf zeilen \" \r\n\t Text=Text & vbCrLf \r\n"
            "\t Text=Text & \" Mean:-0.5\" \r\n\t Text=Text & vbCrLf & \"Lower 95 CI:-2\" \r\n"
            "\t Text=Text & vbCrLf & \"Upper 95 CI:0.5\" \r\n\t Text=Text & vbCrLf & \"Median:-0.75\" \r\n"
            "\t Text=Text & vbCrLf & \"Min:-1\" \r\n\t Text=Text & vbCrLf & \"Max:3\" \r\n"
            "\t Text=Text & vbCrLf & \"N:\" & CStr(2) \r\n End If");
}

// The scripts run: each point shows its own bin, in points and in commas.
TEST(EventScripts, ShowTheBinThatIsPointedAt) {
  for (const char* const separator : {".", ","}) {
    SCOPED_TRACE(separator);
    Analysis analysis(separator);
    PredSummary record =
        BinaryRecord(analysis, {0.5, 2.5}, {{2, 1, 3}, {3, 1, 7}, {4, 6, 2}, {kNone, 8, 12}});
    record.continuous.binStatistics = analysis.Sheet(kStatistics);
    const std::string rates =
        FrameEventScript(ScriptTarget::kPlot, vlmfsl::BinConditions(analysis.screening, record));
    const std::string means =
        FrameEventScript(ScriptTarget::kPlot, vlmfsl::BinConditionsForDiamond(analysis.screening, record));
    const std::string boxes = vlmfsl::BoxPlotEventCode(analysis.screening, record);
    const auto shown = [&](const std::string& script, double x, const char* object = "Plot2DSimple") {
      const double coordinates[] = {x, 0};
      std::string text = velmora::EventScript(script, separator).ToolTip(object, coordinates);
      std::replace(text.begin(), text.end(), ',', '.');
      return text;
    };
    struct Point {
      double x;
      const char* bin;  // null: nothing is shown
      const char* rate;
    };
    // The smallest value itself shows nothing: a bin is tested for values above its lower bound.
    const Point points[] = {{-2.5, nullptr, ""}, {-2, nullptr, ""},         {-1.9, "[-2", "25"},
                            {0.5, "[-2", "25"},  {0.50001, "(0.5", "12.5"}, {2.5, "(0.5", "12.5"},
                            {3, "(2.5", "75"},   {9.5, "(2.5", "75"},       {9.6, nullptr, ""}};
    for (const Point& point : points) {
      SCOPED_TRACE(point.x);
      if (point.bin == nullptr) {
        EXPECT_EQ(shown(rates, point.x) + shown(means, point.x), "");
        continue;
      }
      EXPECT_THAT(shown(rates, point.x),
                  AllOf(StartsWith(std::string(" Bin : ") + point.bin),
                        HasSubstr(std::string("Default rate:") + point.rate + "\r\n")));
      EXPECT_THAT(shown(means, point.x), StartsWith(std::string(" Bin : ") + point.bin));
    }
    EXPECT_THAT(shown(means, 3),
                HasSubstr(" Mean: -0.5\r\nLower 95 CI:-2\r\nUpper 95 CI:0.5\r\nMedian:-0.75"));
    EXPECT_THAT(shown(means, 1), HasSubstr("Lower 95 CI:\r\n")) << "no limits of one case";
    EXPECT_THAT(shown(boxes, 3.05, "PlotBoxWhisker"), HasSubstr(" Mean:-0.5 \r\nLower 95 CI:-2 "));
    EXPECT_THAT(shown(boxes, 1, "PlotBoxWhisker"), HasSubstr("N:30"));
    EXPECT_EQ(shown(boxes, 1.2, "PlotBoxWhisker") + shown(rates, 3, "PlotBoxWhisker"), "");
  }
}

}  // namespace
}  // namespace vlmfsl::testing
