// A block of accepted cases, into which the host also writes the case being read: row after row,
// each with the values of the read list. A vector operation works on several variables at once,
// each of which sees its cases in order.
#pragma once

#include <algorithm>
#include <cstdint>
#include <utility>
#include <vector>

#include "module/feature_selection/vector_kernels.h"
#include "module/frame/host_array.h"

namespace vlmfsl {

// Up to sixteen adjacent entries of the read list.
struct LaneGroup {
  int firstEntry;  // of the read list, from 0
  int lanes;       // 1 to 16; the other lanes hold arbitrary values
};

// Splits `count` entries from firstEntry on into groups, all but the last of them full.
inline void AppendLaneGroups(int firstEntry, int count, std::vector<LaneGroup>* groups) {
  for (int at = 0; at < count; at += kLanes)
    groups->push_back({firstEntry + at, std::min(kLanes, count - at)});
}

class LaneBlock {
 public:
  explicit LaneBlock(vlm::IEngineServices& services) : memory_(services) {}

  // Makes room for up to 128 cases of entryCount values, fewer the wider they are, so that the
  // block stays in a near cache together with the host's own.
  [[nodiscard]] int Allocate(int entryCount, std::vector<LaneGroup> groups) {
    groups_ = std::move(groups);
    // Reading may begin one value before a case, and a group's lanes may extend past its end.
    caseStride_ = OddLines(static_cast<std::uint64_t>(entryCount) + 1);
    capacity_ = static_cast<int>(std::clamp(kTargetDoubles / caseStride_, kFewestCases, kMostCases) &
                                 ~std::uint64_t{3});
    // The first group starts on a cache line.
    const auto shift = groups_.empty() ? 0 : static_cast<std::uint64_t>(groups_[0].firstEntry) % kLine;
    const int result = Take(caseStride_ * static_cast<std::uint64_t>(capacity_), shift);
    reading_ = values_;
    return result;
  }

  // Where the next case is read: the value of the read list's entry i goes to Reading()[i + 1], as
  // the host counts.
  double* Reading() { return reading_ - 1; }
  // The values of the case that was read; entry i at [i].
  const double* Entries() const { return reading_; }
  // Keeps it in the block, which must not be full.
  void Append() {
    reading_ += caseStride_;
    ++cases_;
  }
  void Clear() {
    cases_ = 0;
    reading_ = values_;
  }

  int Capacity() const { return capacity_; }
  int Cases() const { return cases_; }
  bool Full() const { return cases_ == capacity_; }
  const std::vector<LaneGroup>& Groups() const { return groups_; }
  LaneValues GroupValues(std::size_t group) const {
    return {values_ + groups_[group].firstEntry, caseStride_, groups_[group].lanes};
  }
  // Prefetches the values of a group that is processed soon: the processor cannot predict them
  // where cases are wide.
  void Prefetch(std::size_t group) const {
    if (caseStride_ < kWideDoubles || group >= groups_.size()) return;
    const double* lanes = values_ + groups_[group].firstEntry;
    for (int i = 0; i < cases_; ++i, lanes += caseStride_) {
      __builtin_prefetch(lanes);
      __builtin_prefetch(lanes + kLine);
    }
  }

 private:
  static constexpr std::uint64_t kTargetDoubles = 256 * 1024 / sizeof(double);
  static constexpr std::uint64_t kWideDoubles = 256;
  // More would evict the slots of the current groups, 256 bytes per case, from the nearest cache.
  static constexpr std::uint64_t kMostCases = 128;
  static constexpr std::uint64_t kFewestCases = 32;
  static constexpr std::uint64_t kLine = 64 / sizeof(double);

  // An odd number of cache lines: the same place of all rows falls into different sets of the
  // caches.
  static std::uint64_t OddLines(std::uint64_t doubles) { return ((doubles + kLine - 1) / kLine | 1) * kLine; }

  // Zeroed doubles, of which the one at `shift` begins a cache line; one more before them, and
  // kLanes after.
  int Take(std::uint64_t count, std::uint64_t shift) {
    const std::uint64_t spare = 3 * kLine + kLanes;
    if (memory_.Allocate(count + spare) != kOk) return kFailed;
    std::fill_n(memory_.data(), count + spare, 0.0);
    const auto address = reinterpret_cast<std::uintptr_t>(memory_.data());
    values_ = memory_.data() + (128 - address % 64) / sizeof(double) + (kLine - shift) % kLine;
    return kOk;
  }

  HostArray<double> memory_;
  std::vector<LaneGroup> groups_;
  double* values_ = nullptr;
  double* reading_ = nullptr;
  std::uint64_t caseStride_ = 0;
  int capacity_ = 0;
  int cases_ = 0;
};

}  // namespace vlmfsl
