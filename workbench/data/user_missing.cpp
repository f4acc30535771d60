#include "workbench/data/user_missing.h"

#include <algorithm>
#include <cmath>
#include <set>

namespace velmora {
namespace {

constexpr double kLetterStep = -1e300;

std::optional<std::string> LetterOf(double value) {
  const double letter = std::round(value / kLetterStep);
  if (!(letter > ' ') || !(letter <= '~') || !NearlyEqualDoubles(value, letter * kLetterStep))
    return std::nullopt;
  return std::string(".") + static_cast<char>(letter);
}

void AddLabel(double value, const std::string& text, Column& column) {
  const auto place =
      std::lower_bound(column.labels.begin(), column.labels.end(), value,
                       [](const ValueLabel& label, double number) { return label.value < number; });
  column.labels.insert(place, {value, text});
}

}  // namespace

double LetteredMissing(char letter) { return kLetterStep * static_cast<unsigned char>(letter); }

std::vector<double> RestoreUserMissing(const UserMissingCells& cells, Column& column) {
  std::set<double> codes;
  std::vector<double>& values = column.values.Own();
  for (std::size_t k = 0; k < cells.rows.size(); ++k) {
    double& value = values[cells.rows[k]];
    if (!IsMissing(value, column.missingCode) || IsMissing(cells.values[k], column.missingCode)) continue;
    value = cells.values[k];
    codes.insert(value);
  }
  for (const double code : codes) {
    const std::optional<std::string> letter = LetterOf(code);
    if (letter && column.LabelOf(code) == nullptr) AddLabel(code, *letter, column);
  }
  return {codes.begin(), codes.end()};
}

void RemoveUserMissing(const UserMissingCells& cells, Column& column) {
  std::vector<double>& values = column.values.Own();
  for (std::size_t k = 0; k < cells.rows.size(); ++k) {
    double& value = values[cells.rows[k]];
    if (NearlyEqualDoubles(value, cells.values[k])) value = column.missingCode;
  }
}

}  // namespace velmora
