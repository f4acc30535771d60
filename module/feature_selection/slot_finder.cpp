#include "module/feature_selection/slot_finder.h"

#include <algorithm>
#include <limits>

#include "base/tolerant.h"
#include "module/feature_selection/vector_kernels.h"

namespace vlmfsl {

void SlotFinder::Prepare(const FeatureSelectionSettings& settings, const LaneBlock& block) {
  firstEntry_ = settings.DependentCount();
  const auto predictors = static_cast<std::size_t>(settings.PredictorCount());
  keys_.reserve(predictors);
  for (int p = 0; p < settings.nContinuousPredictors; ++p) {
    keys_.emplace_back(settings.predictorMoments[p], settings.cutsContinuousPredictor);
  }
  keys_.resize(predictors);
  PrepareBounds(block);
}

void SlotFinder::PrepareBounds(const LaneBlock& block) {
  bounds_.resize(block.Groups().size());
  for (std::size_t g = 0; g < bounds_.size(); ++g) {
    if (!keys_[PredictorAt(block, g, 0)].IsTabled()) continue;
    const int lanes = block.Groups()[g].lanes;
    std::size_t most = 1;
    for (int lane = 0; lane < lanes; ++lane) {
      most = std::max(most, keys_[PredictorAt(block, g, lane)].Intervals().size());
    }
    // Nothing is above a bound of infinity: it fills up lanes with fewer intervals.
    bounds_[g].assign(std::max<std::size_t>(most - 1, 1) * kLanes, std::numeric_limits<double>::infinity());
    for (int lane = 0; lane < lanes; ++lane) {
      const std::vector<double>& intervals = keys_[PredictorAt(block, g, lane)].Intervals();
      for (std::size_t k = 0; k + 1 < intervals.size(); ++k) {
        bounds_[g][k * kLanes + static_cast<std::size_t>(lane)] = vlm::RaisedByTolerance(intervals[k]);
      }
    }
  }
}

void SlotFinder::Find(const LaneBlock& block, std::size_t group, LaneValues values, int cases,
                      const std::uint16_t* present, std::uint16_t* others, std::uint32_t* slots) {
  if (FindByKernel(block, group, values, cases, present, others, slots))
    FindOthers(block, group, values, cases, others, slots);
}

// Returns true when some slots are left to FindOthers: others gets, by case, their lanes.
bool SlotFinder::FindByKernel(const LaneBlock& block, std::size_t group, LaneValues values, int cases,
                              const std::uint16_t* present, std::uint16_t* others,
                              std::uint32_t* slots) const {
  const VectorKernels& kernels = Kernels();
  const PredictorKeys& first = keys_[PredictorAt(block, group, 0)];
  if (first.IsTabled()) {
    kernels.intervalSlots(values, cases, bounds_[group].data(),
                          static_cast<int>(bounds_[group].size() / kLanes), present, slots);
    return false;
  }
  if (first.IsCode()) return kernels.codeSlots(values, cases, present, slots, others);
  std::fill_n(slots, static_cast<std::size_t>(cases) * kLanes, 0u);
  for (int i = 0; i < cases; ++i) {
    others[i] = present == nullptr ? std::uint16_t{kAllLanes} : present[i];
  }
  return true;
}

void SlotFinder::FindOthers(const LaneBlock& block, std::size_t group, LaneValues values, int caseCount,
                            const std::uint16_t* others, std::uint32_t* slots) {
  const auto cases = static_cast<std::size_t>(caseCount);
  for (int lane = 0; lane < block.Groups()[group].lanes; ++lane) {
    PredictorKeys& keys = keys_[PredictorAt(block, group, lane)];
    const auto at = static_cast<std::size_t>(lane);
    const double* const ofLane = values.first + lane;
    const unsigned bit = 1u << lane;
    if (keys.IsCode()) {
      for (std::size_t i = 0; i < cases; ++i) {
        if ((others[i] & bit) != 0) keys.Prefetch(ofLane[i * values.caseStride]);
      }
    }
    for (std::size_t i = 0; i < cases; ++i) {
      if ((others[i] & bit) != 0) slots[i * kLanes + at] = keys.SlotOfOther(ofLane[i * values.caseStride]);
    }
  }
}

}  // namespace vlmfsl
