// Numbers that look like codes for "no value" among those of a variable: -999 for an income that
// nobody gave, 99 on a scale from 1 to 7.
//
//   const std::vector<evidence::LikelyCode> codes = evidence::LikelyCodes(column, selected);
#pragma once

#include <cstdint>
#include <vector>

#include "workbench/data/table.h"
#include "workbench/language/selection.h"

namespace velmora::evidence {

struct LikelyCode {
  double value = 0;
  std::int64_t cases = 0;  // of those selected
};

// Those that at least five of the selected cases have and that are among the customary codes (nines,
// the same with 8, 7 or 6 at their end, repeated eights or sevens, and -1), ascending: a negative one
// only if no other value is negative, a positive one only if it is further above the largest other
// value than the others are apart. Dates and texts have none. Looks at a sample of the cases first,
// so a code that fewer than one case in a thousand has can be missed.
std::vector<LikelyCode> LikelyCodes(const Column& column, const CaseBitmap& selected);

}  // namespace velmora::evidence
