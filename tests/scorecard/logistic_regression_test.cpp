// Logistic regression against R, its refusals, and its shortcuts against full computation.
#include "workbench/scorecard/logistic_regression.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numeric>
#include <random>

#include "workbench/data/errors.h"
#include "workbench/scorecard/scorecard.h"

namespace velmora::testing {
namespace {

WoeCases SmallCases() {
  WoeCases cases;
  cases.isBad = {0, 0, 0, 1, 0, 0, 1, 0, 1, 1, 0, 1, 1, 0, 1, 0};
  cases.predictors = {{"x", {0.8, -0.4}, {0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 1, 1, 1, 1}},
                      {"z", {0.5, -0.7}, {0, 1, 0, 1, 0, 1, 0, 1, 0, 1, 0, 1, 0, 1, 1, 0}}};
  return cases;
}

// A response that follows the first of several predictors, and the second a little.
WoeCases RandomCases(std::size_t count, std::size_t predictorCount) {
  std::mt19937 random(5);
  WoeCases cases;
  std::vector<std::uniform_int_distribution<int>> bins(predictorCount,
                                                       std::uniform_int_distribution<int>(0, 3));
  for (std::size_t k = 0; k < predictorCount; ++k)
    cases.predictors.push_back({"p" + std::to_string(k), {1.2, 0.3, -0.5, -1.1}, {}});
  std::uniform_real_distribution<double> uniform;
  for (std::size_t i = 0; i < count; ++i) {
    for (std::size_t k = 0; k < predictorCount; ++k) cases.predictors[k].bins.push_back(bins[k](random));
    const double logit = -1 - cases.predictors[0].WoeOf(i) - 0.6 * cases.predictors[1].WoeOf(i);
    cases.isBad.push_back(uniform(random) < 1 / (1 + std::exp(-logit)) ? 1 : 0);
  }
  return cases;
}

// R 4.2.2:
//   y <- c(0,0,0,1,0,0,1,0,1,1,0,1,1,0,1,0); x <- rep(c(0.8, -0.4), each = 8)
//   z <- c(0.5, -0.7)[c(1,2,1,2,1,2,1,2,1,2,1,2,1,2,2,1)]; w <- c(1,2,3,1,2,3,1,2,3,1,2,3,1,2,3,1)
//   m <- glm(y ~ x + z, binomial, control = glm.control(epsilon = 1e-15))
//   summary(m); drop1(m, test = "LRT"); add1(glm(y ~ x, binomial), ~ x + z, test = "Rao")
//   summary(glm(y ~ x + z, binomial, weights = w))
//   summary(svyglm(y ~ x + z, svydesign(~1, weights = ~w, data), family = quasibinomial()))
TEST(LogisticRegression, AgreesWithR) {
  struct Figures {
    const char* name;
    bool weighted, sampled;
    std::vector<double> coefficients, errors;
  };
  const Figures rows[] = {
      {"plain",
       false,
       false,
       {-0.07553594797068953, -1.36931677127009221, -0.49914186032101077},
       {0.5707891839102966, 0.9272074758711540, 0.9219732371660907}},
      {"weights as they are",
       true,
       false,
       {-0.1784001294307184, -2.2418190255578665, -0.4908142876922620},
       {0.4596977312105589, 0.7871864983043014, 0.7485543362158628}},
      {"sampling weights",
       true,
       true,
       {-0.1784001294307191, -2.2418190255578678, -0.4908142876922623},
       {0.6382635775415713, 1.0039191152185922, 1.0408177029127197}},
  };
  for (const Figures& row : rows) {
    SCOPED_TRACE(row.name);
    WoeCases cases = SmallCases();
    if (row.weighted) cases.weights = {1, 2, 3, 1, 2, 3, 1, 2, 3, 1, 2, 3, 1, 2, 3, 1};
    cases.sampled = row.sampled;
    const LogisticFit fit = LogisticModel(cases).Fit({0, 1});
    for (std::size_t k = 0; k < 3; ++k) {
      EXPECT_NEAR(fit.coefficients[k], row.coefficients[k], 1e-10);
      EXPECT_NEAR(fit.StandardError(k), row.errors[k], 1e-8);
    }
  }
  const WoeCases cases = SmallCases();
  const LogisticModel model(cases);
  const LogisticFit fit = model.Fit({0, 1}), smaller = model.Fit({0});
  EXPECT_NEAR(fit.deviance, 19.28449571791263, 1e-10);
  EXPECT_NEAR(model.NullDeviance(), 21.93005463284666, 1e-10);
  EXPECT_NEAR(smaller.deviance - fit.deviance, 0.2978784065160127, 1e-9);
  EXPECT_NEAR(model.SignedScores(smaller, {1})[0], -0.2962962962961004, 1e-9);
}

TEST(LogisticRegression, NamesThePredictorThatCannotBeEstimated) {
  struct Row {
    const char* name;
    std::function<void(WoeCases&)> change;
    const char* said;
  };
  const Row rows[] = {
      {"a copy", [](WoeCases& c) { c.predictors[2].bins = c.predictors[0].bins; },
       "p2 is a linear combination"},
      {"one value", [](WoeCases& c) { c.predictors[1].woe.assign(4, 0.7); }, "p1 is a linear combination"},
      {"complete separation",
       [](WoeCases& c) {
         for (std::size_t i = 0; i < c.Count(); ++i) c.predictors[1].bins[i] = c.isBad[i] != 0 ? 3 : 0;
       },
       "p1 separates the bad cases"},
      {"one bin without good cases",
       [](WoeCases& c) {
         c.predictors[2].woe = {0, 0, 0, -2};
         for (std::size_t i = 0; i < c.Count(); ++i) {
           if (c.isBad[i] == 0) c.predictors[2].bins[i] = 0;
         }
       },
       "p2 separates the bad cases"},
  };
  for (const Row& row : rows) {
    WoeCases cases = RandomCases(400, 3);
    row.change(cases);
    try {
      LogisticModel(cases).Fit({0, 1, 2});
      ADD_FAILURE() << row.name;
    } catch (const DataError& error) {
      EXPECT_NE(std::string(error.what()).find(row.said), std::string::npos)
          << row.name << ": " << error.what();
    }
  }
}

// The one-step estimate without a fold against fits of the other folds.
TEST(LogisticRegression, HeldOutDevianceIsThatOfRefits) {
  const WoeCases cases = RandomCases(2000, 3);
  const LogisticModel model(cases);
  const LogisticFit fit = model.Fit({0, 1, 2});
  const std::vector<std::uint8_t> folds = FoldsOf(cases.isBad, 10, 1);
  const std::vector<double> heldOut = model.HeldOutDeviance(fit, folds, 10);
  double refitted = 0;
  for (std::uint8_t fold = 0; fold < 10; ++fold) {
    WoeCases others = cases;
    others.weights.assign(cases.Count(), 1);
    for (std::size_t i = 0; i < cases.Count(); ++i) {
      if (folds[i] == fold) others.weights[i] = 0;
    }
    const LogisticFit without = LogisticModel(others).Fit({0, 1, 2});
    for (std::size_t i = 0; i < cases.Count(); ++i) {
      if (folds[i] != fold) continue;
      const double logit = without.Logit(cases, i);
      refitted += 2 * std::log1p(std::exp(cases.isBad[i] != 0 ? -logit : logit));
    }
  }
  const double shortcut = std::accumulate(heldOut.begin(), heldOut.end(), 0.0);
  EXPECT_GT(shortcut, fit.deviance);
  EXPECT_NEAR(shortcut, refitted, 0.01 * (refitted - fit.deviance));
}

}  // namespace
}  // namespace velmora::testing
