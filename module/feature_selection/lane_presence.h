// Which values of a block take part: those that are not missing and not cut off by casewise
// deletion. A case is processed in the order of the groups; with casewise deletion its first
// missing value ends it, and the values before stay.
#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

#include "base/tolerant.h"
#include "module/feature_selection/lane_block.h"
#include "module/feature_selection/vector_kernels.h"

namespace vlmfsl {

// Masks of the lanes of some groups, one per case of a part. Each thread has its own.
class PresenceRows {
 public:
  // Most groups that are processed together.
  static constexpr std::size_t kRows = kMostMomentGroups;
  static constexpr std::size_t kStride = kMostPartCases;

  std::uint16_t* At(std::size_t i) { return rows_.data() + i * kStride; }

 private:
  std::vector<std::uint16_t> rows_ = std::vector<std::uint16_t>(kRows * kStride);
};

class LanePresence {
 public:
  // codeOf(entry): missing-data code of an entry of the read list.
  template <class CodeOf>
  void Prepare(const LaneBlock& block, bool casewise, CodeOf&& codeOf) {
    casewise_ = casewise;
    missing_.resize(block.Groups().size());
    for (std::size_t g = 0; g < missing_.size(); ++g) {
      const LaneGroup& group = block.Groups()[g];
      for (int lane = 0; lane < kLanes; ++lane) {
        const vlm::MissingRange range =
            lane < group.lanes ? vlm::MissingRange(codeOf(group.firstEntry + lane)) : vlm::MissingRange{};
        missing_[g].first[lane] = range.low;
        missing_[g].last[lane] = range.high;
      }
    }
    alive_.resize(static_cast<std::size_t>(block.Capacity()));
  }

  // complete: null, or for each case whether all its dependents are present. With casewise deletion
  // an incomplete case reaches the block's very first lane and no further.
  void StartBlock(const std::uint8_t* complete, int cases) {
    complete_ = complete;
    broken_ = 0;
    if (casewise_) std::fill_n(alive_.begin(), cases, std::uint8_t{1});
  }

  // Forms the row of a group's values of a part. Returns true when all of them take part; the row
  // is then undefined. With casewise deletion the groups of a part are requested in order, by one
  // thread; otherwise in any, by several.
  bool Find(LaneValues values, const BlockPart& part, std::size_t group, std::uint16_t* row) {
    const bool whole = Kernels().presentLanes(values, part.cases, missing_[group], row);
    return casewise_ ? CutOff(row, part, group == 0, whole) : whole;
  }

  // With casewise deletion, after the last group: the number of cases that were processed to the
  // end.
  int WholeCases(int cases) const { return cases - broken_; }

 private:
  // Returns true, with the row as it is, when no case has been cut off so far.
  bool CutOff(std::uint16_t* row, const BlockPart& part, bool isFirstGroup, bool rowComplete) {
    const bool someIncomplete = isFirstGroup && complete_ != nullptr;
    if (rowComplete && broken_ == 0 && !someIncomplete) return true;
    if (rowComplete) std::fill_n(row, part.cases, std::uint16_t{kAllLanes});
    for (int i = 0; i < part.cases; ++i) {
      const std::size_t at = part.first + static_cast<std::size_t>(i);
      if (alive_[at] == 0) {
        row[i] = 0;
        continue;
      }
      const bool reachesAll = !(someIncomplete && complete_[at] == 0);
      const unsigned missing = static_cast<unsigned>(row[i]) ^ kAllLanes;
      if (missing != 0)
        // Lanes before the first.
        row[i] = static_cast<std::uint16_t>((missing & (0u - missing)) - 1u);
      if (!reachesAll) row[i] &= 1;
      if (missing != 0 || !reachesAll) {
        alive_[at] = 0;
        ++broken_;
      }
    }
    return broken_ == 0;
  }

  std::vector<MissingLanes> missing_;
  std::vector<std::uint8_t> alive_;  // by case of the block
  const std::uint8_t* complete_ = nullptr;
  int broken_ = 0;
  bool casewise_ = false;
};

}  // namespace vlmfsl
