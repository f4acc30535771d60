// The distinct values of many cells. While there are few of them, as with codes, a case costs one
// look-up and nothing is stored for it; if there are many, they are stored as they come and sorted
// at the end.
//
//   DistinctValues distinct;
//   for (const double value : column) distinct.Add(value);
//   const std::vector<double> ascending = std::move(distinct).Ascending();
#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace velmora {

// A set of doubles, up to a bound. Open addressing; a NaN marks a free slot, since no column holds
// one.
class ValueSet {
 public:
  explicit ValueSet(std::int64_t most) : slots_(64, std::bit_cast<double>(kFree)), most_(most) {}

  void Add(double value) {
    if (full_) return;
    if (value == 0) value = 0;  // both zeros are one value
    if (!Insert(value)) return;
    if (++count_ == most_) full_ = true;
    if (2 * static_cast<std::size_t>(count_) > slots_.size() && !full_) Grow();
  }
  std::int64_t Count() const { return count_; }
  bool Full() const { return full_; }

  template <class Visit>
  void ForEach(Visit visit) const {
    for (double value : slots_)
      if (std::bit_cast<std::uint64_t>(value) != kFree) visit(value);
  }

 private:
  static constexpr std::uint64_t kFree = 0x7ff8dead00000000U;

  bool Insert(double value) {
    const auto bits = std::bit_cast<std::uint64_t>(value);
    // Multiplicative hash; the high bits are the mixed ones.
    std::size_t slot = (bits * 0x9E3779B97F4A7C15U) >> (64 - std::countr_zero(slots_.size()));
    for (;; slot = (slot + 1) & (slots_.size() - 1)) {
      const auto held = std::bit_cast<std::uint64_t>(slots_[slot]);
      if (held == bits) return false;
      if (held == kFree) break;
    }
    slots_[slot] = value;
    return true;
  }
  void Grow() {
    std::vector<double> old(slots_.size() * 2, std::bit_cast<double>(kFree));
    old.swap(slots_);
    for (double value : old)
      if (std::bit_cast<std::uint64_t>(value) != kFree) Insert(value);
  }

  std::vector<double> slots_;
  std::int64_t most_;
  std::int64_t count_ = 0;
  bool full_ = false;
};

class DistinctValues {
 public:
  // value: a number. Both zeros are 0.
  void Add(double value) {
    if (!few_.Full()) return few_.Add(value);
    // Runs of one value are common in sorted files.
    if (more_.empty() || more_.back() != value) more_.push_back(value + 0.0);
  }

  std::vector<double> Ascending() && {
    few_.ForEach([&](double value) { more_.push_back(value); });
    std::sort(more_.begin(), more_.end());
    more_.erase(std::unique(more_.begin(), more_.end()), more_.end());
    more_.shrink_to_fit();  // it may have had room for every cell
    return std::move(more_);
  }

 private:
  ValueSet few_{1024};
  std::vector<double> more_;
};

}  // namespace velmora
