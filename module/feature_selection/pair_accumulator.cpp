#include "module/feature_selection/pair_accumulator.h"

#include <algorithm>
#include <numeric>

namespace vlmfsl {

namespace {

// Dependents are counted in one table of their joint classes while there are at most this many of these.
constexpr std::uint32_t kMostJointClasses = 64;
// And while a predictor has at most this many keys.
constexpr std::uint32_t kMostJointRows = 256;

}  // namespace

int PairAccumulator::Prepare(const CasePass& cases) {
  casewise_ = settings_.casewiseDeletion != 0;
  const int dependents = settings_.DependentCount();
  std::vector<LaneGroup> groups;
  AppendLaneGroups(dependents, settings_.nContinuousPredictors, &groups);
  AppendLaneGroups(dependents + settings_.nContinuousPredictors, settings_.nCategoricalPredictors, &groups);
  if (block_.Allocate(settings_.nReadVariables, std::move(groups)) != kOk) return kFailed;
  presence_.Prepare(block_, casewise_, [&](int entry) { return cases.MissingCode(entry); });
  for (int d = 0; d < dependents; ++d) missing_.push_back(vlm::MissingRangeOf(cases.MissingCode(d)));

  const auto predictors = static_cast<std::size_t>(settings_.PredictorCount());
  keys_.reserve(predictors);
  for (int p = 0; p < settings_.nContinuousPredictors; ++p) {
    keys_.emplace_back(settings_.predictorMoments[p], settings_.cutsContinuousPredictor);
  }
  keys_.resize(predictors);
  bounds_.resize(block_.Groups().size());
  for (std::size_t g = 0; g < bounds_.size(); ++g) {
    if (!keys_[PredictorAt(g, 0)].IsTabled()) continue;
    std::size_t most = 1;
    for (int lane = 0; lane < block_.Groups()[g].lanes; ++lane) {
      most = std::max(most, keys_[PredictorAt(g, lane)].Intervals().size());
    }
    // Nothing is above a bound of infinity: it fills up lanes with fewer intervals.
    bounds_[g].assign(std::max<std::size_t>(most - 1, 1) * kLanes, std::numeric_limits<double>::infinity());
    for (int lane = 0; lane < block_.Groups()[g].lanes; ++lane) {
      const std::vector<double>& intervals = keys_[PredictorAt(g, lane)].Intervals();
      for (std::size_t k = 0; k + 1 < intervals.size(); ++k) {
        bounds_[g][k * kLanes + static_cast<std::size_t>(lane)] = vlm::RaisedByTolerance(intervals[k]);
      }
    }
  }

  const auto capacity = static_cast<std::size_t>(block_.Capacity());
  mass_.resize(capacity);
  relativeMass_.resize(capacity);
  count_.resize(capacity);
  complete_.resize(capacity);
  others_.resize(capacity);
  slots_.resize(capacity * kLanes * kGroupsAtOnce);
  dependents_.resize(capacity * static_cast<std::size_t>(dependents));
  takesPart_.resize(capacity * static_cast<std::size_t>(dependents));
  dependentCases_.resize(static_cast<std::size_t>(dependents));
  dependentAll_.resize(static_cast<std::size_t>(dependents));

  const bool cutDependents = settings_.treatContinuousDependentAsCategorical != 0;
  firstCross_ = cutDependents ? 0 : settings_.nContinuousDependents;
  for (int d = firstCross_; d < settings_.nContinuousDependents; ++d) {
    classes_.emplace_back(settings_.dependentMoments[d], settings_.cutsContinuousDependent);
  }
  classes_.resize(static_cast<std::size_t>(dependents - firstCross_));
  classOfCase_.resize(capacity * classes_.size());
  jointSetOf_.assign(classes_.size(), -1);
  tables_.resize(classes_.size() * predictors);

  spareTable_.resize(2 + kDirectCodes);
  groupPairs_.resize(static_cast<std::size_t>(firstCross_));
  for (std::size_t d = 0; d < groupPairs_.size(); ++d)
    scales_.push_back(ScaleOf(settings_.dependentRanges[d]));
  std::size_t intervalRows = 0;
  for (const PredictorKeys& keys : keys_) intervalRows += keys.IsTabled() ? keys.Rows() : 0;
  for (GroupPairs& pairs : groupPairs_) {
    pairs.intervals.resize(intervalRows);
    pairs.codes.resize(predictors);
    pairs.tables.resize(predictors);
    pairs.cases.resize(capacity);
    GroupMoments* next = pairs.intervals.data();
    for (std::size_t p = 0; p < predictors; ++p) {
      if (!keys_[p].IsTabled()) continue;
      pairs.tables[p] = next;
      next += keys_[p].Rows();
    }
  }
  return kOk;
}

void PairAccumulator::Accept(bool weighted, double weight, double count) {
  if (block_.Cases() == 0 && blocksTreated_ == 0) {
    plain_ = !weighted && settings_.useCountVariable == 0;
    for (CrossTable& table : tables_) table.Start(plain_);
    if (!plain_) pairCases_.resize(missing_.size() * keys_.size());
  }
  const auto at = static_cast<std::size_t>(block_.Cases());
  const auto capacity = static_cast<std::size_t>(block_.Capacity());
  mass_[at] = count * weight;
  relativeMass_[at] = mass_[at] / settings_.totalWeight;
  count_[at] = count;
  for (std::size_t d = 0; d < missing_.size(); ++d) dependents_[d * capacity + at] = block_.Entries()[d];
  block_.Append();
  if (block_.Full()) TreatBlock();
}

void PairAccumulator::Flush() {
  if (block_.Cases() > 0) TreatBlock();
  for (GroupPairs& pairs : groupPairs_) KeepCounts(&pairs);
}

void PairAccumulator::TreatBlock() {
  TreatDependents();
  for (std::size_t group = 0; group < block_.Groups().size(); group += kGroupsAtOnce) {
    TreatGroups(group, std::min(kGroupsAtOnce, block_.Groups().size() - group));
  }
  validCases_ += casewise_ ? presence_.WholeCases(block_.Cases()) : block_.Cases();
  block_.Clear();
  ++blocksTreated_;
}

void PairAccumulator::TreatDependents() {
  const auto capacity = static_cast<std::size_t>(block_.Capacity());
  const int cases = block_.Cases();
  const auto size = static_cast<std::size_t>(cases);
  std::fill_n(complete_.begin(), size, std::uint8_t{1});
  bool allComplete = true;
  for (std::size_t d = 0; d < missing_.size(); ++d) {
    double* const values = &dependents_[d * capacity];
    std::uint8_t* const takesPart = &takesPart_[d * capacity];
    const vlm::MissingRange missing = missing_[d];
    int absent = 0;
    for (std::size_t i = 0; i < size; ++i) absent += missing.Contains(values[i]) ? 1 : 0;
    const bool all = absent == 0 && (allComplete || !casewise_);
    if (all) {
      std::fill_n(takesPart, size, std::uint8_t{1});
    } else {
      for (std::size_t i = 0; i < size; ++i) {
        const bool present = !missing.Contains(values[i]);
        complete_[i] = static_cast<std::uint8_t>(complete_[i] & (present ? 1 : 0));
        // Casewise, a case ends at its first missing dependent.
        takesPart[i] = casewise_ ? complete_[i] : static_cast<std::uint8_t>(present);
      }
    }
    allComplete = allComplete && all;
    dependentAll_[d] = all ? 1 : 0;
    dependentCases_[d] += cases - absent;
    if (d >= groupPairs_.size()) {
      const std::size_t cross = d - groupPairs_.size();
      classes_[cross].Find(values, takesPart, cases, &classOfCase_[cross * capacity]);
      continue;
    }
    GroupPairs& pairs = groupPairs_[d];
    pairs.all = all;
    if (!scales_[d].IsIdentity()) {
      for (std::size_t i = 0; i < size; ++i) values[i] = scales_[d].Apply(values[i]);
    }
    bool finite = true;
    for (std::size_t i = 0; i < size; ++i) finite = finite && values[i] - values[i] == 0.0;
    if (!plain_ || !finite) KeepCounts(&pairs);
    if (all) continue;
    pairs.cases.clear();
    for (std::size_t i = 0; i < size; ++i) {
      if (takesPart[i] != 0) pairs.cases.push_back(static_cast<std::uint16_t>(i));
    }
  }
  presence_.StartBlock(casewise_ && !allComplete ? complete_.data() : nullptr, cases);
  if (plain_) FindJointClasses();
}

// Which dependents are counted together is decided when some blocks have shown their classes, and again, ever more
// rarely, when a class has come up that no joint table has room for.
void PairAccumulator::PlanJointSets() {
  nextPlan_ *= 8;
  for (std::size_t cross = 0; cross < classes_.size(); ++cross) {
    if (jointSetOf_[cross] >= 0) continue;
    const std::uint32_t columns = classes_[cross].Columns();
    const bool fits = !jointSets_.empty() && jointSets_.back().counts.empty() &&
                      jointSets_.back().jointClasses * columns <= kMostJointClasses;
    if (columns > kMostJointClasses / 2) continue;
    if (!fits) jointSets_.emplace_back();
    JointSet& set = jointSets_.back();
    set.members.push_back(cross);
    set.factors.push_back(set.jointClasses);
    set.columns.push_back(columns);
    set.jointClasses *= columns;
  }
  for (std::size_t s = 0; s < jointSets_.size(); ++s) {
    JointSet& set = jointSets_[s];
    if (!set.counts.empty()) continue;
    set.counts.resize(keys_.size());
    set.leftOut.assign(keys_.size(), 0);
    set.classOfCase.resize(static_cast<std::size_t>(block_.Capacity()));
    for (const std::size_t cross : set.members) jointSetOf_[cross] = static_cast<int>(s);
  }
}

// Moves what a predictor has in a joint table into the members' own tables.
void PairAccumulator::FlushJointLane(JointSet* set, std::size_t predictor) {
  std::vector<std::uint32_t>& counts = set->counts[predictor];
  const auto rows = static_cast<std::uint32_t>(counts.size() / set->jointClasses);
  for (std::size_t m = 0; m < set->members.size() && rows > 0; ++m) {
    CrossTable& table = tables_[CrossIndex(set->members[m], predictor)];
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

void PairAccumulator::DissolveJointSet(JointSet* set) {
  for (std::size_t p = 0; p < keys_.size(); ++p) FlushJointLane(set, p);
  for (const std::size_t cross : set->members) jointSetOf_[cross] = -1;
  set->members.clear();
}

void PairAccumulator::FindJointClasses() {
  const auto capacity = static_cast<std::size_t>(block_.Capacity());
  for (JointSet& set : jointSets_) {
    for (std::size_t m = 0; m < set.members.size(); ++m) {
      if (!set.counts.empty() && classes_[set.members[m]].Columns() > set.columns[m]) {
        DissolveJointSet(&set);
      }
    }
  }
  if (blocksTreated_ >= nextPlan_) PlanJointSets();
  for (JointSet& set : jointSets_) {
    if (set.counts.empty() || set.members.empty()) continue;
    std::fill(set.classOfCase.begin(), set.classOfCase.end(), 0u);
    for (std::size_t m = 0; m < set.members.size(); ++m) {
      const std::uint32_t* const classes = &classOfCase_[set.members[m] * capacity];
      for (std::size_t i = 0; i < static_cast<std::size_t>(block_.Cases()); ++i) {
        set.classOfCase[i] += classes[i] * set.factors[m];
      }
    }
  }
}

void PairAccumulator::TreatGroups(std::size_t firstGroup, std::size_t count) {
  for (std::size_t i = 0; i < kGroupsAtOnce; ++i) block_.AskAhead(firstGroup + kGroupsAtOnce + i);
  const bool complete = presence_.Find(block_, firstGroup, count);
  for (std::size_t i = 0; i < count; ++i) {
    const std::uint16_t* const present = complete ? nullptr : presence_.Row(i);
    if (FindSlots(firstGroup + i, present, SlotsAt(i))) FindOtherSlots(firstGroup + i, SlotsAt(i));
    if (!classes_.empty()) UpdateCrossTables(firstGroup + i, SlotsAt(i));
    if (!plain_) CountPairCases(firstGroup + i, present);
  }
  if (!groupPairs_.empty()) UpdateGroupMeans(firstGroup, count);
}

// Returns true when some slots are left to FindOtherSlots.
bool PairAccumulator::FindSlots(std::size_t group, const std::uint16_t* present, std::uint32_t* slots) {
  const VectorKernels& kernels = Kernels();
  const LaneValues values = block_.GroupValues(group);
  const PredictorKeys& first = keys_[PredictorAt(group, 0)];
  if (first.IsTabled()) {
    kernels.intervalSlots(values, block_.Cases(), bounds_[group].data(),
                          static_cast<int>(bounds_[group].size() / kLanes), present, slots);
    return false;
  }
  if (first.IsCode()) {
    return kernels.codeSlots(values, block_.Cases(), present, slots, others_.data());
  }
  std::fill_n(slots, static_cast<std::size_t>(block_.Cases()) * kLanes, 0u);
  for (std::size_t i = 0; i < static_cast<std::size_t>(block_.Cases()); ++i) {
    others_[i] = present == nullptr ? std::uint16_t{kAllLanes} : present[i];
  }
  return true;
}

void PairAccumulator::FindOtherSlots(std::size_t group, std::uint32_t* slots) {
  const LaneValues values = block_.GroupValues(group);
  const auto cases = static_cast<std::size_t>(block_.Cases());
  for (int lane = 0; lane < block_.Groups()[group].lanes; ++lane) {
    PredictorKeys& keys = keys_[PredictorAt(group, lane)];
    const auto at = static_cast<std::size_t>(lane);
    const double* const ofLane = values.first + lane;
    const unsigned bit = 1u << lane;
    if (keys.IsCode()) {
      for (std::size_t i = 0; i < cases; ++i) {
        if ((others_[i] & bit) != 0) keys.Prefetch(ofLane[i * values.caseStride]);
      }
    }
    for (std::size_t i = 0; i < cases; ++i) {
      if ((others_[i] & bit) != 0) slots[i * kLanes + at] = keys.SlotOfOther(ofLane[i * values.caseStride]);
    }
  }
}

// From here on the entries' counts are kept.
void PairAccumulator::KeepCounts(GroupPairs* pairs) {
  if (!pairs->plain) return;
  pairs->plain = false;
  const auto keep = [](GroupMoments& entry) { entry.count = entry.weight; };
  std::for_each(pairs->intervals.begin(), pairs->intervals.end(), keep);
  for (std::vector<GroupMoments>& entries : pairs->codes) std::for_each(entries.begin(), entries.end(), keep);
}

void PairAccumulator::UpdateGroupMeans(std::size_t firstGroup, std::size_t count) {
  const VectorKernels& kernels = Kernels();
  const auto capacity = static_cast<std::size_t>(block_.Capacity());
  for (std::size_t d = 0; d < groupPairs_.size(); ++d) {
    GroupPairs& pairs = groupPairs_[d];
    GroupMoments* tables[kGroupsAtOnce][kLanes];
    LaneSlots groups[kGroupsAtOnce];
    for (std::size_t i = 0; i < count; ++i) {
      const int lanes = block_.Groups()[firstGroup + i].lanes;
      const std::size_t first = PredictorAt(firstGroup + i, 0);
      for (std::size_t p = first; p < first + static_cast<std::size_t>(lanes); ++p) {
        if (keys_[p].IsTabled()) continue;
        std::vector<GroupMoments>& entries = pairs.codes[p];
        const std::size_t rows = keys_[p].Rows();
        if (entries.size() >= rows) continue;
        entries.resize(std::max(rows, entries.size() + entries.size() / 2));
        pairs.tables[p] = entries.data();
      }
      std::fill(std::copy_n(&pairs.tables[first], lanes, tables[i]), std::end(tables[i]), spareTable_.data());
      groups[i] = {SlotsAt(i), tables[i], lanes};
    }
    GroupInput input{};
    input.dependent = &dependents_[d * capacity];
    input.cases = pairs.all ? nullptr : pairs.cases.data();
    input.caseCount = pairs.all ? block_.Cases() : static_cast<int>(pairs.cases.size());
    input.mass = mass_.data();
    input.relativeMass = relativeMass_.data();
    input.count = count_.data();
    input.totalWeight = settings_.totalWeight;
    // Exactly 1: dividing by it changes nothing.
    const GroupUpdate update = pairs.plain                    ? kernels.groupsPlain
                               : settings_.totalWeight == 1.0 ? kernels.groupsCounted
                                                              : kernels.groupsWeighted;
    update(input, groups, static_cast<int>(count));
  }
}

// Four predictors in turn: a counter that was just raised is not waited for.
void PairAccumulator::CountJointClasses(JointSet* set, std::size_t group, const std::uint32_t* slotsOfGroup) {
  constexpr std::size_t kAtOnce = 4;
  std::uint32_t* cells[kLanes];
  const std::uint32_t* slots[kLanes];
  std::size_t counted = 0;
  const std::uint32_t width = set->jointClasses;
  for (int lane = 0; lane < block_.Groups()[group].lanes; ++lane) {
    const std::size_t p = PredictorAt(group, lane);
    if (set->leftOut[p] != 0) continue;
    const std::uint32_t rows = keys_[p].Rows();
    if (rows > kMostJointRows) {
      FlushJointLane(set, p);
      set->leftOut[p] = 1;
      continue;
    }
    std::vector<std::uint32_t>& counts = set->counts[p];
    if (counts.size() < std::size_t{rows} * width) counts.resize(std::size_t{rows} * width);
    cells[counted] = counts.data();
    slots[counted++] = slotsOfGroup + lane;
  }
  const auto cases = static_cast<std::size_t>(block_.Cases());
  const std::uint32_t* const classes = set->classOfCase.data();
  std::size_t l = 0;
  for (; l + kAtOnce <= counted; l += kAtOnce) {
    for (std::size_t i = 0; i < cases; ++i) {
      for (std::size_t k = 0; k < kAtOnce; ++k) ++cells[l + k][slots[l + k][i * kLanes] * width + classes[i]];
    }
  }
  for (; l < counted; ++l) {
    for (std::size_t i = 0; i < cases; ++i) ++cells[l][slots[l][i * kLanes] * width + classes[i]];
  }
}

// present: null when every value of the group takes part.
void PairAccumulator::CountPairCases(std::size_t group, const std::uint16_t* present) {
  const auto capacity = static_cast<std::size_t>(block_.Capacity());
  const auto cases = static_cast<std::size_t>(block_.Cases());
  const std::size_t first = PredictorAt(group, 0);
  const auto lanes = static_cast<std::size_t>(block_.Groups()[group].lanes);
  for (std::size_t d = 0; d < missing_.size(); ++d) {
    const std::uint8_t* const takesPart = &takesPart_[d * capacity];
    std::uint16_t counts[kLanes] = {};
    if (present == nullptr) {
      const int all =
          dependentAll_[d] != 0 ? block_.Cases() : std::accumulate(takesPart, takesPart + cases, 0);
      std::fill(std::begin(counts), std::end(counts), static_cast<std::uint16_t>(all));
    } else {
      for (std::size_t i = 0; i < cases; ++i) {
        const unsigned used = takesPart[i] != 0 ? present[i] : 0u;
        for (unsigned lane = 0; lane < kLanes; ++lane) counts[lane] += (used & (1u << lane)) != 0 ? 1 : 0;
      }
    }
    for (std::size_t lane = 0; lane < lanes; ++lane)
      pairCases_[d * keys_.size() + first + lane] += counts[lane];
  }
}

void PairAccumulator::UpdateCrossTables(std::size_t group, const std::uint32_t* slotsOfGroup) {
  for (JointSet& set : jointSets_) {
    if (!set.counts.empty() && !set.members.empty()) CountJointClasses(&set, group, slotsOfGroup);
  }
  const auto capacity = static_cast<std::size_t>(block_.Capacity());
  for (std::size_t cross = 0; cross < classes_.size(); ++cross) {
    const int set = jointSetOf_[cross];
    for (int lane = 0; lane < block_.Groups()[group].lanes; ++lane) {
      const std::size_t p = PredictorAt(group, lane);
      if (set >= 0 && jointSets_[static_cast<std::size_t>(set)].leftOut[p] == 0) continue;
      CrossTable& table = tables_[CrossIndex(cross, p)];
      table.Fit(keys_[p].Rows(), classes_[cross].Columns());
      table.Add(slotsOfGroup + lane, &classOfCase_[cross * capacity], plain_ ? nullptr : mass_.data(),
                block_.Cases());
    }
  }
}

void PairAccumulator::StartPredictor(int predictorIndex) {
  predictor_ = static_cast<std::size_t>(predictorIndex);
  rowOrder_ = std::make_unique<KeyOrder>(keys_[predictor_].Order());
  for (JointSet& set : jointSets_) {
    if (!set.counts.empty() && !set.members.empty()) FlushJointLane(&set, predictor_);
  }
  if (columnOrders_.empty()) {
    for (const DependentClasses& classes : classes_) columnOrders_.push_back(classes.Order());
  }
}

OneWayResult PairAccumulator::OneWay(int dependentIndex) const {
  const GroupPairs& pairs = groupPairs_[static_cast<std::size_t>(dependentIndex)];
  if (pairs.tables[predictor_] == nullptr) return {};
  const std::size_t rows =
      keys_[predictor_].IsTabled() ? keys_[predictor_].Rows() : pairs.codes[predictor_].size();
  return MergeGroups({pairs.tables[predictor_], rows}, rowOrder_->slots);
}

int PairAccumulator::UsedCases(int dependentIndex, double mass) const {
  if (plain_) return static_cast<int>(mass);
  return pairCases_[static_cast<std::size_t>(dependentIndex) * keys_.size() + predictor_];
}

ChiSquareResult PairAccumulator::Cross(int dependentIndex) {
  const auto cross = static_cast<std::size_t>(dependentIndex - firstCross_);
  return chiSquare_.Form(tables_[CrossIndex(cross, predictor_)], rowOrder_->ranks,
                         columnOrders_[cross].ranks);
}

}  // namespace vlmfsl
