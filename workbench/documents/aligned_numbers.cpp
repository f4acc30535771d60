#include "workbench/documents/aligned_numbers.h"

#include <algorithm>
#include <cmath>

#include "workbench/documents/sheet.h"
#include "workbench/documents/texts.h"

namespace velmora {
namespace {

constexpr double kLongest = 1e12;  // longer numbers are shown by exponent

}  // namespace

void AlignedNumbers::Add(double value) {
  if (IsEmptyCell(value) || !std::isfinite(value)) return;
  whole_ = whole_ && value == std::trunc(value);
  if (std::fabs(value) < kLongest) largest_ = std::max(largest_, std::fabs(value));
}

int AlignedNumbers::Decimals() const {
  const int whole = largest_ >= 1 ? static_cast<int>(std::floor(std::log10(largest_))) + 1 : 0;
  return std::clamp(6 - whole, 2, 4);
}

std::string AlignedNumbers::Text(double value) const {
  const double size = std::fabs(value);
  if (whole_ || !std::isfinite(value) || size >= kLongest ||
      (value != 0 && size < std::pow(10.0, 1 - Decimals())))
    return ShownNumber(value, "");
  return ShownNumber(value, "0." + std::string(static_cast<std::size_t>(Decimals()), '0'));
}

}  // namespace velmora
