// Numbers the keys of a variable densely while the cases are read.
#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>
#include <numeric>
#include <optional>
#include <vector>

#include "base/tolerant.h"
#include "module/feature_selection/interval_rule.h"
#include "module/feature_selection/key_dictionary.h"
#include "module/feature_selection/vector_kernels.h"

namespace vlmfsl {

// Slots 1, 2, ... in ascending order of key become places 0, 1, ... keys[slot] is a slot's key;
// slot 0 has none.
struct KeyOrder {
  std::vector<std::uint32_t> slots;  // by place
  std::vector<std::uint32_t> ranks;  // by slot: its place; entry 0 is unused

  explicit KeyOrder(const std::vector<double>& keys) : slots(keys.size() - 1), ranks(keys.size()) {
    std::iota(slots.begin(), slots.end(), 1u);
    const auto less = [&](std::uint32_t a, std::uint32_t b) { return vlm::KeyLess(keys[a], keys[b]); };
    if (!std::is_sorted(slots.begin(), slots.end(), less)) std::sort(slots.begin(), slots.end(), less);
    for (std::uint32_t place = 0; place < slots.size(); ++place) ranks[slots[place]] = place;
  }
};

// The classes of a cross-tabulated dependent, numbered from 1 in the order met (intervals: in their
// own order).
class DependentClasses {
 public:
  // A categorical dependent.
  DependentClasses() : keys_(1), direct_(kDirectCodes, 0) {}

  // A continuous one, cut.
  DependentClasses(const ContinuousVarMoments& moments, int cuts) : DependentClasses() {
    rule_.emplace(moments, cuts);
    if (cuts > kMaxTabledCuts) return;
    const std::vector<double> distinct = rule_->DistinctKeys();
    for (std::size_t k = 0; k + 1 < distinct.size(); ++k)
      bounds_.push_back(vlm::RaisedByTolerance(distinct[k]));
    keys_.insert(keys_.end(), distinct.begin(), distinct.end());
    tabled_ = true;
  }

  // classes[i]: of values[i]; 0 where the case does not take part.
  void Find(const double* values, const std::uint8_t* takesPart, int cases, std::uint32_t* classes) {
    if (tabled_) {
      std::fill_n(classes, cases, 1u);
      for (const double bound : bounds_) {
        for (int i = 0; i < cases; ++i) classes[i] += values[i] > bound ? 1u : 0u;
      }
      for (int i = 0; i < cases; ++i) classes[i] = takesPart[i] != 0 ? classes[i] : 0u;
      return;
    }
    for (int i = 0; i < cases; ++i) classes[i] = takesPart[i] != 0 ? ClassOf(values[i]) : 0u;
  }

  // Classes met so far (intervals: all that can be met), and one for no class.
  std::uint32_t Columns() const { return static_cast<std::uint32_t>(keys_.size()); }
  KeyOrder Order() const { return KeyOrder(keys_); }

 private:
  std::uint32_t ClassOf(double value) {
    const double key = rule_ ? rule_->Upper(rule_->Find(value)) : value;
    if (key >= 0.0 && key < kDirectCodes) {
      const auto code = static_cast<int>(key);
      if (static_cast<double>(code) == key) {  // exactly: a whole code
        std::uint32_t& known = direct_[static_cast<std::size_t>(code)];
        if (known == 0) known = NewClass(static_cast<double>(code));
        return known;
      }
    }
    const std::uint32_t number = others_.Number(key);
    if (number == classOfOther_.size()) classOfOther_.push_back(NewClass(key));
    return classOfOther_[number];
  }

  std::uint32_t NewClass(double key) {
    keys_.push_back(key);
    return static_cast<std::uint32_t>(keys_.size()) - 1;
  }

  std::vector<double> keys_;  // by class; entry 0 unused
  std::vector<double> bounds_;
  std::vector<std::uint32_t> direct_;
  std::vector<std::uint32_t> classOfOther_;
  KeyDictionary others_;
  std::optional<IntervalRule> rule_;
  bool tabled_ = false;
};

// The keys of one predictor. Slot 0 is for values that do not take part.
class PredictorKeys {
 public:
  // A categorical predictor: slots 1 to 64 are the codes 0 to 63, the rest follow in the order met.
  PredictorKeys() = default;

  // A continuous one: its intervals are slots 1, 2, ... when there are few cuts, else their keys
  // are numbered like other codes.
  PredictorKeys(const ContinuousVarMoments& moments, int cuts) : rule_(std::in_place, moments, cuts) {
    if (cuts <= kMaxTabledCuts) {
      intervals_ = rule_->DistinctKeys();
      tabled_ = true;
    }
  }

  bool IsTabled() const { return tabled_; }
  const std::vector<double>& Intervals() const { return intervals_; }

  void Prefetch(double value) const { others_.Prefetch(rule_ ? rule_->Upper(rule_->Find(value)) : value); }
  std::uint32_t SlotOfOther(double value) {
    return 1 + kDirectCodes + others_.Number(rule_ ? rule_->Upper(rule_->Find(value)) : value);
  }
  bool IsCode() const { return !rule_; }

  // Slots in use, slot 0 included.
  std::uint32_t Rows() const {
    return static_cast<std::uint32_t>(tabled_ ? 1 + intervals_.size()
                                              : 1 + kDirectCodes + others_.Keys().size());
  }

  KeyOrder Order() const {
    std::vector<double> keys{0.0};
    if (tabled_) {
      keys.insert(keys.end(), intervals_.begin(), intervals_.end());
    } else if (rule_) {
      // The slots of codes are not used; any ascending keys do.
      keys.resize(1 + kDirectCodes, -std::numeric_limits<double>::infinity());
      keys.insert(keys.end(), others_.Keys().begin(), others_.Keys().end());
    } else {
      for (int code = 0; code < kDirectCodes; ++code) keys.push_back(code);
      keys.insert(keys.end(), others_.Keys().begin(), others_.Keys().end());
    }
    return KeyOrder(keys);
  }

 private:
  std::optional<IntervalRule> rule_;
  std::vector<double> intervals_;
  KeyDictionary others_;
  bool tabled_ = false;
};

}  // namespace vlmfsl
