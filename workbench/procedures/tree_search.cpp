#include "base/tolerant.h"
#include "workbench/procedures/tree_procedure.h"

namespace velmora {
namespace {

void AddToBin(const binning::PreBinSums& one, std::size_t bin, binning::PreBinSums& sums) {
  for (std::size_t c = 0; c < sums.Stride(); ++c) sums.values[bin * sums.Stride() + c] += one.values[c];
  sums.cases[bin] += one.cases[0];
  sums.squaredWeights += one.squaredWeights;
}

void AddToBin(const binning::PreBins& one, std::size_t bin, binning::PreBins& bins) {
  AddToBin(one.sums, bin, bins.sums);
  for (std::size_t fold = 0; fold < bins.folds.size(); ++fold)
    AddToBin(one.folds[fold], bin, bins.folds[fold]);
}

}  // namespace

// The predictor with its special codes and its missing cases, which count in the comparison with
// other predictors even when they are left out of the bins.
binning::SearchedPredictor TreeProcedure::Searched(binning::PreBins values) {
  const HostProcedures::Shared::FoldsPointer folds = shared_->FoldsOf(grownOn_);
  const auto preBinOf = [&](const std::vector<std::uint32_t>& cases) {
    binning::PreBins bin = binning::MakeMissingBin(grownOn_->tree, cases, *folds);
    binning::SwapTwoClasses(bin);
    return bin;
  };
  binning::SearchedPredictor searched;
  searched.missingPlace = MissingPlace();
  searched.missingBin = UserMissingBin();
  searched.values = std::move(values);
  binning::SwapTwoClasses(searched.values);
  for (const PlacedCodes& placed : placed_) {
    if (!placed.special.cases.empty())
      AddToBin(preBinOf(placed.special.cases), static_cast<std::size_t>(placed.bin), searched.values);
  }
  for (const SpecialBin& special : special_) {
    if (!special.cases.empty()) searched.specials.push_back(preBinOf(special.cases));
  }
  const std::vector<std::uint32_t> without =
      MissingPlace() == vlm::kMissingLeftOut ? CasesWithoutValue(Predictor(), grownOn_->tree) : missing_;
  if (!without.empty()) searched.missing = preBinOf(without);
  return searched;
}

// Assesses the bins on held-out cases, and whether they describe the response better than one bin
// of all cases.
binning::Validation TreeProcedure::Assess(const binning::SearchedPredictor& searched,
                                          const std::vector<int>& binOf, const binning::BinFinder& find) {
  const binning::Assessment assessment = binning::AssessBins(searched, binOf, find);
  const binning::Validation& validation = assessment.validation;
  if (!grownOn_->tree.continuous && grownOn_->tree.classCount == 2) {
    fit_.heldOutInformationValue = validation.informationValue;
    fit_.heldOutGini = validation.gini;
  }
  fit_.heldOutExplained = validation.explained;
  fit_.noBetterThanChance = assessment.noBetterThanChance ? 1 : 0;
  return validation;
}

// Reports the search to the plan's observer. rules: null for the user's bins.
void TreeProcedure::Report(const binning::PreBins& pre, const stats::SortedOrder& order,
                           const binning::BinningRules* rules, const binning::Validation& validation,
                           binning::Shape otherShape) const {
  const binning::SearchObserver& observer = shared_->settings.binning->observer;
  if (!observer.take) return;
  binning::SearchRecord record;
  record.response = response_;
  record.predictor = predictor_;
  record.cases = {grownOn_, &grownOn_->tree};
  record.categorical = categorical_;
  record.given = rules == nullptr;
  if (rules != nullptr) record.rules = *rules;
  record.preBinCount = pre.Count();
  record.separateCount = SpecialBinsWithCases();
  record.separateBins = special_.size();
  if (!missing_.empty() && MissingPlace() == vlm::kMissingOwnBin) {
    ++record.separateCount;
    ++record.separateBins;
  }
  const bool fits = record.preBinCount + record.separateCount < binning::SearchRecord::kNoPreBin;
  if (observer.wantsPreBins && fits) {
    const std::vector<int> ofValues = record.given ? BinOfValues(order) : PreBinOfValues(pre, order);
    record.preBinOf = PreBinOfCases(order, ofValues, pre.Count());
  }
  record.validation = validation;
  record.otherShape = otherShape;
  observer.take(std::move(record));
}

// preBinOfValue: of each distinct value of the order, -1 for none.
std::vector<std::uint16_t> TreeProcedure::PreBinOfCases(const stats::SortedOrder& order,
                                                        const std::vector<int>& preBinOfValue,
                                                        std::size_t count) const {
  std::vector<std::uint16_t> preBinOf(static_cast<std::size_t>(table_->caseCount),
                                      binning::SearchRecord::kNoPreBin);
  const auto put = [&](std::size_t index, std::size_t preBin) {
    if (binning::CountsForResponse(grownOn_->tree, index))
      preBinOf[index] = static_cast<std::uint16_t>(preBin);
  };
  for (std::size_t d = 0; d < order.DistinctCount(); ++d) {
    if (preBinOfValue[d] < 0) continue;
    for (auto at = order.starts[d]; at < order.starts[d + 1]; ++at)
      put(order.cases[static_cast<std::size_t>(at)], static_cast<std::size_t>(preBinOfValue[d]));
  }
  for (const PlacedCodes& placed : placed_) {
    for (const std::uint32_t index : placed.special.cases) put(index, static_cast<std::size_t>(placed.bin));
  }
  for (const SpecialBin& special : special_) {
    if (special.cases.empty()) continue;
    for (const std::uint32_t index : special.cases) put(index, count);
    ++count;
  }
  if (MissingPlace() == vlm::kMissingOwnBin) {
    for (const std::uint32_t index : missing_) put(index, count);
  }
  return preBinOf;
}

// The pre-bin of each distinct value of the order, for pre-bins of neighbouring values.
std::vector<int> TreeProcedure::PreBinOfValues(const binning::PreBins& pre,
                                               const stats::SortedOrder& order) const {
  std::vector<int> preBinOf(order.DistinctCount(), -1);
  std::size_t preBin = 0;
  for (std::size_t d = 0; d < preBinOf.size(); ++d) {
    const double value = order.Value(Predictor().values, d);
    while (preBin + 1 < pre.Count() && value > pre.last[preBin]) ++preBin;
    preBinOf[d] = static_cast<int>(preBin);
  }
  return preBinOf;
}

// The bin of each distinct value of the order.
std::vector<int> TreeProcedure::BinOfValues(const stats::SortedOrder& order) const {
  std::vector<int> binOf(order.DistinctCount(), -1);
  const Bins bins = BinsOfValues();
  std::size_t bin = 0;
  for (std::size_t d = 0; d < binOf.size(); ++d) {
    const double value = order.Value(Predictor().values, d);
    if (categorical_) {
      binOf[d] = bins.BinOfLevel(value);
      continue;
    }
    while (bin < bins.cutPoints.size() && value > vlm::RaisedByTolerance(bins.cutPoints[bin])) ++bin;
    binOf[d] = static_cast<int>(bin);
  }
  return binOf;
}

}  // namespace velmora
