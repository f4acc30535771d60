#include "module/feature_selection/pair_accumulator.h"

#include <algorithm>
#include <numeric>

namespace vlmfsl {

int PairAccumulator::Prepare(const CasePass& cases) {
  cases_ = &cases;
  casewise_ = settings_.casewiseDeletion != 0;
  const int dependentCount = settings_.DependentCount();
  std::vector<LaneGroup> groups;
  AppendLaneGroups(dependentCount, settings_.nContinuousPredictors, &groups);
  AppendLaneGroups(dependentCount + settings_.nContinuousPredictors, settings_.nCategoricalPredictors,
                   &groups);
  if (cases.Prepare(&block_, std::move(groups), kMostPartCases) != kOk) return kFailed;
  bundles_ = Bundles(block_.Groups().size(), kGroupsAtOnce, cases.Workers());
  for (int worker = 0; worker < cases.Workers(); ++worker) workers_.push_back(std::make_unique<Worker>());
  presence_.Prepare(block_, casewise_, [&](int entry) { return cases.MissingCode(entry); });
  finder_.Prepare(settings_, block_);

  const std::size_t capacity = Capacity();
  mass_.resize(capacity);
  relativeMass_.resize(capacity);
  count_.resize(capacity);
  complete_.resize(capacity);

  dependents_.resize(static_cast<std::size_t>(dependentCount));
  for (int d = 0; d < dependentCount; ++d) {
    dependents_[static_cast<std::size_t>(d)].missing = vlm::MissingRange(cases.MissingCode(d));
  }
  values_.resize(capacity * dependents_.size());
  takesPart_.resize(capacity * dependents_.size());

  firstCross_ = settings_.treatContinuousDependentAsCategorical != 0 ? 0 : settings_.nContinuousDependents;
  means_.Prepare(settings_, finder_, firstCross_, capacity);
  for (int d = firstCross_; d < settings_.nContinuousDependents; ++d) {
    classes_.emplace_back(settings_.dependentMoments[d], settings_.cutsContinuousDependent);
  }
  classes_.resize(static_cast<std::size_t>(dependentCount - firstCross_));
  classOfCase_.resize(capacity * classes_.size());
  tables_.Prepare(classes_.size(), finder_.PredictorCount());
  joint_.Prepare(finder_.PredictorCount(), capacity, classes_.size(), &tables_);
  return kOk;
}

void PairAccumulator::Accept(bool weighted, double weight, double count) {
  if (isFirstCase_) {
    isFirstCase_ = false;
    unitMass_ = !weighted && settings_.useCountVariable == 0;
    tables_.Start(unitMass_);
    if (!unitMass_) pairCases_.resize(dependents_.size() * finder_.PredictorCount());
  }
  const auto at = static_cast<std::size_t>(block_.Cases());
  mass_[at] = count * weight;
  relativeMass_[at] = mass_[at] / settings_.totalWeight;
  count_[at] = count;
  for (std::size_t d = 0; d < dependents_.size(); ++d)
    values_[d * Capacity() + at] = block_.Entry(static_cast<int>(d));
  block_.Append();
}

bool PairAccumulator::ProcessBlock() {
  ProcessDependents();
  const auto processBundle = [&](int index, int worker) {
    const auto [first, count] = bundles_[static_cast<std::size_t>(index)];
    for (std::size_t part = 0; part < block_.Parts(); ++part)
      ProcessGroups(first, count, part, *workers_[static_cast<std::size_t>(worker)]);
  };
  if (!cases_->ForEach(static_cast<int>(bundles_.size()), processBundle)) return false;
  validCases_ += casewise_ ? presence_.WholeCases(block_.Cases()) : block_.Cases();
  block_.Clear();
  return true;
}

void PairAccumulator::ProcessDependents() {
  const auto cases = static_cast<std::size_t>(block_.Cases());
  std::fill_n(complete_.begin(), cases, std::uint8_t{1});
  bool allComplete = true;
  for (std::size_t d = 0; d < dependents_.size(); ++d) {
    allComplete = FindCasesTakingPart(d, allComplete) && allComplete;
    double* const values = &values_[d * Capacity()];
    const std::uint8_t* const takesPart = &takesPart_[d * Capacity()];
    if (d < means_.DependentCount()) {
      means_.StartBlock(block_, d, values, takesPart, dependents_[d].all, unitMass_);
    } else {
      const std::size_t cross = d - means_.DependentCount();
      classes_[cross].Find(values, takesPart, block_.Cases(), &classOfCase_[cross * Capacity()]);
    }
  }
  presence_.StartBlock(casewise_ && !allComplete ? complete_.data() : nullptr, block_.Cases());
  if (unitMass_) joint_.StartBlock(classes_, classOfCase_.data(), cases, block_.Parts());
}

// Finds the block's cases that take part with a dependent; casewise, a case ends at its first
// missing one. earlierComplete: no dependent before this one is missing in the block. Returns
// whether all take part.
bool PairAccumulator::FindCasesTakingPart(std::size_t dependent, bool earlierComplete) {
  Dependent& d = dependents_[dependent];
  const auto cases = static_cast<std::size_t>(block_.Cases());
  const double* const values = &values_[dependent * Capacity()];
  std::uint8_t* const takesPart = &takesPart_[dependent * Capacity()];
  int absent = 0;
  for (std::size_t i = 0; i < cases; ++i) absent += d.missing.Contains(values[i]) ? 1 : 0;
  d.cases += block_.Cases() - absent;
  d.all = absent == 0 && (earlierComplete || !casewise_);
  if (d.all) {
    std::fill_n(takesPart, cases, std::uint8_t{1});
    return true;
  }
  for (std::size_t i = 0; i < cases; ++i) {
    const bool present = !d.missing.Contains(values[i]);
    complete_[i] = static_cast<std::uint8_t>(complete_[i] & (present ? 1 : 0));
    takesPart[i] = casewise_ ? complete_[i] : static_cast<std::uint8_t>(present);
  }
  return false;
}

void PairAccumulator::ProcessGroups(std::size_t firstGroup, std::size_t count, std::size_t partNumber,
                                    Worker& worker) {
  const BlockPart part = block_.Part(partNumber);
  for (std::size_t i = 0; i < kGroupsAtOnce; ++i) block_.Prefetch(firstGroup + kGroupsAtOnce + i);
  for (std::size_t i = 0; i < count; ++i) {
    const std::size_t group = firstGroup + i;
    const LaneValues values = block_.GroupValues(group, part, worker.tiles.At(0));
    const bool complete = presence_.Find(values, part, group, worker.rows.At(0));
    const std::uint16_t* const present = complete ? nullptr : worker.rows.At(0);
    std::uint32_t* const slots = worker.slots.data() + i * kSlotStride;
    finder_.Find(block_, group, values, part.cases, present, worker.others.data(), slots);
    if (!classes_.empty()) UpdateCrossTables(group, part, slots);
    if (!unitMass_) CountPairCases(group, part, present);
  }
  if (means_.DependentCount() == 0) return;
  const CaseMasses masses = {mass_.data() + part.first, relativeMass_.data() + part.first,
                             count_.data() + part.first, settings_.totalWeight};
  means_.Update(finder_, block_, partNumber, firstGroup, count, worker.slots.data(), kSlotStride, masses,
                worker.spare);
}

void PairAccumulator::UpdateCrossTables(std::size_t group, const BlockPart& part,
                                        const std::uint32_t* slots) {
  joint_.Count(finder_, block_, part, group, slots);
  for (std::size_t cross = 0; cross < classes_.size(); ++cross) {
    for (int lane = 0; lane < block_.Groups()[group].lanes; ++lane) {
      const std::size_t p = finder_.PredictorAt(block_, group, lane);
      if (joint_.Has(cross, p)) continue;
      CrossTable& table = tables_.At(cross, p);
      table.Fit(finder_.Keys(p).Rows(), classes_[cross].Columns());
      table.Add(slots + lane, &classOfCase_[cross * Capacity() + part.first],
                unitMass_ ? nullptr : mass_.data() + part.first, part.cases);
    }
  }
}

// present: null when every value of the group takes part.
void PairAccumulator::CountPairCases(std::size_t group, const BlockPart& part, const std::uint16_t* present) {
  const auto cases = static_cast<std::size_t>(part.cases);
  const std::size_t first = finder_.PredictorAt(block_, group, 0);
  const auto lanes = static_cast<std::size_t>(block_.Groups()[group].lanes);
  for (std::size_t d = 0; d < dependents_.size(); ++d) {
    const std::uint8_t* const takesPart = &takesPart_[d * Capacity() + part.first];
    std::uint16_t counts[kLanes] = {};
    if (present == nullptr) {
      const int all = dependents_[d].all ? part.cases : std::accumulate(takesPart, takesPart + cases, 0);
      std::fill(std::begin(counts), std::end(counts), static_cast<std::uint16_t>(all));
    } else {
      for (std::size_t i = 0; i < cases; ++i) {
        const unsigned used = takesPart[i] != 0 ? present[i] : 0u;
        for (unsigned lane = 0; lane < kLanes; ++lane) counts[lane] += (used & (1u << lane)) != 0 ? 1 : 0;
      }
    }
    int* const pairCases = &pairCases_[d * finder_.PredictorCount() + first];
    for (std::size_t lane = 0; lane < lanes; ++lane) pairCases[lane] += counts[lane];
  }
}

void PairAccumulator::StartPredictor(int predictorIndex) {
  predictor_ = static_cast<std::size_t>(predictorIndex);
  rowOrder_ = std::make_unique<KeyOrder>(finder_.Keys(predictor_).Order());
  joint_.Flush(predictor_);
  if (columnOrders_.empty()) {
    for (const DependentClasses& classes : classes_) columnOrders_.push_back(classes.Order());
  }
}

OneWayResult PairAccumulator::OneWay(int dependentIndex) const {
  return means_.Merge(static_cast<std::size_t>(dependentIndex), predictor_, finder_, *rowOrder_);
}

std::optional<ChiSquareResult> PairAccumulator::Cross(int dependentIndex,
                                                      const std::function<bool()>& isStopped) {
  const auto cross = static_cast<std::size_t>(dependentIndex - firstCross_);
  return chiSquare_.Form(tables_.At(cross, predictor_), rowOrder_->ranks, columnOrders_[cross].ranks,
                         isStopped);
}

int PairAccumulator::UsedCases(int dependentIndex, double mass) const {
  if (unitMass_) return static_cast<int>(mass);
  return pairCases_[static_cast<std::size_t>(dependentIndex) * finder_.PredictorCount() + predictor_];
}

}  // namespace vlmfsl
