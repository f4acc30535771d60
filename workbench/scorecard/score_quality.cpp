#include "workbench/scorecard/score_quality.h"

#include <algorithm>
#include <cmath>
#include <numeric>

#include "workbench/stats/area_under_curve.h"

namespace velmora {

using stats::CountedValue;

namespace {

// The ends of bands of about equal weight. Equal scores are in one band.
std::vector<double> EqualBands(const std::vector<CountedValue>& distinct, double total) {
  std::vector<double> ends;
  double below = 0;
  for (const CountedValue& one : distinct) {
    below += one.bad + one.good;
    if (below >= total * static_cast<double>(ends.size() + 1) / kScoreBands * (1 - 1e-12)) {
      ends.push_back(one.value);
      // A single score that many cases have may fill several bands.
      while (below >= total * static_cast<double>(ends.size() + 1) / kScoreBands &&
             ends.size() + 1 < kScoreBands)
        ends.push_back(one.value);
    }
    if (ends.size() + 1 >= kScoreBands) break;
  }
  ends.erase(std::unique(ends.begin(), ends.end()), ends.end());
  while (!ends.empty() && ends.back() >= distinct.back().value) ends.pop_back();
  return ends;
}

std::vector<RocPoint> CurveOf(const std::vector<CountedValue>& distinct, double bad, double good) {
  std::vector<RocPoint> curve = {{0, 0, distinct.empty() ? 0 : distinct.front().value}};
  const std::size_t step = distinct.size() / kMostCurvePoints + 1;
  double badBelow = 0, goodBelow = 0;
  for (std::size_t i = 0; i < distinct.size(); ++i) {
    badBelow += distinct[i].bad;
    goodBelow += distinct[i].good;
    if ((i + 1) % step == 0 || i + 1 == distinct.size())
      curve.push_back({goodBelow / good, badBelow / bad, distinct[i].value});
  }
  return curve;
}

}  // namespace

ScoreQuality MeasureScores(const ScoredCases& cases, const std::vector<double>& bandEnds) {
  ScoreQuality quality;
  quality.cases = static_cast<std::int64_t>(cases.scores.size());
  std::vector<std::size_t> order(cases.scores.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
    return cases.scores[a] != cases.scores[b] ? cases.scores[a] < cases.scores[b] : a < b;
  });
  const auto weightOf = [&](std::size_t i) { return cases.weights.empty() ? 1 : cases.weights[i]; };
  std::vector<CountedValue> distinct;
  for (const std::size_t i : order) {
    if (distinct.empty() || distinct.back().value != cases.scores[i])
      distinct.push_back({cases.scores[i], 0, 0});
    (cases.isBad[i] ? distinct.back().bad : distinct.back().good) += weightOf(i);
    (cases.isBad[i] ? quality.bad : quality.good) += weightOf(i);
  }
  const double total = quality.bad + quality.good;
  quality.areaUnderCurve = stats::AreaUnderCurve(distinct);
  double badBelow = 0, goodBelow = 0;
  for (const CountedValue& one : distinct) {
    badBelow += one.bad;
    goodBelow += one.good;
    const double distance = std::fabs(badBelow / quality.bad - goodBelow / quality.good);
    if (distance <= quality.ksDistance) continue;
    quality.ksDistance = distance;
    quality.ksScore = one.value;
  }
  if (quality.bad > 0 && quality.good > 0) quality.curve = CurveOf(distinct, quality.bad, quality.good);

  const std::vector<double> ends =
      bandEnds.empty() && !distinct.empty() ? EqualBands(distinct, total) : bandEnds;
  for (const double end : ends) quality.bands.push_back({end, 0, 0, 0});
  quality.bands.push_back({distinct.empty() ? 0 : distinct.back().value, 0, 0, 0});
  if (!ends.empty()) quality.bands.back().upTo = std::max(quality.bands.back().upTo, ends.back());
  for (const std::size_t i : order) {
    const auto band =
        static_cast<std::size_t>(std::lower_bound(ends.begin(), ends.end(), cases.scores[i]) - ends.begin());
    const double weight = weightOf(i), p = cases.probabilities[i];
    const auto outcome = static_cast<double>(cases.isBad[i]);
    ScoreBand& at = quality.bands[band];
    (cases.isBad[i] ? at.bad : at.good) += weight;
    at.meanProbability += weight * p;
    quality.meanProbability += weight * p / total;
    quality.brierScore += weight * (outcome - p) * (outcome - p) / total;
    quality.logLoss -= weight * std::log(cases.isBad[i] ? p : 1 - p) / total;
  }
  for (ScoreBand& band : quality.bands) {
    if (band.Total() > 0) band.meanProbability /= band.Total();
  }
  return quality;
}

double StabilityIndex(const std::vector<double>& expected, const std::vector<double>& actual) {
  double allExpected = 0, allActual = 0;
  for (const double count : expected) allExpected += count;
  for (const double count : actual) allActual += count;
  if (!(allExpected > 0 && allActual > 0)) return 0;
  double index = 0;
  for (std::size_t i = 0; i < expected.size(); ++i) {
    double e = expected[i], a = actual[i];
    if (e <= 0 && a <= 0) continue;
    if (e <= 0 || a <= 0) {
      e += 0.5;
      a += 0.5;
    }
    e /= allExpected;
    a /= allActual;
    index += (a - e) * std::log(a / e);
  }
  return index;
}

}  // namespace velmora
