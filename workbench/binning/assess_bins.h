// Assesses the bins that a search finds: figures on held-out cases, and whether the bins describe
// the response better than one bin does.
#pragma once

#include <optional>
#include <vector>

#include "workbench/binning/cross_validate.h"
#include "workbench/binning/optimal_bins.h"

namespace velmora::binning {

// A predictor as a search sees it. Its pre-bins must have folds.
struct SearchedPredictor {
  PreBins values;                  // that the search joins
  std::vector<PreBins> specials;   // special codes: each a bin of its own
  std::optional<PreBins> missing;  // the cases without a value
  vlm::MissingBin missingPlace = vlm::kMissingLeftOut;
  // The bin of the missing cases when the user gives it with the bins: they are in it whatever
  // their response. -1: missingPlace decides.
  int missingBin = -1;
  double selectionCost = 0;  // see SelectionCost
};

struct Assessment {
  Validation validation;
  bool noBetterThanChance = false;
};

// binOf: the bins that the search gives the values; find: the search, repeated on the cases of all
// folds but one.
Assessment AssessBins(const SearchedPredictor& predictor, const std::vector<int>& binOf,
                      const BinFinder& find);

// The rules, with a criterion and a shape that the response has. classCount 0: measured.
BinningRules RulesThatApply(BinningRules rules, int classCount);

// The vlm::BinShape of a shape that was found.
int ShapeNumber(Shape shape);

// Swaps the two classes: a shape describes the rate of the last class, but a search uses that of
// the first.
void SwapTwoClasses(PreBins& bins);

}  // namespace velmora::binning
