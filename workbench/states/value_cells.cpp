#include "workbench/states/value_cells.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "base/tolerant.h"

namespace velmora::states {
namespace {

constexpr std::size_t kLeastPending = 4096;
constexpr int kAllBits = 64;

void Join(const ValueCell& more, ValueCell& cell) {
  cell.high = std::max(cell.high, more.high);
  cell.low = std::min(cell.low, more.low);
  cell.cases += more.cases;
  cell.mass += more.mass;
}

}  // namespace

std::uint64_t ValueCells::KeyOf(double value) const {
  const std::uint64_t place =
      static_cast<std::uint64_t>(vlm::OrderedBits(value)) ^ (std::uint64_t{1} << (kAllBits - 1));
  return place >> shift_;
}

void ValueCells::Add(double value, double cases, double mass) {
  value += 0.0;  // both zeros are one value
  if (!pending_.empty() && pending_.back().low == value) {
    pending_.back().cases += cases;
    pending_.back().mass += mass;
    return;
  }
  pending_.push_back({value, value, cases, mass});
  if (pending_.size() >= std::max(kLeastPending, cells_.size())) Settle();
}

void ValueCells::Merge(const ValueCells& other) {
  other.Settle();
  Settle();
  shift_ = std::max(shift_, other.shift_);
  pending_ = other.cells_;
  Settle();
}

void ValueCells::Settle() const {
  const auto below = [](const ValueCell& a, const ValueCell& b) { return a.low < b.low; };
  if (!pending_.empty()) {
    std::sort(pending_.begin(), pending_.end(), below);
    const auto middle = static_cast<std::ptrdiff_t>(cells_.size());
    cells_.insert(cells_.end(), pending_.begin(), pending_.end());
    std::inplace_merge(cells_.begin(), cells_.begin() + middle, cells_.end(), below);
    pending_.clear();
  }
  for (;; ++shift_) {
    std::size_t kept = 0;
    for (const ValueCell& cell : cells_) {
      if (kept > 0 && KeyOf(cells_[kept - 1].low) == KeyOf(cell.low)) {
        Join(cell, cells_[kept - 1]);
      } else {
        cells_[kept++] = cell;
      }
    }
    cells_.resize(kept);
    if (kept <= most_ || shift_ == kAllBits - 1) return;
  }
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
