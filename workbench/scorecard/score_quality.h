// How well a score separates bad cases from good ones, and how its probabilities agree with what
// happened.
//
//   ScoreQuality quality = MeasureScores({scores, probabilities, isBad, {}});
//   quality.areaUnderCurve;   // 0.5: none, 1: complete
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace velmora {

// One entry per case; weights may be empty.
struct ScoredCases {
  std::vector<double> scores;         // higher is better
  std::vector<double> probabilities;  // of bad
  std::vector<std::uint8_t> isBad;
  std::vector<double> weights;
};

// Weighted cases of a class of scores.
struct ScoreBand {
  double upTo = 0;  // the highest score in it; the last band has no end
  double bad = 0, good = 0;
  double meanProbability = 0;  // of bad; 0 without cases

  double Total() const { return bad + good; }
  double BadRate() const { return Total() > 0 ? bad / Total() : 0; }
};

struct RocPoint {
  // The shares of all good and of all bad cases with this score or a lower one.
  double goodShare = 0, badShare = 0;
  double score = 0;
};

struct ScoreQuality {
  std::int64_t cases = 0;
  double bad = 0, good = 0;  // weighted
  // The share of pairs of a bad and a good case in which the good one scores higher; ties count
  // half. NaN without both.
  double areaUnderCurve = 0;
  double Gini() const { return 2 * areaUnderCurve - 1; }
  // Kolmogorov-Smirnov: the largest distance of the distributions of bad and good cases, and where.
  double ksDistance = 0, ksScore = 0;
  double brierScore = 0, meanProbability = 0, logLoss = 0;  // per case
  double BadRate() const { return bad / (bad + good); }
  std::vector<ScoreBand> bands;  // the lowest scores first
  std::vector<RocPoint> curve;   // from (0, 0) to (1, 1), at most kMostCurvePoints
};

inline constexpr std::size_t kMostCurvePoints = 200;
inline constexpr std::size_t kScoreBands = 10;

// bandEnds: the ends of all bands but the last; empty: kScoreBands bands of about as many cases.
ScoreQuality MeasureScores(const ScoredCases& cases, const std::vector<double>& bandEnds = {});

// Population stability index: sum of (a - e) ln(a / e) over the shares of two counts; half a case
// is added to the counts of a place that one of them lacks. 0 when either has no case.
double StabilityIndex(const std::vector<double>& expected, const std::vector<double>& actual);

}  // namespace velmora
