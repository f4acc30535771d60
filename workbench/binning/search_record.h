// The input and the result of a search for the bins of one predictor, kept for figures about many
// predictors at once and for searches repeated on other responses.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "workbench/binning/cross_validate.h"
#include "workbench/binning/optimal_bins.h"
#include "workbench/stats/tree.h"

namespace velmora::binning {

struct SearchRecord {
  static constexpr std::uint16_t kNoPreBin = 0xFFFF;

  int response = 0, predictor = 0;  // variable numbers
  std::shared_ptr<const stats::TreeResponse> cases;
  bool categorical = false;
  bool given = false;  // the user's bins: each pre-bin is one of them
  BinningRules rules;
  // Pre-bins of values, which the search joins, and after them those that it does not: special
  // codes, and missing cases with a bin of their own.
  std::size_t preBinCount = 0, separateCount = 0;
  // The bins of the latter, and of special codes that no case has.
  std::size_t separateBins = 0;
  // The pre-bin of each case, kNoPreBin for a case that has none; empty unless it was asked for,
  // and where there are more pre-bins than numbers.
  std::vector<std::uint16_t> preBinOf;
  Validation validation;
  // Where the demanded shape allows a single bin: the best other shape with more bins that are
  // better than chance; else kFree.
  Shape otherShape = Shape::kFree;
};

// Takes the records of a run, from any of the threads that search and in no order.
struct SearchObserver {
  std::function<void(SearchRecord)> take;  // empty: records are not needed
  bool wantsPreBins = false;               // preBinOf
};

}  // namespace velmora::binning
