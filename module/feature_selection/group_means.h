// The groups of every pair of a continuous dependent and a predictor: weight, mean and sum of
// squared deviations by slot, updated case after case.
#pragma once

#include <cstdint>
#include <vector>

#include "module/feature_selection/dependent_scale.h"
#include "module/feature_selection/group_statistics.h"
#include "module/feature_selection/slot_finder.h"

namespace vlmfsl {

// The weights of a block's cases, by case.
struct CaseMasses {
  const double* mass;          // weight x count
  const double* relativeMass;  // mass / total weight
  const double* count;
  double totalWeight;
};

class GroupMeans {
 public:
  // dependentCount: the continuous dependents that are not cut, the first ones of the read list.
  void Prepare(const FeatureSelectionSettings& settings, const SlotFinder& finder, int dependentCount,
               std::size_t caseCapacity);

  std::size_t DependentCount() const { return pairs_.size(); }

  // The block's values of a dependent, which are scaled in place and read by every Update until the
  // next block. takesPart: by case. all: every case takes part. unitMass: every case has weight and
  // count 1.
  void StartBlock(const LaneBlock& block, std::size_t dependent, double* values,
                  const std::uint8_t* takesPart, bool all, bool unitMass);

  // Adds the cases of a part to the groups of `count` groups of lanes. slots: of the first of them;
  // those of the next one are slotStride entries further. masses: of the part. spare: of one
  // thread. Threads may work on different groups of lanes.
  using SpareTable = std::vector<GroupMoments>;
  void Update(const SlotFinder& finder, const LaneBlock& block, std::size_t part, std::size_t firstGroup,
              std::size_t count, const std::uint32_t* slots, std::size_t slotStride, const CaseMasses& masses,
              SpareTable& spare);
  // The entries of lanes without a predictor.
  static SpareTable MakeSpareTable() { return SpareTable(2 + kDirectCodes); }

  // To be called after the last block.
  void Finish();

  // order: of the predictor's slots by key. After Finish.
  OneWayResult Merge(std::size_t dependent, std::size_t predictor, const SlotFinder& finder,
                     const KeyOrder& order) const;

 private:
  // One dependent: an entry for each slot of each predictor.
  struct Pairs {
    std::vector<GroupMoments> intervals;           // of all tabled predictors in turn
    std::vector<std::vector<GroupMoments>> codes;  // by predictor; empty for a tabled one
    std::vector<GroupMoments*> tables;             // by predictor
    DependentScale scale;
    bool plain = true;  // only unit masses and finite values so far: the counts are not kept

    const double* values = nullptr;  // of the block
    // Of the block: the cases of each part that take part, counted from its first, part after part,
    // and where those of a part end.
    std::vector<std::uint16_t> cases;
    std::vector<std::size_t> ends;
    bool all = true;  // every case of the block takes part
  };

  static void KeepCounts(Pairs* pairs);
  void FitTables(const SlotFinder& finder, std::size_t firstPredictor, std::size_t count, Pairs* pairs);

  std::vector<Pairs> pairs_;  // by dependent
};

}  // namespace vlmfsl
