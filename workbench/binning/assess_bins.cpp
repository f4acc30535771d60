#include "workbench/binning/assess_bins.h"

#include <algorithm>

namespace velmora::binning {

Assessment AssessBins(const SearchedPredictor& predictor, const std::vector<int>& binOf,
                      const BinFinder& find) {
  // Special codes are pre-bins that the search never joins with others.
  PreBins whole = predictor.values;
  for (const PreBins& special : predictor.specials) Append(special, whole);
  const bool missingIsFixed = predictor.missing && predictor.missingBin >= 0;
  if (missingIsFixed) Append(*predictor.missing, whole);
  const auto findAll = [&](const PreBinSums& sums) {
    if (predictor.specials.empty() && !missingIsFixed) return find(sums);
    std::vector<int> all = find(FirstPreBins(sums, predictor.values.Count()));
    int count = *std::max_element(all.begin(), all.end()) + 1;
    for (std::size_t i = 0; i < predictor.specials.size(); ++i) all.push_back(count++);
    if (missingIsFixed) all.push_back(predictor.missingBin);
    return all;
  };
  MissingCases rule;
  if (predictor.missing && !missingIsFixed) rule = {&*predictor.missing, predictor.missingPlace};
  Assessment assessment;
  assessment.validation = CrossValidate(whole, findAll, rule);
  const PreBinSums& values = predictor.values.sums;
  const bool oneBin = std::all_of(binOf.begin(), binOf.end(), [&](int bin) { return bin == binOf.front(); });
  const bool missingDiffer = predictor.missing && !missingIsFixed &&
                             predictor.missingPlace == vlm::kMissingOwnBin &&
                             MissingCasesDiffer(values, predictor.missing->sums, predictor.selectionCost);
  const bool anyDiffers =
      missingDiffer ||
      std::any_of(predictor.specials.begin(), predictor.specials.end(), [&](const PreBins& one) {
        return MissingCasesDiffer(values, one.sums, predictor.selectionCost);
      });
  assessment.noBetterThanChance = oneBin && !anyDiffers;
  return assessment;
}

BinningRules RulesThatApply(BinningRules rules, int classCount) {
  const bool twoClasses = classCount == 2, measured = classCount == 0;
  Criterion& criterion = rules.partition.criterion;
  if ((criterion == Criterion::kInformationValue && !twoClasses) ||
      (criterion == Criterion::kGini && measured) || (criterion == Criterion::kVariance && !measured))
    criterion = Criterion::kDeviance;
  if (!twoClasses && !measured) rules.partition.shape = Shape::kFree;
  return rules;
}

void SwapTwoClasses(PreBins& bins) {
  const auto swap = [](PreBinSums& sums) {
    for (std::size_t i = 0; i + 1 < sums.values.size(); i += 2) std::swap(sums.values[i], sums.values[i + 1]);
  };
  if (bins.sums.classCount != 2) return;
  swap(bins.sums);
  for (PreBinSums& fold : bins.folds) swap(fold);
}

int ShapeNumber(Shape shape) {
  switch (shape) {
    case Shape::kAscending:
      return vlm::kAscendingShape;
    case Shape::kDescending:
      return vlm::kDescendingShape;
    case Shape::kPeak:
      return vlm::kPeakShape;
    case Shape::kValley:
      return vlm::kValleyShape;
    default:
      return vlm::kAnyShape;
  }
}

}  // namespace velmora::binning
