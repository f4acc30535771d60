// The distinct values of many cells. While there are few of them, as of codes, a case costs one
// look-up and nothing is kept of it; many are kept as they come and sorted at the end.
//
//   DistinctValues distinct;
//   for (const double value : column) distinct.Add(value);
//   const std::vector<double> ascending = std::move(distinct).Ascending();
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "base/split_mix.h"

namespace velmora {

class DistinctValues {
 public:
  // value: a number. Both zeros are 0.
  void Add(double value) {
    value += 0.0;
    // Runs of one value are common: sorted files, and codes.
    if (!values_.empty() && values_.back() == value) return;
    if (isTable_) {
      std::size_t slot = vlm::MixBits(std::bit_cast<std::uint64_t>(value)) % kSlots;
      for (; slots_[slot] != 0; slot = (slot + 1) % kSlots) {
        if (values_[slots_[slot] - 1] == value) return;
      }
      isTable_ = values_.size() < kMostInTable;
      slots_[slot] = static_cast<std::uint16_t>(values_.size() + 1);
    }
    values_.push_back(value);
  }

  std::vector<double> Ascending() && {
    std::sort(values_.begin(), values_.end());
    values_.erase(std::unique(values_.begin(), values_.end()), values_.end());
    values_.shrink_to_fit();  // it may have had room for every cell
    return std::move(values_);
  }

 private:
  static constexpr std::size_t kSlots = 4096, kMostInTable = 1024;

  std::vector<double> values_;
  std::array<std::uint16_t, kSlots> slots_{};  // place in values_ + 1; 0: free
  bool isTable_ = true;
};

}  // namespace velmora
