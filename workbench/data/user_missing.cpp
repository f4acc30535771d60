#include "workbench/data/user_missing.h"

#include <algorithm>
#include <cmath>
#include <set>

namespace velmora {
namespace {

constexpr double kLetterStep = -1e300;

std::optional<std::string> LetterOf(double value) {
  const double letter = std::round(value / kLetterStep);
  if (!(letter > ' ') || !(letter <= '~') || !vlm::NearlyEqual(value, letter * kLetterStep))
    return std::nullopt;
  return std::string(".") + static_cast<char>(letter);
}

void AddLabel(double value, const std::string& text, Column& column) {
  const auto place =
      std::lower_bound(column.labels.begin(), column.labels.end(), value,
                       [](const ValueLabel& label, double number) { return label.value < number; });
  column.labels.insert(place, {value, text});
}

// The code of each text in a text column; texts without a code get one if addTexts is set.
std::vector<double> CodesOfTexts(const std::vector<std::string>& texts, bool addTexts, Column& column) {
  std::vector<double> codes;
  for (const std::string& text : texts) {
    const double* const known = column.ValueOf(text);
    if (known == nullptr && addTexts)
      column.labels.push_back({column.labels.empty() ? 1 : column.labels.back().value + 1, text});
    codes.push_back(known != nullptr ? *known : addTexts ? column.labels.back().value : kMissing);
  }
  return codes;
}

// The number that each cell has in the column.
std::vector<double> NumbersOf(const UserMissingCells& cells, bool addTexts, Column& column) {
  if (!column.fromText) return cells.values;
  const std::vector<double> codes = CodesOfTexts(cells.texts, addTexts, column);
  std::vector<double> numbers;
  for (const double place : cells.values) numbers.push_back(codes[static_cast<std::size_t>(place)]);
  return numbers;
}

}  // namespace

double LetteredMissing(char letter) { return kLetterStep * static_cast<unsigned char>(letter); }

std::vector<double> RestoreUserMissing(const UserMissingCells& cells, Column& column) {
  std::set<double> codes;
  const std::vector<double> numbers = NumbersOf(cells, true, column);
  std::vector<double>& values = column.values.Own();
  for (std::size_t k = 0; k < cells.rows.size(); ++k) {
    double& value = values[cells.rows[k]];
    if (!IsMissing(value, column.missingCode) || IsMissing(numbers[k], column.missingCode)) continue;
    value = numbers[k];
    codes.insert(value);
  }
  for (const double code : codes) {
    const std::optional<std::string> letter = column.fromText ? std::nullopt : LetterOf(code);
    if (letter && column.LabelOf(code) == nullptr) AddLabel(code, *letter, column);
  }
  return {codes.begin(), codes.end()};
}

void RemoveUserMissing(const UserMissingCells& cells, Column& column) {
  const std::vector<double> numbers = NumbersOf(cells, false, column);
  std::vector<double>& values = column.values.Own();
  for (std::size_t k = 0; k < cells.rows.size(); ++k) {
    double& value = values[cells.rows[k]];
    if (vlm::NearlyEqual(value, numbers[k])) value = column.missingCode;
  }
  if (!column.fromText) return;
  const std::set<double> gone(numbers.begin(), numbers.end());
  std::erase_if(column.labels, [&](const ValueLabel& label) { return gone.contains(label.value); });
}

}  // namespace velmora
