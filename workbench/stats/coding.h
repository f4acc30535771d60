// Columns as small whole numbers: the distinct codes of a column and, for each case, which of them it has.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace velmora::stats {

inline constexpr std::int32_t kNoLevel = -1;

struct Coding {
  std::vector<double> codes;          // ascending
  std::vector<std::int32_t> levelOf;  // one a case: place in codes, or kNoLevel

  std::size_t LevelCount() const { return codes.size(); }
};

// The cases that selected lets through (one byte a case, 0 = left out; empty = all) and whose value is
// neither missing nor NaN; minus zero is the code 0. With listed codes only those count (a value within 15
// units in the last place of a listed code has it), and every listed code is a level whether the data have it
// or not.
Coding CodeColumn(std::span<const double> column, double missingCode,
                  std::span<const std::uint8_t> selected = {}, std::span<const double> listed = {});

}  // namespace velmora::stats
