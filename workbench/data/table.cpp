// Look-ups in the input table and the tolerant test for a missing value.
#include "workbench/data/table.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>

namespace velmora {

namespace {

constexpr std::int64_t kToleranceUlp = 15;

// The bit pattern as an integer that is ordered like the doubles, both zeros at 0.
std::int64_t OrderedImage(double value) {
  const auto bits = std::bit_cast<std::int64_t>(value);
  return bits < 0 ? std::numeric_limits<std::int64_t>::min() - bits : bits;
}

double FromOrderedImage(std::int64_t image) {
  return std::bit_cast<double>(image < 0 ? std::numeric_limits<std::int64_t>::min() - image : image);
}

}  // namespace

bool IsMissing(double value, double missingCode) {
  if (!std::isfinite(value) || !std::isfinite(missingCode)) return false;
  const std::int64_t a = OrderedImage(value);
  const std::int64_t b = OrderedImage(missingCode);
  // Finite images stay below 2^63 by more than the tolerance, so neither sum can overflow.
  return a <= b + kToleranceUlp && b <= a + kToleranceUlp;
}

MissingRange::MissingRange(double missingCode)
    : low(std::numeric_limits<double>::infinity()), high(-std::numeric_limits<double>::infinity()) {
  if (!std::isfinite(missingCode)) return;
  const std::int64_t image = OrderedImage(missingCode);
  const std::int64_t last = OrderedImage(std::numeric_limits<double>::max());
  low = FromOrderedImage(std::max(image - kToleranceUlp, -last));
  high = FromOrderedImage(std::min(image + kToleranceUlp, last));
}

const std::string* Column::LabelOf(double value) const {
  const auto at = std::lower_bound(labels.begin(), labels.end(), value,
                                   [](const ValueLabel& label, double key) { return label.value < key; });
  if (at == labels.end() || at->value != value) return nullptr;  // codes are exact by construction
  return &at->text;
}

const double* Column::ValueOf(std::string_view text) const {
  for (const ValueLabel& label : labels)
    if (label.text == text) return &label.value;
  return nullptr;
}

}  // namespace velmora
