#include "workbench/scorecard/logistic_regression.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

#include "workbench/data/errors.h"
#include "workbench/stats/cholesky.h"

namespace velmora {
namespace {

using stats::Cholesky;

constexpr int kMostIterations = 60;
constexpr int kMostHalvings = 30;
// Largest change of a log odds, over coefficients times the spread of their predictors, at which
// the coefficients are final. Newton's method doubles the digits in each step, so the next change
// would be far below the rounding of doubles. Where predictors separate the outcomes, every step
// changes the log odds by about 1.
constexpr double kFinalChange = 1e-9;

// log(1 + exp(x)) without overflow.
double SoftPlus(double x) { return x > 0 ? x + std::log1p(std::exp(-x)) : std::log1p(std::exp(x)); }

double ProbabilityOf(double logit) { return 1 / (1 + std::exp(-logit)); }

double DevianceOf(bool isBad, double logit) { return 2 * SoftPlus(isBad ? -logit : logit); }

// Solves M x = b by the factor.
std::vector<double> Solved(const Cholesky& factor, std::vector<double> b) {
  factor.Solve(b.data());
  factor.SolveTransposed(b.data());
  return b;
}

std::vector<double> Inverse(const Cholesky& factor, std::size_t size) {
  std::vector<double> inverse(size * size);
  for (std::size_t column = 0; column < size; ++column) {
    std::vector<double> unit(size);
    unit[column] = 1;
    unit = Solved(factor, std::move(unit));
    for (std::size_t row = 0; row < size; ++row) inverse[row * size + column] = unit[row];
  }
  return inverse;
}

}  // namespace

// Sums over the cases at some coefficients.
struct LogisticModel::Pass {
  std::vector<double> gradient;     // of the log likelihood
  std::vector<double> information;  // lower triangle, row by row of a square
  double deviance = 0;              // with the penalty
};

double LogisticFit::StandardError(std::size_t coefficient) const {
  return std::sqrt(covariance[coefficient * (coefficients.size() + 1)]);
}

double LogisticFit::Logit(const WoeCases& cases, std::size_t i) const {
  double logit = coefficients.front();
  for (std::size_t k = 0; k < predictors.size(); ++k)
    logit += coefficients[k + 1] * cases.predictors[predictors[k]].WoeOf(i);
  return logit;
}

LogisticModel::LogisticModel(const WoeCases& cases, std::function<bool()> stopped)
    : cases_(cases), stopped_(std::move(stopped)) {
  for (std::size_t i = 0; i < cases.Count(); ++i) {
    weight_ += cases.Weight(i);
    if (cases.isBad[i]) badWeight_ += cases.Weight(i);
  }
  const double rate = badWeight_ / weight_;
  nullDeviance_ = -2 * (badWeight_ * std::log(rate) + (weight_ - badWeight_) * std::log1p(-rate));
}

void LogisticModel::StopIfAsked() const {
  if (stopped_ && stopped_()) throw Cancelled();
}

LogisticModel::Pass LogisticModel::Accumulate(const std::vector<std::size_t>& predictors,
                                              const std::vector<double>& coefficients) const {
  StopIfAsked();
  const std::size_t size = coefficients.size();
  Pass pass{std::vector<double>(size), std::vector<double>(size * size)};
  std::vector<double> x(size, 1);
  for (std::size_t i = 0; i < cases_.Count(); ++i) {
    double logit = coefficients[0];
    for (std::size_t k = 1; k < size; ++k) {
      x[k] = cases_.predictors[predictors[k - 1]].WoeOf(i);
      logit += coefficients[k] * x[k];
    }
    const double weight = cases_.Weight(i), p = ProbabilityOf(logit);
    pass.deviance += weight * DevianceOf(cases_.isBad[i] != 0, logit);
    const double residual = weight * (static_cast<double>(cases_.isBad[i]) - p);
    const double spread = weight * p * (1 - p);
    for (std::size_t row = 0; row < size; ++row) {
      pass.gradient[row] += residual * x[row];
      const double scaled = spread * x[row];
      double* const line = pass.information.data() + row * size;
      for (std::size_t column = 0; column <= row; ++column) line[column] += scaled * x[column];
    }
  }
  for (std::size_t k = 1; k < size; ++k) {
    pass.deviance += ridge_ * coefficients[k] * coefficients[k];
    pass.gradient[k] -= ridge_ * coefficients[k];
    pass.information[k * (size + 1)] += ridge_;
  }
  return pass;
}

LogisticFit LogisticModel::Fit(const std::vector<std::size_t>& predictors,
                               const std::vector<double>& start) const {
  const std::size_t size = predictors.size() + 1;
  LogisticFit fit;
  fit.predictors = predictors;
  fit.coefficients = start;
  if (start.empty()) {
    fit.coefficients.assign(size, 0);
    fit.coefficients[0] = std::log(badWeight_ / (weight_ - badWeight_));
  }
  const auto name = [&](std::size_t coefficient) -> const std::string& {
    return cases_.predictors[predictors[coefficient - 1]].name;
  };
  const auto failOfSeparation = [&](const std::vector<double>& step) {
    std::size_t widest = 1;
    for (std::size_t k = 2; k < size; ++k) {
      if (std::fabs(step[k]) > std::fabs(step[widest])) widest = k;
    }
    throw NoEstimate(
        "The predictor " + name(widest) +
        " separates the bad cases from the good ones, so its coefficient grows without limit; leave "
        "it out or merge its bins.");
  };
  Pass pass = Accumulate(predictors, fit.coefficients);
  std::vector<double> step(size);
  for (; fit.iterations < kMostIterations; ++fit.iterations) {
    const Cholesky factor(pass.information, size);
    if (!factor.IsPositiveDefinite()) {
      const std::size_t at = factor.FailedAt();
      // Probabilities of 0 and 1 also leave no information.
      if (fit.iterations > 3 || at == 0) failOfSeparation(step);
      throw NoEstimate("The predictor " + name(at) +
                       (size == 2
                            ? " has one weight of evidence in all cases"
                            : " is a linear combination of the predictors before it, or has one weight of "
                              "evidence in all cases") +
                       "; leave it out.");
    }
    step = Solved(factor, pass.gradient);
    const std::vector<double> before = fit.coefficients;
    const double devianceBefore = pass.deviance;
    double length = 1;
    for (int halving = 0;; ++halving) {
      for (std::size_t k = 0; k < size; ++k) fit.coefficients[k] = before[k] + length * step[k];
      pass = Accumulate(predictors, fit.coefficients);
      // The rounding of the sum does not count as an increase.
      if (pass.deviance <= devianceBefore * (1 + 1e-12) || halving == kMostHalvings) break;
      length /= 2;
    }
    double change = std::fabs(length * step[0]);
    for (std::size_t k = 1; k < size; ++k) change = std::max(change, std::fabs(length * step[k]));
    if (change < kFinalChange) break;
  }
  if (fit.iterations == kMostIterations) failOfSeparation(step);
  fit.deviance = pass.deviance;
  for (std::size_t k = 1; k < size; ++k) fit.deviance -= ridge_ * fit.coefficients[k] * fit.coefficients[k];
  const Cholesky factor(pass.information, size);
  if (!factor.IsPositiveDefinite()) failOfSeparation(step);
  fit.modelCovariance = Inverse(factor, size);
  fit.information = pass.information;
  for (std::size_t row = 0; row < size; ++row) {
    for (std::size_t column = 0; column < row; ++column)
      fit.information[column * size + row] = fit.information[row * size + column];
  }
  Linearise(fit);
  return fit;
}

// The covariance of estimates from a sample with unequal weights: V = A^-1 B A^-1 with the
// information A and the sum B of the outer products of the cases' scores (Binder 1983,
// doi:10.2307/1402588).
void LogisticModel::Linearise(LogisticFit& fit) const {
  fit.covariance = fit.modelCovariance;
  if (!cases_.sampled) return;
  StopIfAsked();
  const std::size_t size = fit.coefficients.size();
  std::vector<double> x(size, 1), outer(size * size);
  for (std::size_t i = 0; i < cases_.Count(); ++i) {
    for (std::size_t k = 1; k < size; ++k) x[k] = cases_.predictors[fit.predictors[k - 1]].WoeOf(i);
    const double residual =
        cases_.Weight(i) * (static_cast<double>(cases_.isBad[i]) - ProbabilityOf(fit.Logit(cases_, i)));
    for (std::size_t row = 0; row < size; ++row) {
      for (std::size_t column = 0; column < size; ++column)
        outer[row * size + column] += residual * residual * x[row] * x[column];
    }
  }
  const auto n = static_cast<double>(cases_.Count());
  const auto product = [size](const std::vector<double>& a, const std::vector<double>& b) {
    std::vector<double> c(size * size);
    for (std::size_t i = 0; i < size; ++i) {
      for (std::size_t k = 0; k < size; ++k) {
        for (std::size_t j = 0; j < size; ++j) c[i * size + j] += a[i * size + k] * b[k * size + j];
      }
    }
    return c;
  };
  fit.covariance = product(product(fit.modelCovariance, outer), fit.modelCovariance);
  for (double& value : fit.covariance) value *= n / (n - 1);
}

std::vector<double> LogisticModel::HeldOutDeviance(const LogisticFit& fit,
                                                   const std::vector<std::uint8_t>& foldOf,
                                                   std::size_t foldCount) const {
  StopIfAsked();
  const std::size_t size = fit.coefficients.size();
  std::vector<Pass> folds(foldCount, Pass{std::vector<double>(size), std::vector<double>(size * size)});
  std::vector<double> x(size, 1);
  for (std::size_t i = 0; i < cases_.Count(); ++i) {
    for (std::size_t k = 1; k < size; ++k) x[k] = cases_.predictors[fit.predictors[k - 1]].WoeOf(i);
    const double weight = cases_.Weight(i), p = ProbabilityOf(fit.Logit(cases_, i));
    Pass& fold = folds[foldOf[i]];
    for (std::size_t row = 0; row < size; ++row) {
      fold.gradient[row] += weight * (static_cast<double>(cases_.isBad[i]) - p) * x[row];
      for (std::size_t column = 0; column <= row; ++column)
        fold.information[row * size + column] += weight * p * (1 - p) * x[row] * x[column];
    }
  }
  // The gradient without the fold is minus that of the fold, because the gradient of all cases is
  // zero.
  std::vector<LogisticFit> without(foldCount, fit);
  for (std::size_t f = 0; f < foldCount; ++f) {
    std::vector<double> information = fit.information, gradient(size);
    for (std::size_t row = 0; row < size; ++row) {
      gradient[row] = -folds[f].gradient[row];
      for (std::size_t column = 0; column <= row; ++column)
        information[row * size + column] -= folds[f].information[row * size + column];
    }
    const Cholesky factor(information, size);
    if (!factor.IsPositiveDefinite()) continue;  // keep the estimate of all cases
    const std::vector<double> step = Solved(factor, gradient);
    for (std::size_t k = 0; k < size; ++k) without[f].coefficients[k] += step[k];
  }
  StopIfAsked();
  std::vector<double> deviances(cases_.Count());
  for (std::size_t i = 0; i < cases_.Count(); ++i)
    deviances[i] = cases_.Weight(i) * DevianceOf(cases_.isBad[i] != 0, without[foldOf[i]].Logit(cases_, i));
  return deviances;
}

// Rao's score test: with the residuals r = y - p and the spread s = p (1 - p) of the model, a
// candidate z has U = sum w r z and the variance sum w s z^2 - c' A^-1 c, c = sum w s z x.
std::vector<double> LogisticModel::SignedScores(const LogisticFit& fit,
                                                const std::vector<std::size_t>& candidates) const {
  StopIfAsked();
  const std::size_t size = fit.coefficients.size(), count = candidates.size();
  std::vector<double> score(count), squares(count), cross(count * size), x(size, 1);
  for (std::size_t i = 0; i < cases_.Count(); ++i) {
    for (std::size_t k = 1; k < size; ++k) x[k] = cases_.predictors[fit.predictors[k - 1]].WoeOf(i);
    const double weight = cases_.Weight(i), p = ProbabilityOf(fit.Logit(cases_, i));
    const double residual = weight * (static_cast<double>(cases_.isBad[i]) - p),
                 spread = weight * p * (1 - p);
    for (std::size_t c = 0; c < count; ++c) {
      const double z = cases_.predictors[candidates[c]].WoeOf(i);
      score[c] += residual * z;
      squares[c] += spread * z * z;
      for (std::size_t k = 0; k < size; ++k) cross[c * size + k] += spread * z * x[k];
    }
  }
  std::vector<double> signedScores(count);
  const Cholesky factor(fit.information, size);
  for (std::size_t c = 0; c < count; ++c) {
    double* const own = cross.data() + c * size;
    factor.Solve(own);
    const double explained = std::inner_product(own, own + size, own, 0.0);
    const double variance = squares[c] - explained;
    // For a linear combination of the model's predictors only rounding is left.
    if (!(variance > 1e-9 * squares[c])) continue;
    signedScores[c] = std::copysign(score[c] * score[c] / variance, score[c]);
  }
  return signedScores;
}

std::vector<double> LogisticModel::VarianceInflation(const std::vector<std::size_t>& predictors) const {
  const std::size_t count = predictors.size();
  std::vector<double> mean(count), x(count), spread(count * count);
  for (std::size_t i = 0; i < cases_.Count(); ++i) {
    for (std::size_t k = 0; k < count; ++k)
      mean[k] += cases_.Weight(i) * cases_.predictors[predictors[k]].WoeOf(i);
  }
  for (std::size_t i = 0; i < cases_.Count(); ++i) {
    for (std::size_t k = 0; k < count; ++k)
      x[k] = cases_.predictors[predictors[k]].WoeOf(i) - mean[k] / weight_;
    for (std::size_t row = 0; row < count; ++row) {
      for (std::size_t column = 0; column <= row; ++column)
        spread[row * count + column] += cases_.Weight(i) * x[row] * x[column];
    }
  }
  const Cholesky factor(spread, count);
  std::vector<double> factors(count, std::numeric_limits<double>::infinity());
  if (!factor.IsPositiveDefinite()) return factors;
  const std::vector<double> inverse = Inverse(factor, count);
  for (std::size_t k = 0; k < count; ++k) factors[k] = inverse[k * (count + 1)] * spread[k * (count + 1)];
  return factors;
}

}  // namespace velmora
