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

class LanePresence {
 public:
  // Most groups that are processed together.
  static constexpr std::size_t kRows = kMostMomentGroups;

  // codeOf(entry): missing-data code of an entry of the read list.
  template <class CodeOf>
  void Prepare(const LaneBlock& block, bool casewise, CodeOf&& codeOf) {
    casewise_ = casewise;
    stride_ = static_cast<std::size_t>(block.Capacity());
    missing_.resize(block.Groups().size());
    for (std::size_t g = 0; g < missing_.size(); ++g) {
      const LaneGroup& group = block.Groups()[g];
      for (int lane = 0; lane < kLanes; ++lane) {
        const vlm::MissingRange range =
            lane < group.lanes ? vlm::MissingRangeOf(codeOf(group.firstEntry + lane)) : vlm::MissingRange{};
        missing_[g].first[lane] = range.first;
        missing_[g].last[lane] = range.last;
      }
    }
    rows_.resize(stride_ * kRows);
    alive_.resize(stride_);
  }

  // complete: null, or for each case whether all its dependents are present. With casewise deletion
  // an incomplete case reaches the block's very first lane and no further.
  void StartBlock(const std::uint8_t* complete, int cases) {
    complete_ = complete;
    broken_ = 0;
    if (casewise_) std::fill_n(alive_.begin(), cases, std::uint8_t{1});
  }

  // Forms the rows of up to kRows groups; the groups of a block are requested in order. Returns
  // true when all values take part; the rows are then undefined.
  bool Find(const LaneBlock& block, std::size_t firstGroup, std::size_t groupCount) {
    bool all = true;
    bool whole[kRows];
    for (std::size_t i = 0; i < groupCount; ++i) {
      const std::size_t group = firstGroup + i;
      whole[i] = Kernels().presentLanes(block.GroupValues(group), block.Cases(), missing_[group], RowAt(i));
      if (casewise_) whole[i] = CutOff(RowAt(i), block.Cases(), group == 0, whole[i]);
      all = all && whole[i];
    }
    for (std::size_t i = 0; i < groupCount && !all; ++i) {
      if (whole[i]) std::fill_n(RowAt(i), block.Cases(), std::uint16_t{kAllLanes});
    }
    return all;
  }

  const std::uint16_t* Row(std::size_t i) const { return rows_.data() + i * stride_; }
  std::size_t Stride() const { return stride_; }

  // With casewise deletion, after the last group: the number of cases that were processed to the
  // end.
  int WholeCases(int cases) const { return cases - broken_; }

 private:
  std::uint16_t* RowAt(std::size_t i) { return rows_.data() + i * stride_; }

  // Returns true, with the row as it is, when no case has been cut off so far.
  bool CutOff(std::uint16_t* row, int cases, bool isFirstGroup, bool rowComplete) {
    const bool someIncomplete = isFirstGroup && complete_ != nullptr;
    if (rowComplete && broken_ == 0 && !someIncomplete) return true;
    if (rowComplete) std::fill_n(row, cases, std::uint16_t{kAllLanes});
    for (int i = 0; i < cases; ++i) {
      const auto at = static_cast<std::size_t>(i);
      if (alive_[at] == 0) {
        row[i] = 0;
        continue;
      }
      const bool reachesAll = !(someIncomplete && complete_[at] == 0);
      const unsigned missing = static_cast<unsigned>(row[i]) ^ kAllLanes;
      if (missing != 0)
        row[i] = static_cast<std::uint16_t>((missing & (0u - missing)) - 1u);  // lanes before the first
      if (!reachesAll) row[i] &= 1;
      if (missing != 0 || !reachesAll) {
        alive_[at] = 0;
        ++broken_;
      }
    }
    return broken_ == 0;
  }

  std::vector<MissingLanes> missing_;
  std::vector<std::uint16_t> rows_;
  std::vector<std::uint8_t> alive_;
  const std::uint8_t* complete_ = nullptr;
  std::size_t stride_ = 0;
  int broken_ = 0;
  bool casewise_ = false;
};

}  // namespace vlmfsl
