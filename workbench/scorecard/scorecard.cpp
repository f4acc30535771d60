#include "workbench/scorecard/scorecard.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <optional>

#include "base/split_mix.h"
#include "workbench/data/errors.h"
#include "workbench/stats/distributions.h"

namespace velmora {
namespace {

constexpr std::size_t kMostTried = 5;  // candidates of a step, the most promising first
constexpr double kDoubtfulP = 0.05;    // a predictor with a larger p is tried to be left out
constexpr double kHighInflation = 5;   // variance inflation; larger values get a notice
// A weak penalty, as strong as four cases with a weight of evidence of 1 and even odds.
constexpr double kRidge = 1;
constexpr double kFewestPerPredictor = 10;  // cases of the rarer outcome

struct Gain {
  double gain = 0, error = 0;
};

Gain GainOf(const std::vector<double>& before, const std::vector<double>& after) {
  const auto n = static_cast<double>(before.size());
  Gain gain;
  for (std::size_t i = 0; i < before.size(); ++i) gain.gain += before[i] - after[i];
  double squares = 0;
  for (std::size_t i = 0; i < before.size(); ++i) {
    const double distance = before[i] - after[i] - gain.gain / n;
    squares += distance * distance;
  }
  gain.error = std::sqrt(squares * n / (n - 1));
  return gain;
}

class Chooser {
 public:
  Chooser(const WoeCases& cases, const LogisticModel& model, const ScorecardSettings& settings,
          FittedScorecard& card)
      : cases_(cases),
        model_(model),
        settings_(settings),
        card_(card),
        folds_(FoldsOf(cases.isBad, settings.folds, settings.seed)),
        excluded_(cases.predictors.size()) {}

  LogisticFit Choose() {
    fit_ = model_.Fit({});
    heldOut_ = HeldOut(fit_);
    while (AddOne()) RemoveDoubtful();
    if (fit_.predictors.empty())
      throw DataError("No predictor lowers the out-of-fold deviance by more than its standard error.");
    return fit_;
  }

 private:
  std::vector<double> HeldOut(const LogisticFit& fit) const {
    return model_.HeldOutDeviance(fit, folds_, static_cast<std::size_t>(settings_.folds));
  }

  bool HasRightSigns(const LogisticFit& fit) const {
    return settings_.anySign || std::all_of(fit.coefficients.begin() + 1, fit.coefficients.end(),
                                            [](double coefficient) { return coefficient < 0; });
  }

  bool AddOne() {
    std::vector<std::size_t> candidates;
    for (std::size_t k = 0; k < excluded_.size(); ++k) {
      if (!excluded_[k] &&
          std::find(fit_.predictors.begin(), fit_.predictors.end(), k) == fit_.predictors.end())
        candidates.push_back(k);
    }
    const std::vector<double> scores = model_.SignedScores(fit_, candidates);
    std::vector<std::size_t> order(candidates.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::stable_sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
      return std::fabs(scores[a]) > std::fabs(scores[b]);
    });
    std::size_t tried = 0;
    for (const std::size_t at : order) {
      if (scores[at] == 0 || tried == kMostTried) break;
      if (!settings_.anySign && scores[at] > 0) continue;
      ++tried;
      if (Add(candidates[at])) return true;
    }
    return false;
  }

  bool Add(std::size_t predictor) {
    std::vector<std::size_t> predictors = fit_.predictors;
    std::vector<double> start = fit_.coefficients;
    predictors.push_back(predictor);
    start.push_back(0);
    LogisticFit fit;
    try {
      fit = model_.Fit(predictors, start);
    } catch (const DataError& error) {
      excluded_[predictor] = true;
      card_.notices.emplace_back(error.what());
      return false;
    }
    if (!HasRightSigns(fit)) return false;
    std::vector<double> heldOut = HeldOut(fit);
    const Gain gain = GainOf(heldOut_, heldOut);
    if (!(gain.gain > gain.error)) return false;
    card_.steps.push_back({true, cases_.predictors[predictor].name, gain.gain, gain.error});
    fit_ = std::move(fit);
    heldOut_ = std::move(heldOut);
    return true;
  }

  // Removes predictors that later ones make superfluous.
  void RemoveDoubtful() {
    for (std::size_t k = 0; k + 1 < fit_.predictors.size(); ++k) {
      const double wald = std::pow(fit_.coefficients[k + 1] / fit_.StandardError(k + 1), 2);
      if (stats::ChiSquareUpperTail(wald, 1) < kDoubtfulP) continue;
      std::vector<std::size_t> predictors = fit_.predictors;
      const std::size_t removed = predictors[k];
      predictors.erase(predictors.begin() + static_cast<std::ptrdiff_t>(k));
      LogisticFit fit = model_.Fit(predictors);
      std::vector<double> heldOut = HeldOut(fit);
      const Gain gain = GainOf(heldOut, heldOut_);  // of keeping it
      if (gain.gain > 0) continue;
      card_.steps.push_back({false, cases_.predictors[removed].name, -gain.gain, gain.error});
      excluded_[removed] = true;
      fit_ = std::move(fit);
      heldOut_ = std::move(heldOut);
      --k;
    }
  }

  const WoeCases& cases_;
  const LogisticModel& model_;
  const ScorecardSettings& settings_;
  FittedScorecard& card_;
  const std::vector<std::uint8_t> folds_;
  std::vector<bool> excluded_;
  LogisticFit fit_;
  std::vector<double> heldOut_;
};

ScorecardTerm TermOf(const WoeCases& cases, const LogisticModel& model, const LogisticFit& fit,
                     std::size_t k) {
  ScorecardTerm term;
  const std::size_t at = k + 1, size = fit.coefficients.size();
  term.predictor = cases.predictors[fit.predictors[k]].name;
  term.coefficient = fit.coefficients[at];
  term.standardError = fit.StandardError(at);
  term.wald = std::pow(term.coefficient / term.standardError, 2);
  term.waldP = stats::ChiSquareUpperTail(term.wald, 1);
  term.designEffect = fit.covariance[at * (size + 1)] / fit.modelCovariance[at * (size + 1)];
  std::vector<std::size_t> others = fit.predictors;
  std::vector<double> start = fit.coefficients;
  others.erase(others.begin() + static_cast<std::ptrdiff_t>(k));
  start.erase(start.begin() + static_cast<std::ptrdiff_t>(at));
  term.likelihoodRatio = std::max(0.0, model.Fit(others, start).deviance - fit.deviance) / term.designEffect;
  term.likelihoodRatioP = stats::ChiSquareUpperTail(term.likelihoodRatio, 1);
  return term;
}

// The points of a term are its part of the log odds of good, times the points of one unit, plus an
// equal share of the constant part.
SavedScorecard PointsOf(const WoeCases& cases, const LogisticFit& fit, const ScorecardSettings& settings) {
  SavedScorecard saved;
  saved.basePoints = settings.basePoints;
  saved.odds = settings.odds;
  saved.pdo = settings.pdo;
  saved.intercept = fit.coefficients.front();
  const double factor = settings.pdo / std::log(2.0);
  const double common = settings.basePoints - factor * (std::log(settings.odds) + saved.intercept);
  for (std::size_t k = 0; k < fit.predictors.size(); ++k) {
    const WoeCases::Predictor& predictor = cases.predictors[fit.predictors[k]];
    SavedScorecard::Term& term = saved.terms.emplace_back();
    term.predictor = predictor.name;
    term.coefficient = fit.coefficients[k + 1];
    const double part = common / static_cast<double>(fit.predictors.size());
    const auto points = [&](double woe) {
      const double exact = part - factor * term.coefficient * woe;
      return settings.roundPoints ? std::round(exact) : exact;
    };
    for (const double woe : predictor.woe) term.points.push_back(points(woe));
    term.neutralPoints = points(0);
  }
  return saved;
}

void AddRemarks(const WoeCases& cases, const ScorecardSettings& settings, FittedScorecard& card) {
  double bad = 0;
  for (const std::uint8_t one : cases.isBad) bad += one;
  const double rarer = std::min(bad, static_cast<double>(cases.Count()) - bad);
  if (rarer < kFewestPerPredictor * static_cast<double>(card.terms.size()))
    card.notices.push_back(
        "There are fewer than 10 cases of the rarer outcome per predictor, so the coefficients "
        "are uncertain.");
  for (const ScorecardTerm& term : card.terms) {
    if (term.coefficient > 0)
      card.notices.push_back(
          "The coefficient of " + term.predictor +
          " is positive: beside the other predictors, bins with fewer bad cases would lose "
          "points. Leave it out" +
          (settings.stepwise ? "." : ", or use --stepwise."));
    if (term.varianceInflation > kHighInflation)
      card.notices.push_back("The other predictors nearly determine " + term.predictor +
                             " (a variance inflation factor above 5), so its coefficient is uncertain.");
  }
}

// The cases of an outcome in a random order (Fisher and Yates).
std::vector<std::size_t> ShuffledCases(const std::vector<std::uint8_t>& isBad, std::uint8_t outcome,
                                       vlm::SplitMix& random) {
  std::vector<std::size_t> cases;
  for (std::size_t i = 0; i < isBad.size(); ++i) {
    if (isBad[i] == outcome) cases.push_back(i);
  }
  for (std::size_t i = cases.size(); i > 1; --i)
    std::swap(cases[i - 1], cases[static_cast<std::size_t>(random.Next() % i)]);
  return cases;
}

}  // namespace

std::vector<std::uint8_t> FoldsOf(const std::vector<std::uint8_t>& isBad, int folds, int seed) {
  vlm::SplitMix random(static_cast<std::uint64_t>(seed));
  std::vector<std::uint8_t> foldOf(isBad.size());
  for (const std::uint8_t outcome : {std::uint8_t{0}, std::uint8_t{1}}) {
    const std::vector<std::size_t> cases = ShuffledCases(isBad, outcome, random);
    for (std::size_t i = 0; i < cases.size(); ++i)
      foldOf[cases[i]] = static_cast<std::uint8_t>(i % static_cast<std::size_t>(folds));
  }
  return foldOf;
}

std::vector<bool> HeldOutCases(const std::vector<std::uint8_t>& isBad, double share, int seed) {
  vlm::SplitMix random(static_cast<std::uint64_t>(seed));
  std::vector<bool> heldOut(isBad.size());
  for (const std::uint8_t outcome : {std::uint8_t{0}, std::uint8_t{1}}) {
    const std::vector<std::size_t> cases = ShuffledCases(isBad, outcome, random);
    const auto count = static_cast<std::size_t>(std::round(share * static_cast<double>(cases.size())));
    for (std::size_t i = 0; i < count; ++i) heldOut[cases[i]] = true;
  }
  return heldOut;
}

FittedScorecard FitScorecard(const WoeCases& cases, const ScorecardSettings& settings,
                             const std::function<bool()>& stopped) {
  FittedScorecard card;
  LogisticModel model(cases, stopped);
  const auto fit = [&] {
    if (settings.stepwise) return Chooser(cases, model, settings, card).Choose();
    std::vector<std::size_t> all(cases.predictors.size());
    std::iota(all.begin(), all.end(), std::size_t{0});
    return model.Fit(all);
  };
  try {
    card.fit = fit();
  } catch (const NoEstimate& error) {
    if (!settings.shrinks) throw;
    model.SetRidge(kRidge);
    card.notices.push_back(std::string(error.what()) + " Here all coefficients are shrunk instead.");
    card.fit = fit();
  }
  card.interceptError = card.fit.StandardError(0);
  card.nullDeviance = model.NullDeviance();
  const std::vector<double> heldOut =
      model.HeldOutDeviance(card.fit, FoldsOf(cases.isBad, settings.folds, settings.seed),
                            static_cast<std::size_t>(settings.folds));
  card.heldOutDeviance = std::accumulate(heldOut.begin(), heldOut.end(), 0.0);
  const std::vector<double> inflation = model.VarianceInflation(card.fit.predictors);
  for (std::size_t k = 0; k < card.fit.predictors.size(); ++k) {
    card.terms.push_back(TermOf(cases, model, card.fit, k));
    card.terms.back().varianceInflation = inflation[k];
  }
  AddRemarks(cases, settings, card);
  card.saved = PointsOf(cases, card.fit, settings);
  return card;
}

ScoredCases ScoresOf(const WoeCases& cases, const SavedScorecard& scorecard) {
  ScoredCases scored;
  scored.isBad = cases.isBad;
  scored.weights = cases.weights;
  scored.scores.assign(cases.Count(), 0);
  for (const SavedScorecard::Term& term : scorecard.terms) {
    const auto predictor = std::find_if(cases.predictors.begin(), cases.predictors.end(),
                                        [&](const auto& one) { return one.name == term.predictor; });
    for (std::size_t i = 0; i < cases.Count(); ++i) {
      const std::int32_t bin = predictor->bins[i];
      scored.scores[i] += bin < 0 ? term.neutralPoints : term.points[static_cast<std::size_t>(bin)];
    }
  }
  for (const double score : scored.scores) scored.probabilities.push_back(scorecard.Probability(score));
  return scored;
}

}  // namespace velmora
