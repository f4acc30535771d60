// What the bins that a search finds are worth: figures of cases held out, and whether they say more
// than one bin does.
#pragma once

#include <optional>
#include <vector>

#include "workbench/binning/cross_validate.h"
#include "workbench/binning/optimal_bins.h"

namespace velmora::binning {

// A predictor as a search sees it. Folds must be there.
struct SearchedPredictor {
  PreBins values;                  // that the search joins
  std::vector<PreBins> specials;   // special codes: each a bin of its own
  std::optional<PreBins> missing;  // the cases without a value
  vlm::MissingBin missingPlace = vlm::kMissingLeftOut;
  // The bin of the missing cases where the user gives it with the bins: they are in it whatever their
  // response; -1: by missingPlace.
  int missingBin = -1;
  double selectionCost = 0;  // of the rules of the search
};

struct Assessment {
  Validation validation;
  bool noBetterThanChance = false;
};

// binOf: the bins that the search gives the values; find: the search, repeated on the cases of all
// folds but one.
Assessment AssessBins(const SearchedPredictor& predictor, const std::vector<int>& binOf,
                      const BinFinder& find);

// The rules as far as the response has such a criterion and such a shape. classCount 0: measured.
BinningRules RulesThatApply(BinningRules rules, int classCount);

// The vlm::BinShape of a shape that was found.
int ShapeNumber(Shape shape);

// Swaps two classes: a shape is about the rate of the last one, which a search takes first.
void SwapTwoClasses(PreBins& bins);

}  // namespace velmora::binning
