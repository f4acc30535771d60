#include "workbench/data/table.h"

#include <algorithm>

namespace velmora {

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
