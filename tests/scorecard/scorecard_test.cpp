// Points, the stepwise choice, and the figures of scores against direct computation.
#include "workbench/scorecard/scorecard.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "workbench/scorecard/score_quality.h"
#include "workbench/stats/area_under_curve.h"

namespace velmora::testing {
namespace {

WoeCases Cases(std::size_t count, int noise, unsigned seed) {
  std::mt19937 random(seed);
  std::uniform_int_distribution<int> bin(0, 2);
  std::uniform_real_distribution<double> uniform;
  WoeCases cases;
  for (const char* name : {"strong", "weak", "copy"}) cases.predictors.push_back({name, {1, 0, -1}, {}});
  for (int k = 0; k < noise; ++k)
    cases.predictors.push_back({"noise" + std::to_string(k), {0.2, 0, -0.2}, {}});
  for (std::size_t i = 0; i < count; ++i) {
    for (WoeCases::Predictor& predictor : cases.predictors) predictor.bins.push_back(bin(random));
    cases.predictors[2].bins[i] = cases.predictors[0].bins[i];
    const double logit = -1 - cases.predictors[0].WoeOf(i) - 0.5 * cases.predictors[1].WoeOf(i);
    cases.isBad.push_back(uniform(random) < 1 / (1 + std::exp(-logit)) ? 1 : 0);
  }
  return cases;
}

TEST(Scorecard, ScoresAreTheScaledLogOdds) {
  WoeCases cases = Cases(1000, 0, 1);
  cases.predictors.pop_back();
  cases.predictors[1].bins[7] = -1;  // neutral
  ScorecardSettings settings;
  settings.basePoints = 500;
  settings.odds = 10;
  settings.pdo = 40;
  const FittedScorecard card = FitScorecard(cases, settings);
  const ScoredCases scored = ScoresOf(cases, card.saved);
  for (std::size_t i = 0; i < 50; ++i) {
    const double logit = card.fit.Logit(cases, i);
    EXPECT_NEAR(scored.scores[i], 500 + 40 * std::log2(std::exp(-logit) / 10), 1e-9) << i;
    EXPECT_NEAR(scored.probabilities[i], 1 / (1 + std::exp(-logit)), 1e-14) << i;
  }
  // At the odds of the base, and at twice the odds.
  EXPECT_NEAR(card.saved.Probability(500), 1.0 / 11, 1e-15);
  EXPECT_NEAR(card.saved.Probability(540), 1.0 / 21, 1e-15);

  settings.roundPoints = true;
  for (const SavedScorecard::Term& term : FitScorecard(cases, settings).saved.terms) {
    for (const double points : term.points) EXPECT_EQ(points, std::round(points)) << term.predictor;
  }
}

TEST(Scorecard, StepwiseTakesWhatPredictsAndLeavesCopiesAndNoise) {
  ScorecardSettings settings;
  settings.stepwise = true;
  int noise = 0;
  for (unsigned seed = 1; seed <= 20; ++seed) {
    const FittedScorecard card = FitScorecard(Cases(1500, 6, seed), settings);
    ASSERT_GE(card.terms.size(), 2u) << seed;
    EXPECT_TRUE(card.terms[0].predictor == "strong" || card.terms[0].predictor == "copy") << seed;
    EXPECT_EQ(card.terms[1].predictor, "weak") << seed;
    noise += static_cast<int>(card.terms.size()) - 2;
    for (const ScorecardTerm& term : card.terms) EXPECT_LT(term.coefficient, 0) << seed;
    EXPECT_LT(card.heldOutDeviance, card.nullDeviance) << seed;
  }
  EXPECT_LE(noise, 4);  // of 120
}

TEST(Scorecard, ShrinksWhereThereIsNoEstimate) {
  const WoeCases cases = Cases(1000, 0, 1);  // with a copy
  EXPECT_THROW(FitScorecard(cases, {}), NoEstimate);
  ScorecardSettings settings;
  settings.shrinks = true;
  const FittedScorecard card = FitScorecard(cases, settings);
  ASSERT_FALSE(card.notices.empty());
  EXPECT_NE(card.notices[0].find("shrunk"), std::string::npos);
  EXPECT_NEAR(card.terms[0].coefficient, card.terms[2].coefficient, 1e-9);
  EXPECT_NEAR(card.terms[0].coefficient + card.terms[2].coefficient, -1, 0.25);
}

TEST(Scorecard, SamplingWeightsHaveNoUnit) {
  const auto fitted = [](double unit) {
    WoeCases cases = Cases(600, 1, 3);
    cases.predictors.erase(cases.predictors.begin() + 2);
    cases.sampled = true;
    double sum = 0;
    for (std::size_t i = 0; i < cases.Count(); ++i) {
      cases.weights.push_back(unit * static_cast<double>(1 + i % 4));
      sum += cases.weights.back();
    }
    for (double& weight : cases.weights) weight *= static_cast<double>(cases.Count()) / sum;
    return FitScorecard(cases, {});
  };
  const FittedScorecard one = fitted(1), tiny = fitted(1e-6), large = fitted(1e6);
  for (std::size_t k = 0; k < one.terms.size(); ++k) {
    EXPECT_NEAR(tiny.terms[k].likelihoodRatioP, one.terms[k].likelihoodRatioP, 1e-12);
    EXPECT_NEAR(large.terms[k].standardError, one.terms[k].standardError, 1e-12);
    EXPECT_GT(one.terms[k].designEffect, 1);
  }
}

TEST(ScoreQuality, IsThatOfAllPairs) {
  std::mt19937 random(9);
  std::uniform_int_distribution<int> points(0, 30);
  std::uniform_real_distribution<double> uniform;
  ScoredCases cases;
  for (int i = 0; i < 400; ++i) {
    cases.scores.push_back(points(random));  // with ties
    cases.probabilities.push_back(1 / (1 + std::exp(cases.scores.back() / 10)));
    cases.isBad.push_back(uniform(random) < cases.probabilities.back() * 1.4 ? 1 : 0);
    cases.weights.push_back(1 + i % 3);
  }
  double pairs = 0, won = 0, distance = 0;
  for (int i = 0; i < 400; ++i) {
    for (int j = 0; j < 400; ++j) {
      if (cases.isBad[i] == 0 || cases.isBad[j] != 0) continue;
      const double weight = cases.weights[i] * cases.weights[j];
      pairs += weight;
      won += weight * (cases.scores[j] > cases.scores[i] ? 1 : cases.scores[j] == cases.scores[i] ? 0.5 : 0);
    }
  }
  for (int cut = 0; cut <= 30; ++cut) {
    double below[2] = {}, all[2] = {};
    for (int i = 0; i < 400; ++i) {
      all[cases.isBad[i]] += cases.weights[i];
      if (cases.scores[i] <= cut) below[cases.isBad[i]] += cases.weights[i];
    }
    distance = std::max(distance, std::fabs(below[1] / all[1] - below[0] / all[0]));
  }
  const ScoreQuality quality = MeasureScores(cases);
  EXPECT_NEAR(quality.areaUnderCurve, won / pairs, 1e-12);
  EXPECT_NEAR(quality.ksDistance, distance, 1e-12);
  ASSERT_GE(quality.bands.size(), 8u);
  double bandCases = 0;
  for (const ScoreBand& band : quality.bands) {
    bandCases += band.Total();
    EXPECT_GT(band.Total(), 40);
  }
  EXPECT_NEAR(bandCases, quality.bad + quality.good, 1e-9);
  // The curve encloses the same area.
  double area = 0;
  for (std::size_t i = 1; i < quality.curve.size(); ++i)
    area += (quality.curve[i].goodShare - quality.curve[i - 1].goodShare) *
            (quality.curve[i].badShare + quality.curve[i - 1].badShare) / 2;
  EXPECT_NEAR(area, quality.areaUnderCurve, 1e-12);
}

// docs/methods.md has these figures.
TEST(ScoreQuality, ExamplesOfTheDocument) {
  EXPECT_EQ(stats::AreaUnderCurve({{1, 1, 0}, {2, 0, 1}, {3, 1, 1}, {4, 0, 1}}), 0.75);
  EXPECT_NEAR(SavedScorecard().Probability(600), 0.0196, 5e-5);
  EXPECT_NEAR(SavedScorecard().Probability(620), 0.0099, 5e-5);
  EXPECT_NEAR(StabilityIndex({50, 50}, {20, 80}), 0.4159, 5e-5);
}

TEST(ScoreQuality, StabilityIndexByHand) {
  // (0.2 - 0.5) ln(0.2 / 0.5) + (0.8 - 0.5) ln(0.8 / 0.5)
  EXPECT_NEAR(StabilityIndex({50, 50}, {2, 8}), 0.4158883083359672, 1e-14);
  EXPECT_EQ(StabilityIndex({1, 3}, {10, 30}), 0);
  EXPECT_GT(StabilityIndex({50, 50, 0}, {45, 45, 10}), 0.1);  // a place that the first lacks
}

}  // namespace
}  // namespace velmora::testing
