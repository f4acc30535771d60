#include "workbench/states/value_cells.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <limits>
#include <utility>

#include "base/tolerant.h"

namespace velmora::states {
namespace {

constexpr std::size_t kFewestSlots = 256;
constexpr int kAllBits = 64;
constexpr std::uint64_t kHashFactor = 0x9E3779B97F4A7C15;  // 2^64 over the golden ratio
constexpr double kFree = std::numeric_limits<double>::quiet_NaN();

void Join(const ValueCell& more, ValueCell& cell) {
  cell.high = std::max(cell.high, more.high);
  cell.low = std::min(cell.low, more.low);
  cell.cases += more.cases;
  cell.mass += more.mass;
}

// The position of a value among all doubles, from 0 for the lowest one.
std::uint64_t PlaceOf(double value) {
  return static_cast<std::uint64_t>(vlm::OrderedBits(value)) ^ (std::uint64_t{1} << (kAllBits - 1));
}

// Sorts cells of different keys by them. Digits that all keys share cost nothing.
void SortByKey(std::vector<ValueCell>& cells, int shift) {
  constexpr int kDigit = 11;
  constexpr std::size_t kDigits = std::size_t{1} << kDigit;
  std::vector<ValueCell> sorted(cells.size());
  for (int at = shift; at < kAllBits; at += kDigit) {
    const auto digitOf = [at](const ValueCell& cell) { return (PlaceOf(cell.low) >> at) % kDigits; };
    std::array<std::size_t, kDigits> ends{};
    for (const ValueCell& cell : cells) ++ends[digitOf(cell)];
    if (std::find(ends.begin(), ends.end(), cells.size()) != ends.end()) continue;
    std::size_t end = 0;
    for (std::size_t& one : ends) end = std::exchange(one, end) + end;
    for (const ValueCell& cell : cells) sorted[ends[digitOf(cell)]++] = cell;
    cells.swap(sorted);
  }
}

}  // namespace

std::uint64_t ValueCells::KeyOf(double value) const { return PlaceOf(value) >> shift_; }

std::size_t ValueCells::StartOf(std::uint64_t key) const {
  return static_cast<std::size_t>((key * kHashFactor) >> (kAllBits - std::countr_zero(slots_.size())));
}

ValueCell& ValueCells::SlotOf(double value) {
  const std::uint64_t key = KeyOf(value);
  const std::size_t mask = slots_.size() - 1;
  std::size_t at = StartOf(key);
  while (slots_[at].low == slots_[at].low && KeyOf(slots_[at].low) != key) at = (at + 1) & mask;
  return slots_[at];
}

void ValueCells::Place(const ValueCell& cell) {
  ValueCell& slot = SlotOf(cell.low);
  if (slot.low == slot.low) return Join(cell, slot);
  slot = cell;
  if (4 * ++filled_ > 3 * slots_.size()) Grow();
}

void ValueCells::Grow() {
  std::vector<ValueCell> before(2 * slots_.size(), {kFree, kFree, 0, 0});
  before.swap(slots_);
  // Cells join only where there are too many; the next limit is far enough for the work to be shared
  // by many values.
  if (2 * filled_ > 3 * most_) {
    std::erase_if(before, [](const ValueCell& slot) { return slot.low != slot.low; });
    SortByKey(before, shift_);
    cells_.swap(before);
    Coarsen();
    slots_.resize(slots_.size() / 2);
    before.swap(cells_);
    cells_.clear();
  }
  filled_ = 0;
  for (const ValueCell& cell : before) {
    if (cell.low != cell.low) continue;
    SlotOf(cell.low) = cell;
    ++filled_;
  }
}

void ValueCells::FillSlots() {
  if (!slots_.empty()) return;
  slots_.assign(std::max(kFewestSlots, std::bit_ceil(2 * cells_.size())), {kFree, kFree, 0, 0});
  for (const ValueCell& cell : cells_) SlotOf(cell.low) = cell;
  filled_ = cells_.size();
  cells_ = {};
}

void ValueCells::Add(double value, double cases, double mass) {
  FillSlots();
  value += 0.0;  // both zeros are one value
  Place({value, value, cases, mass});
}

void ValueCells::AddAll(std::span<const double> values) {
  FillSlots();
  // Slots are in any order: the processor gets some ahead, so that it does not wait for memory.
  constexpr std::size_t kAhead = 16;
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (i + kAhead < values.size()) __builtin_prefetch(&slots_[StartOf(KeyOf(values[i + kAhead] + 0.0))], 1);
    Place({values[i] + 0.0, values[i] + 0.0, 1, 1});
  }
}

void ValueCells::Merge(const ValueCells& other) {
  other.Settle();
  Settle();
  shift_ = std::max(shift_, other.shift_);
  std::vector<ValueCell> both(cells_.size() + other.cells_.size());
  std::merge(cells_.begin(), cells_.end(), other.cells_.begin(), other.cells_.end(), both.begin(),
             [](const ValueCell& a, const ValueCell& b) { return a.low < b.low; });
  cells_.swap(both);
  Coarsen();
}

void ValueCells::Settle() const {
  if (slots_.empty()) return;
  cells_.reserve(filled_);
  for (const ValueCell& slot : slots_)
    if (slot.low == slot.low) cells_.push_back(slot);
  slots_ = {};
  filled_ = 0;
  SortByKey(cells_, shift_);
  Coarsen();
}

void ValueCells::Coarsen() const {
  if (cells_.empty()) return;
  // Neighbours are apart as long as the highest bit in which they differ counts.
  std::array<std::size_t, kAllBits> apart{};
  for (std::size_t i = 1; i < cells_.size(); ++i) {
    const std::uint64_t differing = PlaceOf(cells_[i - 1].low) ^ PlaceOf(cells_[i].low);
    if (differing != 0) ++apart[static_cast<std::size_t>(kAllBits - 1 - std::countl_zero(differing))];
  }
  std::size_t count = 1;
  int shift = kAllBits - 1;
  for (; shift >= shift_; --shift) {
    if (count + apart[static_cast<std::size_t>(shift)] > most_) break;
    count += apart[static_cast<std::size_t>(shift)];
  }
  shift_ = std::min(shift + 1, kAllBits - 1);
  std::size_t kept = 0;
  for (std::size_t i = 1; i < cells_.size(); ++i) {
    if (KeyOf(cells_[kept].low) == KeyOf(cells_[i].low)) {
      Join(cells_[i], cells_[kept]);
    } else {
      cells_[++kept] = cells_[i];
    }
  }
  cells_.resize(kept + 1);
}

const std::vector<ValueCell>& ValueCells::Cells() const {
  Settle();
  return cells_;
}

bool ValueCells::IsExact() const {
  Settle();
  return shift_ == 0;
}

double ValueCells::RankError() const {
  double total = 0, largest = 0;
  for (const ValueCell& cell : Cells()) {
    total += cell.mass;
    if (cell.low < cell.high) largest = std::max(largest, cell.mass);
  }
  return total > 0 ? largest / total : 0;
}

Packed ValueCells::Pack() const {
  Settle();
  std::vector<double> low, high, cases, mass;
  bool isWeighted = false;
  for (const ValueCell& cell : cells_) {
    low.push_back(cell.low);
    high.push_back(cell.high);
    cases.push_back(cell.cases);
    mass.push_back(cell.mass);
    isWeighted = isWeighted || cell.mass != cell.cases;
  }
  Packed packed = {
      {"most", most_}, {"shift", shift_}, {"low", PackDoubles(low)}, {"cases", PackCounts(cases)}};
  if (shift_ > 0) packed["high"] = PackDoubles(high);
  if (isWeighted) packed["mass"] = PackDoubles(mass);
  return packed;
}

ValueCells ValueCells::Unpack(const Packed& packed) {
  ValueCells cells(Get<std::size_t>(packed, "most"));
  cells.shift_ = Get<int>(packed, "shift");
  if (cells.shift_ < 0 || cells.shift_ >= kAllBits) FailDamaged();
  const std::vector<double> low = UnpackDoubles(Member(packed, "low"));
  const std::vector<double> high = packed.contains("high") ? UnpackDoubles(Member(packed, "high")) : low;
  const std::vector<double> cases = UnpackCounts(Member(packed, "cases"));
  const std::vector<double> mass = packed.contains("mass") ? UnpackDoubles(Member(packed, "mass")) : cases;
  if (low.size() > cells.most_ || high.size() != low.size() || cases.size() != low.size() ||
      mass.size() != low.size())
    FailDamaged();
  for (std::size_t i = 0; i < low.size(); ++i) {
    const bool ascends = i == 0 || high[i - 1] < low[i];
    if (!ascends || !(low[i] <= high[i]) || !(mass[i] >= 0)) FailDamaged();
    CheckedCount(cases[i]);
    cells.cells_.push_back({low[i], high[i], cases[i], mass[i]});
  }
  return cells;
}

}  // namespace velmora::states
