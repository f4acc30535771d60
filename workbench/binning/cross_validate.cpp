#include "workbench/binning/cross_validate.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <optional>

#include "workbench/binning/optimal_bins.h"
#include "workbench/stats/area_under_curve.h"
#include "workbench/stats/distributions.h"

namespace velmora::binning {
namespace {

PreBinSums Without(const PreBinSums& all, const PreBinSums& part) {
  PreBinSums rest = all;
  for (std::size_t i = 0; i < rest.values.size(); ++i) rest.values[i] -= part.values[i];
  for (std::size_t i = 0; i < rest.cases.size(); ++i) rest.cases[i] -= part.cases[i];
  rest.squaredWeights -= part.squaredWeights;
  return rest;
}

double Mean(const std::vector<double>& values) {
  if (values.empty()) return 0;
  return std::accumulate(values.begin(), values.end(), 0.0) / static_cast<double>(values.size());
}

// Figures of the other folds' bins on the cases of one fold.
struct FoldFigures {
  double informationValue = 0, gini = 0;
};

// Nothing when the fold, or the others together, have cases of only one class: clusters may fill
// few folds, or fill them unevenly.
std::optional<FoldFigures> ValidateClasses(const PreBinSums& train, const PreBinSums& held) {
  double bads = 0, goods = 0, heldBads = 0, heldGoods = 0;
  for (std::size_t b = 0; b < train.Count(); ++b) {
    bads += train.values[b * 2];
    goods += train.values[b * 2 + 1];
    heldBads += held.values[b * 2];
    heldGoods += held.values[b * 2 + 1];
  }
  if (!(bads > 0) || !(goods > 0) || !(heldBads > 0) || !(heldGoods > 0)) return std::nullopt;
  FoldFigures figures;
  std::vector<stats::CountedValue> scored;
  for (std::size_t b = 0; b < train.Count(); ++b) {
    const double bad = train.values[b * 2], good = train.values[b * 2 + 1];
    const double half = bad > 0 && good > 0 ? 0 : 0.5;
    const double woe = bad > 0 || good > 0 ? std::log(((good + half) / goods) / ((bad + half) / bads)) : 0;
    const double heldBad = held.values[b * 2], heldGood = held.values[b * 2 + 1];
    figures.informationValue += (heldGood / heldGoods - heldBad / heldBads) * woe;
    scored.push_back({woe, heldBad, heldGood});
  }
  figures.gini = 2 * stats::AreaUnderCurve(std::move(scored)) - 1;
  return figures;
}

struct Errors {
  double ofBins = 0, ofNone = 0;
};

void AddSquaredErrors(const PreBinSums& train, const PreBinSums& held, Errors& errors) {
  double weight = 0, total = 0;
  for (std::size_t b = 0; b < train.Count(); ++b) {
    weight += train.values[b * 3];
    total += train.values[b * 3 + 1];
  }
  if (!(weight > 0)) return;
  const double mean = total / weight;
  const auto squared = [](const double* moments, double about) {
    return moments[2] - 2 * about * moments[1] + about * about * moments[0];
  };
  for (std::size_t b = 0; b < train.Count(); ++b) {
    const double* moments = &held.values[b * 3];
    const double binMean = train.values[b * 3] > 0 ? train.values[b * 3 + 1] / train.values[b * 3] : mean;
    errors.ofBins += squared(moments, binMean);
    errors.ofNone += squared(moments, mean);
  }
}

// Half a case is added to each class before its share is computed, so that no share is 0.
void AddDeviances(const PreBinSums& train, const PreBinSums& held, Errors& errors) {
  const std::size_t classes = train.Stride();
  std::vector<double> totals(classes, 0.0);
  for (std::size_t i = 0; i < train.values.size(); ++i) totals[i % classes] += train.values[i];
  const double half = 0.5;
  const double weight = std::accumulate(totals.begin(), totals.end(), half * static_cast<double>(classes));
  for (std::size_t b = 0; b < train.Count(); ++b) {
    const bool known = train.WeightOf(b) > 0;
    const double binWeight = known ? train.WeightOf(b) + half * static_cast<double>(classes) : weight;
    for (std::size_t c = 0; c < classes; ++c) {
      const double cases = held.values[b * classes + c];
      if (!(cases > 0)) continue;
      const double seen = known ? train.values[b * classes + c] : totals[c];
      errors.ofBins -= cases * std::log((seen + half) / binWeight);
      errors.ofNone -= cases * std::log((totals[c] + half) / weight);
    }
  }
}

// Puts the missing cases of one fold into the bin of those of the other folds.
void AddMissing(const MissingCases& missing, const PreBinSums& heldMissing, PreBinSums& train,
                PreBinSums& held) {
  PreBinSums trainMissing = Without(missing.cases->sums, heldMissing);
  const int place = PlaceOfMissing(missing.place, train, trainMissing);
  if (place >= 0 && static_cast<std::size_t>(place) < train.Count()) {
    const auto from = static_cast<std::size_t>(place) * train.Stride();
    for (std::size_t c = 0; c < train.Stride(); ++c) {
      train.values[from + c] += trainMissing.values[c];
      held.values[from + c] += heldMissing.values[c];
    }
    return;
  }
  if (place < 0) std::fill(trainMissing.values.begin(), trainMissing.values.end(), 0.0);
  train.Append(trainMissing);
  held.Append(heldMissing);
}

// A ratio of sums over folds; its interval is that of the linearised ratio.
void SetExplained(const std::vector<Errors>& errors, Validation& result) {
  Errors all;
  for (const Errors& fold : errors) {
    all.ofBins += fold.ofBins;
    all.ofNone += fold.ofNone;
  }
  if (errors.empty()) return;
  const double left = all.ofBins / all.ofNone, mean = all.ofNone / static_cast<double>(errors.size());
  result.explained = 1 - left;
  std::vector<double> deviations;
  for (const Errors& fold : errors) deviations.push_back((fold.ofBins - left * fold.ofNone) / mean);
  result.explainedInterval = IntervalOfFolds(result.explained, deviations);
}

}  // namespace

Interval IntervalOfFolds(double figure, const std::vector<double>& ofFolds) {
  const auto folds = static_cast<double>(ofFolds.size());
  if (folds < 2) return {figure, figure};
  const double mean = Mean(ofFolds);
  double squares = 0;
  for (const double value : ofFolds) squares += (value - mean) * (value - mean);
  const double half = stats::StudentQuantile(0.975, folds - 1) *
                      std::sqrt((1 / folds + 1 / (folds - 1)) * squares / (folds - 1));
  return {figure - half, figure + half};
}

Validation CrossValidate(const PreBins& pre, const BinFinder& find, const MissingCases& missing) {
  Validation result;
  std::vector<Errors> errors;
  std::vector<double> informationValues, ginis;
  for (std::size_t f = 0; f < pre.folds.size(); ++f) {
    const PreBinSums& fold = pre.folds[f];
    const PreBinSums others = Without(pre.sums, fold);
    const std::vector<int> binOf = find(others);
    if (binOf.empty()) return {};
    const auto count = static_cast<std::size_t>(*std::max_element(binOf.begin(), binOf.end()) + 1);
    PreBinSums train = SumBins(others, binOf, count);
    PreBinSums held = SumBins(fold, binOf, count);
    if (missing.cases != nullptr) AddMissing(missing, missing.cases->folds[f], train, held);
    if (pre.sums.classCount == 2) {
      if (const std::optional<FoldFigures> figures = ValidateClasses(train, held)) {
        informationValues.push_back(figures->informationValue);
        ginis.push_back(figures->gini);
      }
    }
    Errors ofFold;
    if (pre.sums.classCount == 0) {
      AddSquaredErrors(train, held, ofFold);
    } else {
      AddDeviances(train, held, ofFold);
    }
    if (ofFold.ofNone > 0) errors.push_back(ofFold);
  }
  result.informationValue = Mean(informationValues);
  result.gini = Mean(ginis);
  result.informationValueInterval = IntervalOfFolds(result.informationValue, informationValues);
  result.giniInterval = IntervalOfFolds(result.gini, ginis);
  SetExplained(errors, result);
  return result;
}

}  // namespace velmora::binning
