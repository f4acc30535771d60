// A scorecard from cases with bins: a logistic regression on their weights of evidence, whose log
// odds are scaled to points.
//
//   FittedScorecard card = FitScorecard(cases, response, {.stepwise = true});
//   card.saved.terms[0].points[2];   // of the third bin of the first predictor
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "workbench/bins/saved_bins.h"
#include "workbench/scorecard/logistic_regression.h"
#include "workbench/scorecard/score_quality.h"

namespace velmora {

struct ScorecardSettings {
  double basePoints = 600, odds = 50, pdo = 20;  // as of SavedScorecard
  bool roundPoints = false;                      // to whole points
  // Predictors enter one by one, as long as each lowers the out-of-fold deviance by more than one
  // standard error; otherwise all are in.
  bool stepwise = false;
  // Stepwise: coefficients above 0, against the weight of evidence, are allowed.
  bool anySign = false;
  // When there is no estimate, a ridge penalty shrinks the coefficients, with a notice.
  bool shrinks = false;
  int folds = 10;
  int seed = 1;
};

struct ScorecardTerm {
  std::string predictor;
  double coefficient = 0, standardError = 0;
  double wald = 0, waldP = 1;  // chi-square with 1 degree of freedom
  // The decrease of the deviance by the predictor; of sampled cases divided by the design effect of
  // its coefficient (Rao and Scott 1984; Lumley and Scott 2014, doi:10.1111/anzs.12065).
  double likelihoodRatio = 0, likelihoodRatioP = 1;
  double designEffect = 1;
  double varianceInflation = 1;
};

// A step of the stepwise choice.
struct ScorecardStep {
  bool added = true;
  std::string predictor;
  double gain = 0, gainError = 0;  // of the out-of-fold deviance, and its standard error
};

struct FittedScorecard {
  LogisticFit fit;
  double interceptError = 0;
  double nullDeviance = 0, heldOutDeviance = 0;
  std::vector<ScorecardTerm> terms;  // stepwise: in the order in which they came in
  std::vector<ScorecardStep> steps;
  std::vector<std::string> notices;
  SavedScorecard saved;  // without names of variables and bands
};

// stopped: as for LogisticModel. Throws DataError as LogisticModel does, and when no
// predictor comes in.
FittedScorecard FitScorecard(const WoeCases& cases, const ScorecardSettings& settings,
                             const std::function<bool()>& stopped = {});

// Folds of cases, each outcome spread evenly; the same for the same seed.
std::vector<std::uint8_t> FoldsOf(const std::vector<std::uint8_t>& isBad, int folds, int seed);

// Whether each case is held out: the share of each outcome, chosen at random, the same for the same
// seed.
std::vector<bool> HeldOutCases(const std::vector<std::uint8_t>& isBad, double share, int seed);

// The score and the probability of bad of every case.
ScoredCases ScoresOf(const WoeCases& cases, const SavedScorecard& scorecard);

}  // namespace velmora
