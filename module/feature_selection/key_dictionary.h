// Numbers the distinct keys of a variable in order of appearance. Keys are equal when neither is
// less: both zeros are one key, and every not-a-number is one key.
#pragma once

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

namespace vlmfsl {

class KeyDictionary {
 public:
  // The number of the key, a new one for a new key.
  std::uint32_t Number(double key) {
    const std::uint64_t bits = Canonical(key);
    if (keys_.size() * 2 >= table_.size()) Grow();
    for (std::size_t at = Place(bits);; at = (at + 1) & (table_.size() - 1)) {
      Entry& entry = table_[at];
      if (entry.number == kFree) {
        entry = {bits, static_cast<std::uint32_t>(keys_.size())};
        keys_.push_back(std::bit_cast<double>(bits));
        return entry.number;
      }
      if (entry.bits == bits) return entry.number;
    }
  }

  // Prefetches the cache line that Number will read first.
  void Prefetch(double key) const {
    if (!table_.empty()) __builtin_prefetch(&table_[Place(Canonical(key))]);
  }

  // By number.
  const std::vector<double>& Keys() const { return keys_; }

 private:
  static constexpr std::uint32_t kFree = 0xFFFFFFFFu;

  struct Entry {
    std::uint64_t bits = 0;
    std::uint32_t number = kFree;
  };

  static std::uint64_t Canonical(double key) {
    if (key == 0.0) key = 0.0;  // exactly: -0.0 is the only other value that compares equal
    if (std::isnan(key)) key = std::numeric_limits<double>::quiet_NaN();
    return std::bit_cast<std::uint64_t>(key);
  }

  std::size_t Place(std::uint64_t bits) const {
    bits ^= bits >> 32;  // whole numbers differ in the upper bits of a double only
    return static_cast<std::size_t>((bits * 0x9E3779B97F4A7C15u) >> shift_);
  }

  void Grow() {
    const std::size_t size = table_.empty() ? 16 : table_.size() * 2;
    std::vector<Entry> larger(size);
    shift_ = 64 - std::countr_zero(size);
    for (const Entry& entry : table_) {
      if (entry.number == kFree) continue;
      std::size_t at = Place(entry.bits);
      while (larger[at].number != kFree) at = (at + 1) & (size - 1);
      larger[at] = entry;
    }
    table_.swap(larger);
  }

  std::vector<Entry> table_;
  std::vector<double> keys_;
  int shift_ = 60;
};

}  // namespace vlmfsl
