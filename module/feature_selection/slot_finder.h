// Finds the slots of a block's predictor values: the dense numbers of their keys, which all
// dependents share.
//
//   SlotFinder finder;
//   finder.Prepare(settings, block);
//   finder.Find(group, values, cases, present, others, slots);   // part after part of a group
#pragma once

#include <cstdint>
#include <vector>

#include "module/feature_selection/feature_selection_settings.h"
#include "module/feature_selection/key_slots.h"
#include "module/feature_selection/lane_block.h"

namespace vlmfsl {

class SlotFinder {
 public:
  // The block's groups are the predictors in order, continuous ones first. After the first pass.
  void Prepare(const FeatureSelectionSettings& settings, const LaneBlock& block);

  // slots: [case][kLanes], 0 where the value does not take part. present: a mask of lanes for each
  // case, null when every value takes part. others: scratch, by case. Threads may work on different
  // groups.
  void Find(const LaneBlock& block, std::size_t group, LaneValues values, int cases,
            const std::uint16_t* present, std::uint16_t* others, std::uint32_t* slots);

  std::size_t PredictorCount() const { return keys_.size(); }
  const PredictorKeys& Keys(std::size_t predictor) const { return keys_[predictor]; }
  // The predictor in a lane of a group.
  std::size_t PredictorAt(const LaneBlock& block, std::size_t group, int lane) const {
    return static_cast<std::size_t>(block.Groups()[group].firstEntry + lane - firstEntry_);
  }

 private:
  void PrepareBounds(const LaneBlock& block);
  bool FindByKernel(const LaneBlock& block, std::size_t group, LaneValues values, int cases,
                    const std::uint16_t* present, std::uint16_t* others, std::uint32_t* slots) const;
  void FindOthers(const LaneBlock& block, std::size_t group, LaneValues values, int caseCount,
                  const std::uint16_t* others, std::uint32_t* slots);

  int firstEntry_ = 0;  // of the predictors in the read list
  std::vector<PredictorKeys> keys_;
  // By group: raised bounds, [bound][kLanes], when its predictors are cut by a table.
  std::vector<std::vector<double>> bounds_;
};

}  // namespace vlmfsl
