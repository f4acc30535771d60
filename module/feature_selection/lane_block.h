// A block of accepted cases. A vector operation works on several variables at once, each of which
// sees its cases in order, so the values of a group of variables are given case by case.
//
// A host that reads single cases writes them here: row after row, each with the values of the read
// list. When the host gives columns, the block only keeps which of their cases are accepted; the
// values of a group are transposed on request, a part of the cases at a time, and stay in the
// nearest caches.
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

// Groups that are processed together: at most `most`, and so few that every worker has some.
inline std::vector<std::pair<std::size_t, std::size_t>> Bundles(std::size_t groups, std::size_t most,
                                                                int workers) {
  const std::size_t rounds =
      (groups + most * static_cast<std::size_t>(workers) - 1) / (most * static_cast<std::size_t>(workers));
  const std::size_t bundles =
      std::min(groups, std::max<std::size_t>(rounds, 1) * static_cast<std::size_t>(workers));
  std::vector<std::pair<std::size_t, std::size_t>> made;  // first group, count
  for (std::size_t i = 0; i < bundles; ++i) {
    const std::size_t first = groups * i / bundles;
    made.emplace_back(first, groups * (i + 1) / bundles - first);
  }
  return made;
}

// Some neighbouring cases of a block, the unit of vector operations.
struct BlockPart {
  std::size_t first;
  int cases;
};

// Memory for the values of some groups of a part, of one thread.
class LaneTiles {
 public:
  explicit LaneTiles(std::size_t count = 0) : memory_(count * kTileDoubles + kLine) {
    const auto address = reinterpret_cast<std::uintptr_t>(memory_.data());
    first_ = memory_.data() + (64 - address % 64) % 64 / sizeof(double);
  }
  LaneTiles(const LaneTiles&) = delete;
  LaneTiles& operator=(const LaneTiles&) = delete;

  double* At(std::size_t i) { return first_ + i * kTileDoubles; }

 private:
  static constexpr std::size_t kLine = 64 / sizeof(double);
  static constexpr std::size_t kTileDoubles = std::size_t{kMostPartCases} * kLanes;

  std::vector<double> memory_;
  double* first_;
};

class LaneBlock {
 public:
  explicit LaneBlock(vlm::IEngineServices& services) : memory_(services) {}

  // Makes room for up to 128 cases of entryCount values, fewer the wider they are, so that the
  // block stays in a near cache together with the host's own.
  [[nodiscard]] int AllocateRows(int entryCount, std::vector<LaneGroup> groups) {
    groups_ = std::move(groups);
    // Reading may begin one value before a case, and a group's lanes may extend past its end.
    caseStride_ = OddLines(static_cast<std::uint64_t>(entryCount) + 1);
    capacity_ = static_cast<int>(std::clamp(kTargetDoubles / caseStride_, kFewestCases, kMostRows) &
                                 ~std::uint64_t{3});
    partCases_ = capacity_;
    // The first group starts on a cache line.
    const auto shift = groups_.empty() ? 0 : static_cast<std::uint64_t>(groups_[0].firstEntry) % kLine;
    const int result = Take(caseStride_ * static_cast<std::uint64_t>(capacity_), shift);
    reading_ = values_;
    return result;
  }

  // For columns: up to capacity cases, in parts of at most partCases.
  void PrepareColumns(std::vector<LaneGroup> groups, int capacity, int partCases) {
    groups_ = std::move(groups);
    capacity_ = capacity;
    partCases_ = partCases;
    places_.resize(static_cast<std::size_t>(capacity));
    takesColumns_ = true;
  }

  // --- Rows
  // Where the next case is read: the value of the read list's entry i goes to Reading()[i + 1], as
  // the host counts.
  double* Reading() { return reading_ - 1; }

  // --- Columns
  // The columns of the read list, valid until the block is cleared, which must be empty.
  void TakeColumns(const double* const* columns) { columns_ = columns; }
  void SetCase(int caseOfColumns) { current_ = static_cast<std::size_t>(caseOfColumns); }

  // --- Both
  // The value of entry i of the case that was read or set.
  double Entry(int i) const { return takesColumns_ ? columns_[i][current_] : reading_[i]; }
  // Keeps that case in the block, which must not be full.
  void Append() {
    if (takesColumns_) {
      places_[static_cast<std::size_t>(cases_)] = static_cast<std::uint32_t>(current_);
    } else {
      reading_ += caseStride_;
    }
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

  std::size_t Parts() const { return static_cast<std::size_t>((cases_ + partCases_ - 1) / partCases_); }
  BlockPart Part(std::size_t part) const {
    const int first = static_cast<int>(part) * partCases_;
    return {static_cast<std::size_t>(first), std::min(partCases_, cases_ - first)};
  }
  // The values of a group's cases of a part, in the tile where they are transposed.
  LaneValues GroupValues(std::size_t group, const BlockPart& part, double* tile) const {
    const LaneGroup& lanes = groups_[group];
    if (!takesColumns_) return {values_ + lanes.firstEntry, caseStride_, lanes.lanes};
    Transpose(lanes, part, tile);
    return {tile, kLanes, lanes.lanes};
  }
  // Prefetches the values of a group that is processed soon: the processor cannot predict them
  // where rows are wide.
  void Prefetch(std::size_t group) const {
    if (takesColumns_ || caseStride_ < kWideDoubles || group >= groups_.size()) return;
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
  static constexpr std::uint64_t kMostRows = kMostPartCases;
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

  void Transpose(const LaneGroup& lanes, const BlockPart& part, double* tile) const {
    const double* columns[kLanes];  // filled up with the last one
    for (int lane = 0; lane < kLanes; ++lane)
      columns[lane] = columns_[lanes.firstEntry + std::min(lane, lanes.lanes - 1)];
    const std::uint32_t* const places = places_.data() + part.first;
    const auto cases = static_cast<std::size_t>(part.cases);
    const bool areNeighbours = places[cases - 1] - places[0] == cases - 1;
    if (areNeighbours) {
      // The part that follows, where it is in this block.
      const std::size_t left = static_cast<std::size_t>(cases_) - part.first - cases;
      Kernels().transpose(columns, lanes.lanes, places[0], part.cases, left >= cases ? part.cases : 0, tile);
      return;
    }
    for (std::size_t i = 0; i < cases; ++i) {
      for (int lane = 0; lane < lanes.lanes; ++lane)
        tile[i * kLanes + static_cast<std::size_t>(lane)] = columns[lane][places[i]];
    }
  }

  HostArray<double> memory_;
  std::vector<LaneGroup> groups_;
  double* values_ = nullptr;
  double* reading_ = nullptr;
  std::uint64_t caseStride_ = 0;
  int capacity_ = 0;
  int partCases_ = 0;
  int cases_ = 0;

  bool takesColumns_ = false;
  const double* const* columns_ = nullptr;
  std::size_t current_ = 0;
  std::vector<std::uint32_t> places_;  // of the accepted cases in the columns
};

}  // namespace vlmfsl
