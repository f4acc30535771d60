// Bundles, values and labels of the input table. Nothing is thrown into the module.
#include "workbench/session/input_spreadsheet.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <utility>

#include "base/parse_number.h"
#include "base/tolerant.h"
#include "contract/text.h"
#include "workbench/data/distinct_values.h"
#include "workbench/data/errors.h"
#include "workbench/data/names.h"
#include "workbench/documents/texts.h"
#include "workbench/session/session_core.h"

namespace velmora {

namespace {

// Unpaired surrogates become U+FFFD.
std::string Utf8OfUtf16(const char16_t* text, int length) {
  std::string utf8;
  for (int index = 0; index < length; ++index) {
    char32_t character = text[index];
    if (character >= 0xD800 && character < 0xDC00 && index + 1 < length && text[index + 1] >= 0xDC00 &&
        text[index + 1] < 0xE000) {
      character = 0x10000 + ((character - 0xD800) << 10) + (text[++index] - 0xDC00);
    } else if (character >= 0xD800 && character < 0xE000) {
      character = 0xFFFD;
    }
    AppendCharacter(utf8, character);
  }
  return utf8;
}

}  // namespace

bool InputSpreadsheet::HasVariable(int variableNumber) const {
  return variableNumber >= 1 && variableNumber <= core_.table.VariableCount();
}

int InputSpreadsheet::GetBundleCount() { return static_cast<int>(core_.table.bundles.size()); }

void InputSpreadsheet::GetBundleName(int bundleIndex, vlm::ITextSink* name) {
  if (bundleIndex < 0 || bundleIndex >= GetBundleCount()) return name->Assign(nullptr, 0);
  const std::string& text = core_.table.bundles[static_cast<std::size_t>(bundleIndex)].name;
  name->Assign(text.data(), vlm::LengthOf(text));
}

int InputSpreadsheet::AddBundle(const char16_t* name, int nameLength, const char* variables,
                                int variablesLength) {
  try {
    VariableBundle bundle{Utf8OfUtf16(name, nameLength),
                          ParseVariableList(core_.table, vlm::TextOf(variables, variablesLength))};
    const auto sameName = [&](const VariableBundle& other) { return other.name == bundle.name; };
    if (bundle.name.empty() || std::any_of(core_.table.bundles.begin(), core_.table.bundles.end(), sameName))
      return 1;
    core_.table.bundles.push_back(std::move(bundle));
    return 0;
  } catch (...) {
    core_.KeepCurrentException();
    return 1;
  }
}

std::vector<double> InputSpreadsheet::FindSelectedValues(int variableNumber) const {
  const Column& column = core_.table.Variable(variableNumber);
  const MissingRange missing(column.missingCode);
  DistinctValues distinct;
  for (std::size_t index = 0; index < column.values.size(); ++index) {
    const double value = column.values[index];
    if (std::isnan(value) || missing.Contains(value) || !core_.IsSelected(static_cast<std::int64_t>(index)))
      continue;
    distinct.Add(value);
  }
  return std::move(distinct).Ascending();
}

const std::vector<double>& InputSpreadsheet::SelectedValues(int variableNumber) const {
  constexpr std::size_t kMostKept = 10000;  // more are hardly codes
  if (distinct_.dataVersion != core_.dataVersion) distinct_ = {core_.dataVersion, {}, 0, {}};
  if (const auto known = distinct_.values.find(variableNumber); known != distinct_.values.end())
    return known->second;
  if (distinct_.longVariable == variableNumber) return distinct_.longList;
  std::vector<double> found = FindSelectedValues(variableNumber);
  if (found.size() <= kMostKept) return distinct_.values[variableNumber] = std::move(found);
  distinct_.longVariable = variableNumber;
  return distinct_.longList = std::move(found);
}

int InputSpreadsheet::GetDistinctValues(int variableNumber, double* values, int capacity) {
  if (!HasVariable(variableNumber)) return 0;
  try {
    const std::vector<double>& distinct = SelectedValues(variableNumber);
    const std::size_t filled = std::min(distinct.size(), static_cast<std::size_t>(std::max(capacity, 0)));
    std::copy_n(distinct.begin(), filled, values);
    return static_cast<int>(distinct.size());
  } catch (...) {
    core_.KeepCurrentException();
    return 0;
  }
}

// Selected or not: the question is whether the value occurs in the data.
int InputSpreadsheet::FindDataValue(int variableNumber, double number, double* value) {
  if (!HasVariable(variableNumber)) return 1;
  const Column& column = core_.table.Variable(variableNumber);
  const MissingRange missing(column.missingCode);
  const auto found = std::find_if(column.values.begin(), column.values.end(), [&](double candidate) {
    return vlm::NearlyEqual(candidate, number) && !missing.Contains(candidate);
  });
  if (found == column.values.end()) return 1;
  *value = *found;
  return 0;
}

int InputSpreadsheet::GetValueLabel(int variableNumber, double value, vlm::ITextSink* label) {
  const std::string* text =
      HasVariable(variableNumber) ? core_.table.Variable(variableNumber).LabelOf(value) : nullptr;
  if (text == nullptr) return 1;
  label->Assign(text->data(), vlm::LengthOf(*text));
  return 0;
}

int InputSpreadsheet::FindValue(int variableNumber, const char* text, int length, double* value) {
  if (!HasVariable(variableNumber)) return 1;
  const std::string_view wanted = vlm::TextOf(text, length);
  if (const double* labelled = core_.table.Variable(variableNumber).ValueOf(wanted)) {
    *value = *labelled;
    return 0;
  }
  const auto number = vlm::ParseNumber<double>(wanted);
  if (!number || !std::isfinite(*number)) return 1;
  *value = *number;
  return 0;
}

int InputSpreadsheet::HoldsTexts(int variableNumber) {
  return HasVariable(variableNumber) && core_.table.Variable(variableNumber).fromText ? 1 : 0;
}

int InputSpreadsheet::ReadVariable(int variableNumber, int firstCaseNumber, int caseCount, double* values) {
  if (!HasVariable(variableNumber) || firstCaseNumber < 1 || caseCount < 0 ||
      std::int64_t{firstCaseNumber} + caseCount - 1 > core_.table.caseCount)
    return 1;
  std::copy_n(core_.table.Variable(variableNumber).values.data() + (firstCaseNumber - 1), caseCount, values);
  return 0;
}

void InputSpreadsheet::BeginAdding() {
  variablesBefore_ = core_.table.columns.size();
  bundlesBefore_ = core_.table.bundles.size();
}

void InputSpreadsheet::EndAdding(int keep) {
  std::vector<Column>& columns = core_.table.columns;
  std::vector<VariableBundle>& bundles = core_.table.bundles;
  if (keep != 0) return;
  if (bundles.size() > bundlesBefore_)
    bundles.erase(bundles.begin() + static_cast<std::ptrdiff_t>(bundlesBefore_), bundles.end());
  if (columns.size() > variablesBefore_) {
    columns.erase(columns.begin() + static_cast<std::ptrdiff_t>(variablesBefore_), columns.end());
    core_.DataChanged();
  }
}

int InputSpreadsheet::AddVariable(const char* name, int nameLength, const char* description,
                                  int descriptionLength, const double* values) {
  try {
    Column column;
    const std::string wanted(vlm::TextOf(name, nameLength));
    // A variable that is saved again gets a new name, so that none of the user's is replaced.
    column.name = core_.UnusedVariableName(
        wanted.empty() ? "Var" + std::to_string(core_.table.VariableCount() + 1) : wanted);
    column.longName = vlm::TextOf(description, descriptionLength);
    column.values.Own().assign(values, values + core_.table.caseCount);
    core_.table.columns.push_back(std::move(column));
    core_.DataChanged();
    return core_.table.VariableCount();
  } catch (...) {
    core_.KeepCurrentException();
    return 0;
  }
}

void InputSpreadsheet::SetVariableValueLabel(int variableNumber, double value, const char* text, int length) {
  if (!HasVariable(variableNumber)) return;
  try {
    Column& column = core_.table.Variable(variableNumber);
    std::vector<ValueLabel>& labels = column.labels;
    if (labels.empty()) column.measurement = Measurement::kCategorical;
    const auto place =
        std::lower_bound(labels.begin(), labels.end(), value,
                         [](const ValueLabel& label, double wanted) { return label.value < wanted; });
    if (place != labels.end() && place->value == value) {
      place->text = vlm::TextOf(text, length);
    } else {
      labels.insert(place, {value, std::string(vlm::TextOf(text, length))});
    }
  } catch (...) {
    core_.KeepCurrentException();
  }
}

vlm::IAutomationObject* InputSpreadsheet::GetAutomationObject() { return core_.inputObject.Get(); }

}  // namespace velmora
