// Everything the second pass accumulates: for each pair of a dependent and a predictor its groups or its cells.
//
// Cases are gathered into blocks. For each block, predictor by predictor (up to sixty-four at a time, in groups of sixteen lanes), the slot of each value's
// key is found once and shared by all dependents; each pair then takes the block's cases in case order, so that its
// sums are those of a loop that treats one case after the other.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "module/feature_selection/case_pass.h"
#include "module/feature_selection/cross_table.h"
#include "module/feature_selection/feature_selection_settings.h"
#include "module/feature_selection/group_statistics.h"
#include "module/feature_selection/key_slots.h"
#include "module/feature_selection/lane_block.h"
#include "module/feature_selection/lane_presence.h"

namespace vlmfsl {

class PairAccumulator {
 public:
  explicit PairAccumulator(const FeatureSelectionSettings& settings)
      : settings_(settings), block_(*settings.owner) {}

  // cases: its missing-data codes are fetched. Returns kOk, or kFailed when the host's memory is short; throws
  // bad_alloc like everything here.
  [[nodiscard]] int Prepare(const CasePass& cases);

  // Where cases are read.
  LaneBlock& Block() { return block_; }
  // Takes the case that was read there.
  void Accept(bool weighted, double weight, double count);
  // Treats what is still in the block.
  void Flush();

  // Accepted cases that casewise deletion did not abandon; after Flush.
  int ValidCases() const { return validCases_; }

  // Accepted cases in which a dependent has a value; after Flush.
  int DependentCases(int dependentIndex) const {
    return dependentCases_[static_cast<std::size_t>(dependentIndex)];
  }

  // The results of a predictor's pairs; after Flush. Predictors are asked for in order, all dependents of each.
  void StartPredictor(int predictorIndex);
  OneWayResult OneWay(int dependentIndex) const;
  ChiSquareResult Cross(int dependentIndex);
  // Cases that entered the pair, whatever their weights and counts. mass: the pair's own, which says it already where
  // every case has mass 1.
  int UsedCases(int dependentIndex, double mass) const;

 private:
  // One continuous dependent: an entry for each slot of each predictor.
  struct GroupPairs {
    std::vector<GroupMoments> intervals;           // of all tabled predictors, one after the other
    std::vector<std::vector<GroupMoments>> codes;  // by predictor; empty for a tabled one
    std::vector<GroupMoments*> tables;             // by predictor
    std::vector<std::uint16_t> cases;              // of the block, that take part
    bool all = true;                               // every case of the block takes part
    bool plain = true;  // weight and count 1 and finite values so far: the entries' counts are not kept
  };

  // Some cross-tabulated dependents counted together. Exact because every mass is 1.
  struct JointSet {
    std::vector<std::size_t> members;    // cross-tabulated dependents
    std::vector<std::uint32_t> factors;  // of each member's class in the joint class
    std::vector<std::uint32_t> columns;  // classes that each member may have, no class included
    std::uint32_t jointClasses = 1;
    std::vector<std::vector<std::uint32_t>>
        counts;                 // by predictor: [slot][joint class]; empty when not counted here
    std::vector<char> leftOut;  // by predictor: counted in the members' own tables
    std::vector<std::uint32_t> classOfCase;
  };

  static constexpr std::size_t kGroupsAtOnce = kMostLaneGroups;
  static_assert(kGroupsAtOnce <= LanePresence::kRows);

  void TreatBlock();
  void TreatDependents();
  void PlanJointSets();
  void DissolveJointSet(JointSet* set);
  void FlushJointLane(JointSet* set, std::size_t predictor);
  void FindJointClasses();
  void TreatGroups(std::size_t firstGroup, std::size_t count);
  bool FindSlots(std::size_t group, const std::uint16_t* present, std::uint32_t* slots);
  void FindOtherSlots(std::size_t group, std::uint32_t* slots);
  void KeepCounts(GroupPairs* pairs);
  void UpdateGroupMeans(std::size_t firstGroup, std::size_t count);
  void CountJointClasses(JointSet* set, std::size_t group, const std::uint32_t* slotsOfGroup);
  void CountPairCases(std::size_t group, const std::uint16_t* present);
  void UpdateCrossTables(std::size_t group, const std::uint32_t* slotsOfGroup);

  // Slots of the i-th of the groups at hand.
  std::uint32_t* SlotsAt(std::size_t i) {
    return slots_.data() + i * static_cast<std::size_t>(block_.Capacity()) * kLanes;
  }
  std::size_t PredictorAt(std::size_t group, int lane) const {
    return static_cast<std::size_t>(block_.Groups()[group].firstEntry + lane - settings_.DependentCount());
  }
  std::size_t CrossIndex(std::size_t cross, std::size_t predictor) const {
    return cross * keys_.size() + predictor;
  }

  const FeatureSelectionSettings& settings_;
  LaneBlock block_;
  LanePresence presence_;
  bool casewise_ = false;
  bool plain_ = true;  // every case has weight and count 1
  int validCases_ = 0;
  std::vector<int> dependentCases_;         // by dependent
  std::vector<std::uint8_t> dependentAll_;  // by dependent: every case of the block takes part
  std::vector<int> pairCases_;              // [dependent][predictor]; empty while every case has mass 1
  int blocksTreated_ = 0;
  int nextPlan_ = 8;

  // By predictor.
  std::vector<PredictorKeys> keys_;
  // By group of the block: raised bounds, [bound][kLanes], when its predictors are cut by a table.
  std::vector<std::vector<double>> bounds_;

  // By case of the block.
  std::vector<double> mass_, relativeMass_, count_;
  std::vector<std::uint8_t> complete_;
  std::vector<std::uint32_t> slots_;   // [group at hand][case][kLanes]
  std::vector<std::uint16_t> others_;  // lanes of the group at hand whose slot is not found by the kernel

  // By dependent, [dependent][case].
  std::vector<double> dependents_;
  std::vector<std::uint8_t> takesPart_;
  std::vector<vlm::MissingRange> missing_;

  // Continuous dependents that are not cut.
  std::vector<GroupPairs> groupPairs_;
  std::vector<DependentScale> scales_;
  std::vector<GroupMoments> spareTable_;  // of a lane without a predictor

  // Cross-tabulated dependents, numbered from 0.
  int firstCross_ = 0;  // the dependent that is the first of them
  std::vector<DependentClasses> classes_;
  std::vector<std::uint32_t> classOfCase_;  // [cross][case]
  std::vector<CrossTable> tables_;          // [cross][predictor]
  std::vector<JointSet> jointSets_;
  std::vector<int> jointSetOf_;  // by cross: its set, or -1

  // Of the predictor whose results are being asked for.
  std::size_t predictor_ = 0;
  std::unique_ptr<KeyOrder> rowOrder_;
  std::vector<KeyOrder> columnOrders_;
  ChiSquareSum chiSquare_;
};

}  // namespace vlmfsl
