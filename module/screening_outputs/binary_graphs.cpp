// Graphs of a binary response: the default rate of each bin as a segment over its interval, and the
// distribution of the predictor behind the rates. A categorical predictor has levels instead of
// intervals, and one bar per bin.
#include <algorithm>
#include <cmath>

#include "base/format_text.h"
#include "base/number_text.h"
#include "module/frame/host_array.h"
#include "module/screening_outputs/event_scripts.h"
#include "module/screening_outputs/graph_writing.h"
#include "module/screening_outputs/output_texts.h"
#include "module/screening_outputs/screening_graphs.h"

namespace vlmfsl {
namespace {

constexpr int kDensityPoints = 256;
constexpr int kTotalColumn = 4;  // of the cross-tabulation

struct BinShare {
  double defaultRate = vlm::kMissingValue;  // share of bad cases; missing for a bin without cases
  double cases = 0;                         // share of all cases
};

std::vector<BinShare> SharesOf(const PredSummary& record) {
  if (!record.crosstab.summary) throw HostCallError("The record has no cross-tabulation.");
  vlm::ISpreadsheet& sheet = *record.crosstab.summary;
  const auto count = [&](int row, int column) { return sheet.GetValue(row, column); };
  const int totalsRow = sheet.GetRowCount();
  const double total = count(totalsRow, record.binary.badColumn) + count(totalsRow, record.binary.goodColumn);
  std::vector<BinShare> shares(record.bins.Count());
  for (std::size_t bin = 0; bin < shares.size(); ++bin) {
    const int row = record.bins.RowOf(sheet, static_cast<int>(bin));
    if (row == 0) continue;
    const double bad = count(row, record.binary.badColumn);
    const double cases = bad + count(row, record.binary.goodColumn);
    shares[bin] = {bad / cases, cases / total};
  }
  return shares;
}

double Percent(double share) { return HasValue(share) ? 100 * share : share; }

// n cut points: 4n + 4 rows. The segment of bin k (from 1) is in rows 3k - 2 and 3k - 1; every
// third row is empty, so that no line joins two segments.
GraphPoints DefaultRateSegments(const PredSummary& record, const std::vector<BinShare>& shares) {
  const std::size_t cutCount = record.bins.cutPoints.size();
  GraphPoints points(4 * cutCount + 4);
  for (std::size_t bin = 0; bin <= cutCount; ++bin) {
    const double rate = Percent(shares[bin].defaultRate);
    points.Set(3 * bin + 1, bin == 0 ? record.values.Lowest() : record.bins.cutPoints[bin - 1], rate);
    points.Set(3 * bin + 2, bin == cutCount ? record.values.Highest() : record.bins.cutPoints[bin], rate);
  }
  return points;
}

bool HasIntervals(const PredSummary& record) {
  return record.predictorKind == kContinuousPredictor && !record.bins.cutPoints.empty();
}

void AddBars(GraphWriter& graph, std::string_view name, const std::vector<std::string>& labels,
             const std::vector<BinShare>& shares, double BinShare::*figure) {
  const int series = graph.Series(vlm::kBarSeries, name);
  for (std::size_t bin = 0; bin < shares.size(); ++bin) {
    graph.Document().AddPoint(series, static_cast<double>(bin + 1), Percent(shares[bin].*figure),
                              labels[bin].data(), vlm::LengthOf(labels[bin]));
  }
}

// Values of the predictor in rising order, and their smoothed density.
class Distribution {
 public:
  Distribution(CFeatureSelectionTemplate& analysis, const PredSummary& record)
      : values_(analysis.Services()), density(kDensityPoints) {
    if (!record.workSheet) throw HostCallError("The record has no work sheet.");
    const int rowCount = record.workSheet->GetRowCount();
    if (values_.Allocate(static_cast<std::uint64_t>(std::max(rowCount, 0))) != kOk) {
      throw HostCallError("The host has no memory for the predictor's values.");
    }
    record.workSheet->ReadColumn(1, 1, rowCount, values_.data());
    // Cases without a value come last.
    const std::span<const double> all = values_.Elements();
    const auto end = std::partition_point(all.begin(), all.end(), HasValue);
    const int count = static_cast<int>(end - all.begin());
    known_ = all.first(static_cast<std::size_t>(count));
    // Silverman 1986, Density Estimation for Statistics and Data Analysis, equation 3.31.
    const double spread = std::min(record.values.standardDeviation, record.values.quartileRange / 1.34);
    const double bandwidth = 0.9 * spread * std::pow(count, -0.2);
    if (analysis.Host().GetKernelDensity(values_.data(), count, record.values.Lowest(),
                                         record.values.Highest(), bandwidth, kDensityPoints, density.x.data(),
                                         density.y.data()) != 0) {
      throw HostCallError("The host cannot estimate the density.");
    }
  }

  // Percent of the values at or below each point of the density.
  [[nodiscard]] GraphPoints CumulativePercent() const {
    GraphPoints cumulative(kDensityPoints);
    cumulative.x = density.x;
    const std::span<const double> values = known_;
    auto above = values.begin();
    for (std::size_t i = 0; i < kDensityPoints; ++i) {
      above = std::upper_bound(above, values.end(), density.x[i]);
      cumulative.y[i] =
          100 * static_cast<double>(above - values.begin()) / static_cast<double>(values.size());
    }
    return cumulative;
  }

 private:
  HostArray<double> values_;
  std::span<const double> known_;  // of values_

 public:
  GraphPoints density;
};

// The density and the rates have no common unit: the density is scaled so that its peak is as high
// as the highest rate.
double DensityScale(const GraphPoints& density, const GraphPoints& rates) {
  double highestRate = 0;
  for (const double rate : rates.y) {
    if (HasValue(rate)) highestRate = std::max(highestRate, rate);
  }
  const double highestDensity = *std::max_element(density.y.begin(), density.y.end());
  return highestDensity > 0 && highestRate > 0 ? highestRate / (100 * highestDensity) : 1;
}

// The bin of the missing cases has no place on an axis of values.
std::string MissingFootnote(CFeatureSelectionTemplate& analysis, const PredSummary& record,
                            const std::vector<BinShare>& shares) {
  if (!record.bins.MissingHasOwn() || !HasValue(shares.back().defaultRate)) return "";
  const double cases = shares.back().cases * record.crosstab.summary->GetValue(
                                                 record.crosstab.summary->GetRowCount(), kTotalColumn);
  return "\n" + vlm::FormatText(
                    RequiredText(analysis, kTextMissingRate),
                    {vlm::FormatFixed(Percent(shares.back().defaultRate), 1), vlm::FormatGeneral(cases)});
}

std::string DistributionFootnote(CFeatureSelectionTemplate& analysis, const PredSummary& record,
                                 const std::vector<BinShare>& shares) {
  std::string text;
  if (HasIntervals(record)) {
    text = RequiredText(analysis, kTextCutPoints);
    for (const double cutPoint : record.bins.cutPoints) text += " " + vlm::FormatGeneral(cutPoint) + " ";
    text += "]";
  }
  text += RequiredText(analysis, kTextFrequencies);
  for (const BinShare& share : shares) {
    if (HasValue(share.defaultRate)) text += " " + vlm::FormatFixed(share.defaultRate, 4) + " ";
  }
  return text + "]" + (HasIntervals(record) ? MissingFootnote(analysis, record, shares) : "");
}

}  // namespace

vlm::Ref<vlm::IGraph> BinaryDefaultRateGraph(CFeatureSelectionTemplate& analysis, PredSummary& record) {
  return ShownGraph(analysis, record, [&] {
    const std::vector<BinShare> shares = SharesOf(record);
    const bool intervals = HasIntervals(record);
    const std::string name = RequiredText(analysis, kTextDefaultRate);
    GraphWriter graph(analysis, record, intervals ? vlm::kLineGraph : vlm::kGroupedBarGraph);
    graph.TitleLine(name);
    graph.AddRecordTitles();
    graph.Footnote(vlm::FormatText(RequiredText(analysis, kTextGiniBeforeAfter),
                                   {record.binary.giniBefore, record.binary.giniAfter}) +
                   (intervals ? MissingFootnote(analysis, record, shares) : ""));
    graph.Axis(vlm::kCategoryAxis, record.predictorName);
    graph.Axis(vlm::kValueAxis, vlm::FormatText(RequiredText(analysis, kTextInPercent), {name}));
    if (!intervals) {
      const std::vector<std::string> labels = BinLabels(analysis, record);
      graph.Categories(vlm::kCategoryAxis, labels);
      AddBars(graph, name, labels, shares, &BinShare::defaultRate);
      return graph.Finish();
    }
    graph.Series(vlm::kLineSeries, name, DefaultRateSegments(record, shares));
    std::string& script = record.resultTexts[kEventScriptText];
    script = FrameEventScript(ScriptTarget::kPlot, BinConditions(analysis, record));
    return graph.Finish(script);
  });
}

vlm::Ref<vlm::IGraph> BinaryCDFGraph(CFeatureSelectionTemplate& analysis, PredSummary& record) {
  return ShownGraph(analysis, record, [&] {
    const std::vector<BinShare> shares = SharesOf(record);
    const bool intervals = HasIntervals(record);
    const std::string rateName = RequiredText(analysis, kTextDefaultRate);
    GraphWriter graph(analysis, record, intervals ? vlm::kLineGraph : vlm::kGroupedBarGraph);
    graph.TitleLine(RequiredText(analysis, kTextDistributionGraph));
    graph.AddRecordTitles();
    graph.Footnote(DistributionFootnote(analysis, record, shares));
    graph.Axis(vlm::kCategoryAxis, record.predictorName);
    if (!intervals) {
      const std::vector<std::string> labels = BinLabels(analysis, record);
      graph.Categories(vlm::kCategoryAxis, labels);
      graph.Axis(vlm::kValueAxis, "%");
      AddBars(graph, RequiredText(analysis, kTextPercentValidN), labels, shares, &BinShare::cases);
      AddBars(graph, rateName, labels, shares, &BinShare::defaultRate);
      return graph.Finish();
    }
    Distribution distribution(analysis, record);
    const GraphPoints rates = DefaultRateSegments(record, shares);
    const double scale = 100 * DensityScale(distribution.density, rates);
    for (double& density : distribution.density.y) density *= scale;
    graph.Axis(vlm::kValueAxis, vlm::FormatText(RequiredText(analysis, kTextInPercent), {rateName}));
    graph.Series(vlm::kLineSeries, record.predictorName + RequiredText(analysis, kTextSmoothedPdf),
                 distribution.density);
    graph.Series(vlm::kLineSeries, rateName, rates);
    const std::string cumulativeName = RequiredText(analysis, kTextEmpiricalCdf);
    graph.Axis(vlm::kRightAxis, vlm::FormatText(RequiredText(analysis, kTextInPercent), {cumulativeName}));
    graph.Document().SetAxisRange(vlm::kRightAxis, 0, 100, 0);
    graph.Document().PutOnRightAxis(
        graph.Series(vlm::kLineSeries, cumulativeName, distribution.CumulativePercent()));
    std::string& script = record.resultTexts[kEventScriptText];
    script = FrameEventScript(ScriptTarget::kPlot, BinConditions(analysis, record));
    return graph.Finish(script);
  });
}

}  // namespace vlmfsl
