// Logistic regression of a bad outcome on weights of evidence: maximum likelihood by Newton's
// method (iteratively reweighted least squares), with tests of each coefficient.
//
//   LogisticModel model(cases);
//   LogisticFit fit = model.Fit({0, 2});   // of the first and the third predictor
//   fit.coefficients[1];                   // of the first; the intercept comes first
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "workbench/data/errors.h"

namespace velmora {

// Cases with the bins of their predictors. All vectors of cases have the same length.
struct WoeCases {
  struct Predictor {
    std::string name;
    std::vector<double> woe;         // of its bins: ln(share of good / share of bad)
    std::vector<std::int32_t> bins;  // one per case; negative: none, whose weight of evidence is 0
    double WoeOf(std::size_t i) const { return bins[i] < 0 ? 0 : woe[static_cast<std::size_t>(bins[i])]; }
  };
  std::vector<std::uint8_t> isBad;  // one per case
  std::vector<double> weights;      // one per case, or empty: all 1
  // The weights say how many cases of the population a case represents; standard errors allow for
  // it.
  bool sampled = false;
  std::vector<Predictor> predictors;

  std::size_t Count() const { return isBad.size(); }
  double Weight(std::size_t i) const { return weights.empty() ? 1 : weights[i]; }
};

// Some coefficients have no finite estimate, or no single one. what() names the predictor.
class NoEstimate : public DataError {
 public:
  using DataError::DataError;
};

struct LogisticFit {
  std::vector<std::size_t> predictors;  // in their order in the model
  // Of the log odds of bad: the intercept, then one per predictor.
  std::vector<double> coefficients;
  std::vector<double> information;      // of the likelihood: square, row by row
  std::vector<double> covariance;       // of the coefficients; of sampled cases by linearisation
  std::vector<double> modelCovariance;  // the inverse of information
  double deviance = 0;                  // -2 log likelihood
  int iterations = 0;

  double StandardError(std::size_t coefficient) const;
  double Logit(const WoeCases& cases, std::size_t i) const;
};

class LogisticModel {
 public:
  // cases must outlive this and have cases of both outcomes. stopped: called in every pass over the
  // cases; when it returns true, the work ends with Cancelled.
  explicit LogisticModel(const WoeCases& cases, std::function<bool()> stopped = {});

  // Adds ridge times the sum of the squared coefficients, without the intercept, to the deviance.
  void SetRidge(double ridge) { ridge_ = ridge; }

  // Throws NoEstimate with one sentence that names the predictor when the predictors separate the
  // outcomes, or when one is a linear combination of others. start: coefficients to begin with.
  LogisticFit Fit(const std::vector<std::size_t>& predictors, const std::vector<double>& start = {}) const;
  double NullDeviance() const { return nullDeviance_; }

  // -2 log likelihood of each case by coefficients that did not see it, in the order of the cases.
  // foldOf: one per case, from 0 to foldCount - 1. The coefficients without a fold are one Newton
  // step from those of all cases, which costs two passes over the cases.
  std::vector<double> HeldOutDeviance(const LogisticFit& fit, const std::vector<std::uint8_t>& foldOf,
                                      std::size_t foldCount) const;
  // The score test of adding each of the candidates to the model: chi-square with 1 degree of
  // freedom and the sign of the coefficient that it would get. 0 for one that adds nothing.
  std::vector<double> SignedScores(const LogisticFit& fit, const std::vector<std::size_t>& candidates) const;
  // Variance inflation factors of the predictors of a model.
  std::vector<double> VarianceInflation(const std::vector<std::size_t>& predictors) const;

 private:
  struct Pass;
  Pass Accumulate(const std::vector<std::size_t>& predictors, const std::vector<double>& coefficients) const;
  void Linearise(LogisticFit& fit) const;
  void StopIfAsked() const;

  const WoeCases& cases_;
  std::function<bool()> stopped_;
  double nullDeviance_ = 0, badWeight_ = 0, weight_ = 0, ridge_ = 0;
};

}  // namespace velmora
