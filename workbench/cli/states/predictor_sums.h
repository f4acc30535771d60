// The sums of one predictor and the response of a screening, in the form that the search for bins
// takes.
#pragma once

#include <cstdint>
#include <vector>

#include "contract/screening_results.h"
#include "workbench/binning/pre_bins.h"
#include "workbench/bins/saved_bins.h"
#include "workbench/states/pair_sums.h"

namespace velmora {

// The response as a screening takes it.
struct ResponseCounts {
  vlm::ResponseKind kind = vlm::kBinaryResponse;
  std::size_t columns = 1;              // classes; 1 of a measured response
  std::vector<std::uint32_t> columnOf;  // of each class in the sums; binary: bad, good
  states::MeasuredOutcome measured;
  bool IsMeasured() const { return kind == vlm::kContinuousResponse; }
};

// Refers to the response and the sums. Group Groups() holds the cases without a value.
class PredictorSums {
 public:
  // unit: the weight that counts as one case.
  PredictorSums(const ResponseCounts& response, const states::PairSums& sums, double unit)
      : response_(response), sums_(sums), unit_(unit) {}

  const ResponseCounts& Response() const { return response_; }
  std::uint32_t Groups() const { return sums_.Groups(); }

  states::PairSums::Cell At(std::uint32_t group, std::size_t column,
                            std::uint32_t fold = states::kNoGroup) const;
  SavedCounts CountsOf(std::uint32_t group) const;

  // The groups as pre-bins without their ends. Those of a measured response have folds; those of
  // classes get them from DealFolds.
  binning::PreBins Values() const { return PreBinsOf(0, Groups()); }
  binning::PreBins Missing() const { return PreBinsOf(Groups(), Groups() + 1); }
  void DealFolds(binning::PreBins& values, binning::PreBins& missing) const;

 private:
  binning::PreBins PreBinsOf(std::uint32_t begin, std::uint32_t end) const;
  binning::PreBinSums SumsOf(std::uint32_t begin, std::uint32_t end, std::uint32_t fold) const;

  const ResponseCounts& response_;
  const states::PairSums& sums_;
  double unit_;
};

}  // namespace velmora
