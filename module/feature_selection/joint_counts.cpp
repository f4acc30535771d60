#include "module/feature_selection/joint_counts.h"

#include <algorithm>

namespace vlmfsl {

namespace {

// Most joint classes of dependents that are counted together.
constexpr std::uint32_t kMostJointClasses = 64;
// Most keys of a predictor whose dependents are counted together.
constexpr std::uint32_t kMostJointRows = 256;

}  // namespace

void JointCounts::Prepare(std::size_t predictors, std::size_t caseCapacity, std::size_t dependents,
                          CrossTables* tables) {
  tables_ = tables;
  predictors_ = predictors;
  caseCapacity_ = caseCapacity;
  setOf_.assign(dependents, -1);
}

void JointCounts::StartBlock(const std::vector<DependentClasses>& classes, const std::uint32_t* classOfCase,
                             std::size_t cases, std::size_t parts) {
  for (Set& set : sets_) {
    for (std::size_t m = 0; m < set.members.size(); ++m) {
      if (!set.counts.empty() && classes[set.members[m]].Columns() > set.columns[m]) Dissolve(&set);
    }
  }
  if (parts_ >= nextPlan_) Plan(classes);
  parts_ += parts;
  for (Set& set : sets_) {
    if (!set.IsCounting()) continue;
    std::fill(set.classOfCase.begin(), set.classOfCase.end(), 0u);
    for (std::size_t m = 0; m < set.members.size(); ++m) {
      const std::uint32_t* const ofMember = classOfCase + set.members[m] * caseCapacity_;
      for (std::size_t i = 0; i < cases; ++i) set.classOfCase[i] += ofMember[i] * set.factors[m];
    }
  }
}

// Which dependents are counted together is decided after some blocks have shown their classes, and
// again, ever more rarely, after a class has come up that no joint table has room for.
void JointCounts::Plan(const std::vector<DependentClasses>& classes) {
  nextPlan_ *= 8;
  for (std::size_t dependent = 0; dependent < classes.size(); ++dependent) {
    if (setOf_[dependent] >= 0) continue;
    const std::uint32_t columns = classes[dependent].Columns();
    const bool fits = !sets_.empty() && sets_.back().counts.empty() &&
                      sets_.back().jointClasses * columns <= kMostJointClasses;
    if (columns > kMostJointClasses / 2) continue;
    if (!fits) sets_.emplace_back();
    Set& set = sets_.back();
    set.members.push_back(dependent);
    set.factors.push_back(set.jointClasses);
    set.columns.push_back(columns);
    set.jointClasses *= columns;
  }
  for (std::size_t s = 0; s < sets_.size(); ++s) {
    Set& set = sets_[s];
    if (!set.counts.empty()) continue;
    set.counts.resize(predictors_);
    set.leftOut.assign(predictors_, 0);
    set.classOfCase.resize(caseCapacity_);
    for (const std::size_t dependent : set.members) setOf_[dependent] = static_cast<int>(s);
  }
}

void JointCounts::FlushLane(Set* set, std::size_t predictor) {
  std::vector<std::uint32_t>& counts = set->counts[predictor];
  const auto rows = static_cast<std::uint32_t>(counts.size() / set->jointClasses);
  for (std::size_t m = 0; m < set->members.size() && rows > 0; ++m) {
    CrossTable& table = tables_->At(set->members[m], predictor);
    table.Fit(rows, set->columns[m]);
    for (std::uint32_t row = 1; row < rows; ++row) {
      for (std::uint32_t joint = 0; joint < set->jointClasses; ++joint) {
        const std::uint32_t count = counts[std::size_t{row} * set->jointClasses + joint];
        const std::uint32_t column = joint / set->factors[m] % set->columns[m];
        if (count != 0 && column != 0) table.AddCount(row, column, count);
      }
    }
  }
  std::vector<std::uint32_t>().swap(counts);
}

void JointCounts::Flush(std::size_t predictor) {
  for (Set& set : sets_) {
    if (set.IsCounting()) FlushLane(&set, predictor);
  }
}

void JointCounts::Dissolve(Set* set) {
  for (std::size_t p = 0; p < predictors_; ++p) FlushLane(set, p);
  for (const std::size_t dependent : set->members) setOf_[dependent] = -1;
  set->members.clear();
}

void JointCounts::Count(const SlotFinder& finder, const LaneBlock& block, const BlockPart& part,
                        std::size_t group, const std::uint32_t* slots) {
  for (Set& set : sets_) {
    if (set.IsCounting()) CountSet(&set, finder, block, part, group, slots);
  }
}

// Four predictors in turn, so that no increment waits for the one before it.
void JointCounts::CountSet(Set* set, const SlotFinder& finder, const LaneBlock& block, const BlockPart& part,
                           std::size_t group, const std::uint32_t* slots) {
  constexpr std::size_t kAtOnce = 4;
  std::uint32_t* cells[kLanes];
  const std::uint32_t* slotsOfLane[kLanes];
  std::size_t counted = 0;
  const std::uint32_t width = set->jointClasses;
  for (int lane = 0; lane < block.Groups()[group].lanes; ++lane) {
    const std::size_t p = finder.PredictorAt(block, group, lane);
    if (set->leftOut[p] != 0) continue;
    const std::uint32_t rows = finder.Keys(p).Rows();
    if (rows > kMostJointRows) {
      FlushLane(set, p);
      set->leftOut[p] = 1;
      continue;
    }
    std::vector<std::uint32_t>& counts = set->counts[p];
    if (counts.size() < std::size_t{rows} * width) counts.resize(std::size_t{rows} * width);
    cells[counted] = counts.data();
    slotsOfLane[counted++] = slots + lane;
  }
  const auto cases = static_cast<std::size_t>(part.cases);
  const std::uint32_t* const classes = set->classOfCase.data() + part.first;
  std::size_t l = 0;
  for (; l + kAtOnce <= counted; l += kAtOnce) {
    for (std::size_t i = 0; i < cases; ++i) {
      for (std::size_t k = 0; k < kAtOnce; ++k) {
        ++cells[l + k][slotsOfLane[l + k][i * kLanes] * width + classes[i]];
      }
    }
  }
  for (; l < counted; ++l) {
    for (std::size_t i = 0; i < cases; ++i) ++cells[l][slotsOfLane[l][i * kLanes] * width + classes[i]];
  }
}

}  // namespace vlmfsl
