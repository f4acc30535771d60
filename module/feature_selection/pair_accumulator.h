// Everything that the second pass accumulates: for each pair of a dependent and a predictor its
// groups or its cells.
//
// Cases are gathered into blocks. For each block, a few groups of predictors at a time, on a thread
// each, the slot of each value's key is found once (SlotFinder) and shared by all dependents; each
// pair then takes the block's cases in case order (GroupMeans, CrossTable, JointCounts), so that
// its sums are those of a loop over single cases.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "module/feature_selection/case_pass.h"
#include "module/feature_selection/feature_selection_settings.h"
#include "module/feature_selection/group_means.h"
#include "module/feature_selection/joint_counts.h"
#include "module/feature_selection/lane_presence.h"

namespace vlmfsl {

class PairAccumulator {
 public:
  explicit PairAccumulator(const FeatureSelectionSettings& settings)
      : settings_(settings), block_(*settings.owner) {}

  // cases: its missing-data codes are fetched; it must outlive this. Returns kOk, or kFailed when
  // the host's memory is short; throws bad_alloc like everything here.
  [[nodiscard]] int Prepare(const CasePass& cases);

  // Where cases are read.
  LaneBlock& Block() { return block_; }
  // Adds the case that was read into the block.
  void Accept(bool weighted, double weight, double count);
  // Processes the cases of the block and empties it. Returns false when the run is cancelled.
  [[nodiscard]] bool ProcessBlock();
  // To be called after the last block.
  void Finish() { means_.Finish(); }

  // Accepted cases that casewise deletion did not drop; after Finish.
  int ValidCases() const { return validCases_; }
  // Accepted cases in which a dependent has a value; after Finish.
  int DependentCases(int dependentIndex) const {
    return dependents_[static_cast<std::size_t>(dependentIndex)].cases;
  }

  // The results of a predictor's pairs; after Finish. Predictors are requested in order, each with
  // all its dependents.
  void StartPredictor(int predictorIndex);
  OneWayResult OneWay(int dependentIndex) const;
  // Returns nothing when isStopped, which is called now and then, returns true.
  std::optional<ChiSquareResult> Cross(int dependentIndex, const std::function<bool()>& isStopped);
  // Cases that entered the pair, whatever their weights and counts. mass: that of the pair, which
  // is returned where every case has mass 1.
  int UsedCases(int dependentIndex, double mass) const;

 private:
  struct Dependent {
    vlm::MissingRange missing;
    int cases = 0;     // with a value
    bool all = false;  // every case of the block takes part
  };

  static constexpr std::size_t kGroupsAtOnce = kMostLaneGroups;
  static constexpr std::size_t kSlotStride = std::size_t{kMostPartCases} * kLanes;

  // Scratch memory of one thread.
  struct Worker {
    LaneTiles tiles{1};
    PresenceRows rows;
    std::vector<std::uint16_t> others = std::vector<std::uint16_t>(kMostPartCases);
    std::vector<std::uint32_t> slots =
        std::vector<std::uint32_t>(kGroupsAtOnce * kSlotStride);  // [current group][case][kLanes]
    GroupMeans::SpareTable spare = GroupMeans::MakeSpareTable();
  };

  void ProcessDependents();
  bool FindCasesTakingPart(std::size_t dependent, bool earlierComplete);
  void ProcessGroups(std::size_t firstGroup, std::size_t count, std::size_t part, Worker& worker);
  void UpdateCrossTables(std::size_t group, const BlockPart& part, const std::uint32_t* slots);
  void CountPairCases(std::size_t group, const BlockPart& part, const std::uint16_t* present);

  std::size_t Capacity() const { return static_cast<std::size_t>(block_.Capacity()); }

  const FeatureSelectionSettings& settings_;
  const CasePass* cases_ = nullptr;
  LaneBlock block_;
  std::vector<std::pair<std::size_t, std::size_t>> bundles_;  // groups processed together
  std::vector<std::unique_ptr<Worker>> workers_;
  LanePresence presence_;
  SlotFinder finder_;
  bool casewise_ = false;
  bool isFirstCase_ = true;
  bool unitMass_ = true;  // every case has weight and count 1
  int validCases_ = 0;

  // By case of the block.
  std::vector<double> mass_, relativeMass_, count_;
  std::vector<std::uint8_t> complete_;  // all dependents so far have a value

  // By dependent.
  std::vector<Dependent> dependents_;
  std::vector<double> values_;           // [dependent][case]
  std::vector<std::uint8_t> takesPart_;  // [dependent][case]
  // [dependent][predictor]; empty while every case has mass 1.
  std::vector<int> pairCases_;

  GroupMeans means_;  // of the first dependents

  // Cross-tabulated dependents, numbered from 0.
  int firstCross_ = 0;  // the dependent that is the first of them
  std::vector<DependentClasses> classes_;
  std::vector<std::uint32_t> classOfCase_;  // [cross][case]
  CrossTables tables_;
  JointCounts joint_;

  // Of the predictor whose results are being formed.
  std::size_t predictor_ = 0;
  std::unique_ptr<KeyOrder> rowOrder_;
  std::vector<KeyOrder> columnOrders_;
  ChiSquareSum chiSquare_;
};

}  // namespace vlmfsl
