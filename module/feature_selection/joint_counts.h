// Counts several cross-tabulated dependents together, in one table of their joint classes for each
// predictor: one increment for each case in place of one for each dependent. Exact, because it is
// used only where every case has mass 1.
#pragma once

#include <cstdint>
#include <vector>

#include "module/feature_selection/cross_table.h"
#include "module/feature_selection/slot_finder.h"

namespace vlmfsl {

// A table for each pair of a cross-tabulated dependent and a predictor.
class CrossTables {
 public:
  void Prepare(std::size_t dependents, std::size_t predictors) {
    predictors_ = predictors;
    tables_.resize(dependents * predictors);
  }
  void Start(bool counting) {
    for (CrossTable& table : tables_) table.Start(counting);
  }
  CrossTable& At(std::size_t dependent, std::size_t predictor) {
    return tables_[dependent * predictors_ + predictor];
  }

 private:
  std::size_t predictors_ = 0;
  std::vector<CrossTable> tables_;
};

// Cross-tabulated dependents are numbered from 0.
class JointCounts {
 public:
  // tables: receives the counts when a predictor or a dependent leaves the joint tables.
  void Prepare(std::size_t predictors, std::size_t caseCapacity, std::size_t dependents, CrossTables* tables);

  // classOfCase: [dependent][caseCapacity], of the block. From time to time it decides which
  // dependents are counted together.
  void StartBlock(const std::vector<DependentClasses>& classes, const std::uint32_t* classOfCase,
                  std::size_t cases, std::size_t parts);
  // Counts the cases of a part for the predictors of a group of lanes. Threads may work on
  // different groups.
  void Count(const SlotFinder& finder, const LaneBlock& block, const BlockPart& part, std::size_t group,
             const std::uint32_t* slots);
  // Whether Count has counted the pair. If not, it is counted in the pair's own table.
  bool Has(std::size_t dependent, std::size_t predictor) const {
    const int set = setOf_[dependent];
    return set >= 0 && sets_[static_cast<std::size_t>(set)].leftOut[predictor] == 0;
  }

  // Moves a predictor's counts into the dependents' own tables.
  void Flush(std::size_t predictor);

 private:
  struct Set {
    std::vector<std::size_t> members;    // dependents
    std::vector<std::uint32_t> factors;  // of each member's class in the joint class
    std::vector<std::uint32_t> columns;  // classes that each member may have, no class included
    std::uint32_t jointClasses = 1;
    // By predictor: [slot][joint class]; empty when not counted here.
    std::vector<std::vector<std::uint32_t>> counts;
    std::vector<char> leftOut;  // by predictor: counted in the members' own tables
    std::vector<std::uint32_t> classOfCase;

    bool IsCounting() const { return !counts.empty() && !members.empty(); }
  };

  void Plan(const std::vector<DependentClasses>& classes);
  void Dissolve(Set* set);
  void FlushLane(Set* set, std::size_t predictor);
  void CountSet(Set* set, const SlotFinder& finder, const LaneBlock& block, const BlockPart& part,
                std::size_t group, const std::uint32_t* slots);

  CrossTables* tables_ = nullptr;
  std::size_t predictors_ = 0;
  std::size_t caseCapacity_ = 0;
  std::vector<Set> sets_;
  std::vector<int> setOf_;  // by dependent: its set, or -1
  std::size_t parts_ = 0;   // so far
  std::size_t nextPlan_ = 8;
};

}  // namespace vlmfsl
