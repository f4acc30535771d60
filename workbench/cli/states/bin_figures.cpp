#include "workbench/cli/states/bin_figures.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>

#include "base/number_text.h"
#include "workbench/cli/states/survey_groups.h"
#include "workbench/stats/distributions.h"

namespace velmora {
namespace {

using states::MeasuredOutcome;
using states::VariableSurvey;
using Cell = states::PairSums::Cell;

// Rounds as tables print: totals enter weights of evidence with six digits.
double SixDigits(double value) { return std::strtod(vlm::FormatGeneral(value).c_str(), nullptr); }

double Ratio(double a, double b) { return b != 0 ? a / b : kMissing; }

// Of a column of texts, the codes.
std::vector<SurveyedValue> ValuesOrCodes(const VariableSurvey& survey) {
  if (survey.HoldsKind() != VariableSurvey::Kind::kTexts) return ValuesOf(survey);
  std::vector<SurveyedValue> values;
  double code = 0;
  for (const auto& [text, count] : survey.Levels()) {
    ++code;
    if (count.cases > 0) values.push_back({code, code, count.cases, count.mass});
  }
  return values;
}

// Definition 2 of Hyndman and Fan 1996, doi:10.2307/2684934.
double Quantile(const std::vector<SurveyedValue>& values, double mass, double share) {
  const double wanted = share * mass;
  double below = 0;
  for (std::size_t i = 0; i < values.size(); ++i) {
    below += values[i].mass;
    if (below == wanted && i + 1 < values.size()) return values[i].high / 2 + values[i + 1].low / 2;
    if (below > wanted) return values[i].low;
  }
  return values.empty() ? kMissing : values.back().high;
}

}  // namespace

double Sum(const std::vector<double>& values) {
  double sum = 0;
  for (const double value : values) sum += value;
  return sum;
}

void Add(const std::vector<double>& more, std::vector<double>& sums) {
  for (std::size_t i = 0; i < more.size(); ++i) sums[i] += more[i];
}

vlm::ScreeningBin NoBinFigures() {
  return {0,        kMissing, kMissing, kMissing, kMissing, kMissing, kMissing, kMissing,
          kMissing, kMissing, kMissing, kMissing, kMissing, kMissing, kMissing};
}

void FillBinaryBin(const std::vector<double>& counts, const std::vector<double>& total, bool correctsPureBins,
                   vlm::ScreeningBin& bin) {
  const double bad = counts[0], good = counts[1], all = total[0] + total[1];
  const double allBad = SixDigits(total[0]), allGood = SixDigits(total[1]);
  bin.bad = bad;
  bin.good = good;
  bin.percentValidN = Ratio(100 * (bad + good), std::round(all));
  bin.badRateRow = Ratio(bad, bad + good);
  bin.badRateColumn = Ratio(bad, allBad);
  bin.goodRateColumn = Ratio(good, allGood);
  const bool isPure = !(bad > 0) || !(good > 0);
  const double half = isPure && correctsPureBins ? 0.5 : 0;
  bin.woe = isPure && !correctsPureBins ? kMissing
                                        : 100 * std::log(((good + half) / allGood) / ((bad + half) / allBad));
  bin.gini = bad + good > 0 ? 2.0 * (good / (bad + good)) * (1 - good / (good + bad)) : kMissing;
  bin.odds = Ratio(good, bad);
  bin.informationValue = bin.woe == kMissing ? kMissing : (good / allGood - bad / allBad) * 0.01 * bin.woe;
}

void FillMeasuredBin(const Cell& cell, const MeasuredOutcome& measured, vlm::ScreeningBin& bin) {
  bin.total = cell.weight;
  bin.mean = cell.weight > 0 ? measured.Unscaled(cell.mean) : kMissing;
  const double df = cell.weight - 1;
  bin.variance = df > 0 ? cell.deviations * measured.SquareUnit() / df : kMissing;
  bin.sumOfSquares = df > 0 ? df * bin.variance : kMissing;
}

void FillBinaryFigures(const std::vector<ScreenedBin>& bins, const std::vector<double>& total,
                       vlm::ScreeningPredictor& figures) {
  const double all = total[0] + total[1];
  figures.badShare = total[0] / all;
  figures.goodShare = total[1] / all;
  figures.informationValue = figures.giniAfter = 0;
  for (const ScreenedBin& bin : bins) {
    if (bin.figures.gini != kMissing) figures.giniAfter += bin.figures.total * bin.figures.gini / all;
    if (bin.figures.informationValue != kMissing) figures.informationValue += bin.figures.informationValue;
  }
}

void FillAssociation(const std::vector<std::vector<double>>& counts, const std::vector<double>& total,
                     vlm::ScreeningPredictor& figures) {
  const double all = Sum(total);
  double chiSquare = 0, rows = 0, columns = 0;
  for (const double count : total) columns += count > 0 ? 1 : 0;
  for (const std::vector<double>& of : counts) {
    const double row = Sum(of);
    rows += row > 0 ? 1 : 0;
    for (std::size_t c = 0; c < of.size(); ++c) {
      // Sum of (observed - expected)^2 / expected.
      const double expected = row * total[c] / all, difference = of[c] - expected;
      if (expected > 0) chiSquare += difference * difference / expected;
    }
  }
  const double smaller = std::min(rows, columns) - 1;
  figures.chiSquare = figures.cramersV = 0;
  if (smaller < 1) return;
  figures.chiSquare = chiSquare;
  figures.chiSquareP = stats::ChiSquareUpperTail(chiSquare, (rows - 1) * (columns - 1));
  figures.cramersV = std::sqrt(chiSquare / (all * smaller));
}

void FillMeasuredFigures(const BinCells& cells, const Cell& all, const MeasuredOutcome& measured,
                         vlm::ScreeningPredictor& figures) {
  double within = 0;
  for (const Cell& cell : cells) within += cell.deviations;
  figures.rSquared = 1 - within / all.deviations;
  figures.totalSumOfSquares = all.deviations * measured.SquareUnit();
  const auto levels = static_cast<double>(cells.size());
  const double errorDf = all.weight - levels, between = std::max(all.deviations - within, 0.0);
  if (errorDf > 0 && within > 0 && levels > 1)
    figures.fStatistic = (between / (levels - 1)) / (within / errorDf);
}

void FillValueFigures(const VariableSurvey& survey, double unit, vlm::ScreeningPredictor& figures) {
  ranking::Moments moments = survey.UsedMoments();
  const double mass = moments.mass;
  moments.mass /= unit;
  moments.squares /= unit;
  figures.validN = static_cast<int>(
      std::min(std::round(moments.mass), static_cast<double>(std::numeric_limits<int>::max())));
  const std::vector<SurveyedValue> values = ValuesOrCodes(survey);
  figures.minimum = values.empty() ? std::numeric_limits<double>::max() : values.front().low;
  figures.maximum = values.empty() ? std::numeric_limits<double>::lowest() : values.back().high;
  if (values.empty()) return;
  double mean = moments.mean, squares = moments.squares;
  if (values.size() == 1 || survey.HoldsKind() == VariableSurvey::Kind::kTexts) {
    mean = squares = 0;
    for (const SurveyedValue& value : values) mean += value.mass / unit / moments.mass * value.low;
    for (const SurveyedValue& value : values)
      squares += value.mass / unit * (value.low - mean) * (value.low - mean);
  }
  figures.mean = mean;
  if (moments.mass > 1) figures.standardDeviation = std::sqrt(squares / (moments.mass - 1));
  figures.quartileRange = Quantile(values, mass, 0.75) - Quantile(values, mass, 0.25);
}

}  // namespace velmora
