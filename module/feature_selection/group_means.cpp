#include "module/feature_selection/group_means.h"

#include <algorithm>

#include "module/feature_selection/vector_kernels.h"

namespace vlmfsl {

void GroupMeans::Prepare(const FeatureSelectionSettings& settings, const SlotFinder& finder,
                         int dependentCount, std::size_t caseCapacity) {
  std::size_t intervalRows = 0;
  for (std::size_t p = 0; p < finder.PredictorCount(); ++p) {
    if (finder.Keys(p).IsTabled()) intervalRows += finder.Keys(p).Rows();
  }
  pairs_.resize(static_cast<std::size_t>(dependentCount));
  for (std::size_t d = 0; d < pairs_.size(); ++d) {
    Pairs& pairs = pairs_[d];
    pairs.scale = ScaleOf(settings.dependentRanges[d]);
    pairs.intervals.resize(intervalRows);
    pairs.codes.resize(finder.PredictorCount());
    pairs.tables.resize(finder.PredictorCount());
    pairs.cases.reserve(caseCapacity);
    GroupMoments* next = pairs.intervals.data();
    for (std::size_t p = 0; p < finder.PredictorCount(); ++p) {
      if (!finder.Keys(p).IsTabled()) continue;
      pairs.tables[p] = next;
      next += finder.Keys(p).Rows();
    }
  }
}

void GroupMeans::StartBlock(const LaneBlock& block, std::size_t dependent, double* values,
                            const std::uint8_t* takesPart, bool all, bool unitMass) {
  const auto cases = static_cast<std::size_t>(block.Cases());
  Pairs& pairs = pairs_[dependent];
  pairs.values = values;
  pairs.all = all;
  if (!pairs.scale.IsIdentity()) {
    for (std::size_t i = 0; i < cases; ++i) values[i] = pairs.scale.Apply(values[i]);
  }
  bool finite = true;
  for (std::size_t i = 0; i < cases; ++i) finite = finite && values[i] - values[i] == 0.0;
  if (!unitMass || !finite) KeepCounts(&pairs);
  if (all) return;
  pairs.cases.clear();
  pairs.ends.clear();
  for (std::size_t p = 0; p < block.Parts(); ++p) {
    const BlockPart part = block.Part(p);
    for (int i = 0; i < part.cases; ++i) {
      if (takesPart[part.first + static_cast<std::size_t>(i)] != 0)
        pairs.cases.push_back(static_cast<std::uint16_t>(i));
    }
    pairs.ends.push_back(pairs.cases.size());
  }
}

// From now on the kernels keep the counts of the entries.
void GroupMeans::KeepCounts(Pairs* pairs) {
  if (!pairs->plain) return;
  pairs->plain = false;
  const auto keep = [](GroupMoments& entry) { entry.count = entry.weight; };
  std::for_each(pairs->intervals.begin(), pairs->intervals.end(), keep);
  for (std::vector<GroupMoments>& entries : pairs->codes) std::for_each(entries.begin(), entries.end(), keep);
}

// Makes room for codes that have come up.
void GroupMeans::FitTables(const SlotFinder& finder, std::size_t firstPredictor, std::size_t count,
                           Pairs* pairs) {
  for (std::size_t p = firstPredictor; p < firstPredictor + count; ++p) {
    if (finder.Keys(p).IsTabled()) continue;
    std::vector<GroupMoments>& entries = pairs->codes[p];
    const std::size_t rows = finder.Keys(p).Rows();
    if (entries.size() >= rows) continue;
    entries.resize(std::max(rows, entries.size() + entries.size() / 2));
    pairs->tables[p] = entries.data();
  }
}

void GroupMeans::Update(const SlotFinder& finder, const LaneBlock& block, std::size_t partNumber,
                        std::size_t firstGroup, std::size_t count, const std::uint32_t* slots,
                        std::size_t slotStride, const CaseMasses& masses, SpareTable& spare) {
  const VectorKernels& kernels = Kernels();
  const BlockPart part = block.Part(partNumber);
  for (Pairs& pairs : pairs_) {
    GroupMoments* tables[kMostLaneGroups][kLanes];
    LaneSlots groups[kMostLaneGroups];
    for (std::size_t i = 0; i < count; ++i) {
      const int lanes = block.Groups()[firstGroup + i].lanes;
      const std::size_t first = finder.PredictorAt(block, firstGroup + i, 0);
      FitTables(finder, first, static_cast<std::size_t>(lanes), &pairs);
      std::fill(std::copy_n(&pairs.tables[first], lanes, tables[i]), std::end(tables[i]), spare.data());
      groups[i] = {slots + i * slotStride, tables[i], lanes};
    }
    const std::size_t begin = pairs.all || partNumber == 0 ? 0 : pairs.ends[partNumber - 1];
    const GroupInput input{
        .dependent = pairs.values + part.first,
        .cases = pairs.all ? nullptr : pairs.cases.data() + begin,
        .caseCount = pairs.all ? part.cases : static_cast<int>(pairs.ends[partNumber] - begin),
        .mass = masses.mass,
        .relativeMass = masses.relativeMass,
        .count = masses.count,
        .totalWeight = masses.totalWeight};
    // Exactly 1: dividing by it changes nothing.
    const GroupUpdate update = pairs.plain               ? kernels.groupsPlain
                               : masses.totalWeight == 1 ? kernels.groupsCounted
                                                         : kernels.groupsWeighted;
    update(input, groups, static_cast<int>(count));
  }
}

void GroupMeans::Finish() {
  for (Pairs& pairs : pairs_) KeepCounts(&pairs);
}

OneWayResult GroupMeans::Merge(std::size_t dependent, std::size_t predictor, const SlotFinder& finder,
                               const KeyOrder& order) const {
  const Pairs& pairs = pairs_[dependent];
  if (pairs.tables[predictor] == nullptr) return {};
  const PredictorKeys& keys = finder.Keys(predictor);
  const std::size_t rows = keys.IsTabled() ? keys.Rows() : pairs.codes[predictor].size();
  return MergeGroups({pairs.tables[predictor], rows}, order.slots);
}

}  // namespace vlmfsl
