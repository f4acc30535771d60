// A block of accepted cases, kept so that sixteen variables of one case stand side by side:
//
//   group 0: case 0 [16 values], case 1 [16 values], ...    (one cache line of padding behind each group)
//   group 1: ...
//
// A group's cases are read in one run whatever the number of variables, and one vector operation treats several
// variables while each of them still sees its cases in order.
#pragma once

#include <cstdint>
#include <vector>

#include "frame/host_array.h"
#include "fsl/vector_kernels.h"

namespace vlmfsl {

// Up to sixteen entries of the read list that stand next to each other there.
struct LaneGroup {
  int firstEntry;  // of the read list, from 0
  int lanes;       // 1 to 16; the lanes behind hold values of no meaning
};

// Splits `count` entries from firstEntry on into groups of about equal size.
inline void AppendLaneGroups(int firstEntry, int count, std::vector<LaneGroup>* groups) {
  int left = (count + kLanes - 1) / kLanes;
  for (int at = 0; at < count; --left) {
    const int lanes = (count - at + left - 1) / left;
    groups->push_back({firstEntry + at, lanes});
    at += lanes;
  }
}

class LaneBlock {
 public:
  explicit LaneBlock(vlm::IEngineServices& services) : memory_(services) {}

  // Makes room for a few hundred cases, fewer the more groups there are, so that the block stays in a near cache.
  [[nodiscard]] int Allocate(std::vector<LaneGroup> groups) {
    groups_ = std::move(groups);
    for (const LaneGroup& group : groups_) firstEntries_.push_back(group.firstEntry);
    const auto groupCount = static_cast<std::int64_t>(groups_.size());
    capacity_ =
        static_cast<int>(kTargetBytes / (static_cast<int>(sizeof(double)) * kLanes * (groupCount + 1)));
    capacity_ = capacity_ > kMostCases     ? kMostCases
                : capacity_ < kFewestCases ? kFewestCases
                                           : capacity_ & ~3;
    stride_ = static_cast<std::size_t>(capacity_) * kLanes + 64 / sizeof(double);
    if (memory_.Allocate(stride_ * groups_.size() + 64 / sizeof(double)) != kOk) return kFailed;
    const auto address = reinterpret_cast<std::uintptr_t>(memory_.data());
    values_ = memory_.data() + ((64 - address % 64) % 64) / sizeof(double);
    return kOk;
  }

  int Capacity() const { return capacity_; }
  int Cases() const { return cases_; }
  bool Full() const { return cases_ == capacity_; }
  void Clear() { cases_ = 0; }
  const std::vector<LaneGroup>& Groups() const { return groups_; }
  // The values of a group: Cases() x kLanes, on a cache line.
  const double* GroupValues(std::size_t group) const { return values_ + group * stride_; }
  std::size_t GroupStride() const { return stride_; }

  // entries: the values of the read list, and kLanes more readable doubles.
  void Append(const double* entries) {
    Kernels().appendCase(entries, firstEntries_.data(), static_cast<int>(firstEntries_.size()), stride_,
                         values_ + static_cast<std::size_t>(cases_) * kLanes);
    ++cases_;
  }

 private:
  static constexpr std::int64_t kTargetBytes = 256 * 1024;
  static constexpr int kMostCases = 512;
  static constexpr int kFewestCases = 32;

  HostArray<double> memory_;
  std::vector<LaneGroup> groups_;
  std::vector<int> firstEntries_;
  double* values_ = nullptr;
  std::size_t stride_ = 0;
  int capacity_ = 0;
  int cases_ = 0;
};

}  // namespace vlmfsl
