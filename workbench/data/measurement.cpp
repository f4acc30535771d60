#include "workbench/data/measurement.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>
#include <string_view>

#include "workbench/data/distinct_values.h"
#include "workbench/data/field_parser.h"
#include "workbench/data/names.h"
#include "workbench/data/unicode.h"
#include "workbench/system/worker_pool.h"

namespace velmora {

namespace {

constexpr std::int64_t kMaxLabelledValues = 100;
constexpr std::int64_t kMaxFewValues = 10;
constexpr std::int64_t kCasesPerValue = 5;
constexpr std::int64_t kMinCasesForIdentifier = 10;
constexpr double kLongText = 40;  // bytes on average
// A series that begins here or later is taken for years, not for row numbers.
constexpr double kFirstYear = 1500;
constexpr double kLastYear = 2200;

// The findings of one pass over a column.
struct ColumnFacts {
  std::int64_t valid = 0;
  double minimum = 0;
  double maximum = 0;
  bool whole = true;
  bool ascending = true;  // strictly, in case order
  ValueSet distinct{kMaxDistinctCounted};
};

// exact: count all distinct values; otherwise stop once no rule depends on the number any more,
// which saves a table of many distinct numbers most of the work.
ColumnFacts Survey(const Column& column, bool exact) {
  ColumnFacts facts;
  bool counting = true;
  const MissingRange missing(column.missingCode);
  double previous = 0;
  for (double value : column.values) {
    if (missing.Contains(value)) continue;
    if (facts.valid == 0) {
      facts.minimum = facts.maximum = value;
    } else {
      facts.minimum = std::min(facts.minimum, value);
      facts.maximum = std::max(facts.maximum, value);
      facts.ascending &= value > previous;
      // Runs of equal values are common.
      if (value == previous) {
        ++facts.valid;
        continue;
      }
    }
    facts.whole = facts.whole && value == std::floor(value);
    if (counting) facts.distinct.Add(value);
    previous = value;
    ++facts.valid;
    counting = exact || column.fromText || facts.distinct.Count() <= kMaxLabelledValues ||
               (facts.whole && facts.distinct.Count() == facts.valid);
  }
  return facts;
}

std::string Count(std::int64_t count, const char* thing) {
  return std::to_string(count) + " " + thing + (count == 1 ? "" : "s");
}

bool EveryValueLabelled(const Column& column, const ValueSet& distinct) {
  bool every = !column.labels.empty();
  distinct.ForEach([&](double value) { every = every && column.LabelOf(value) != nullptr; });
  return every;
}

bool NameSaysIdentifier(std::string_view name) {
  static constexpr std::array<std::string_view, 16> kWords = {
      "id",  "ids",    "identifier", "uuid", "guid",   "key",   "no",   "nr",
      "num", "number", "index",      "row",  "rownum", "rowid", "case", "serial"};
  // The last word counts: customerId, CASE_NO, row.index, but not no_of_rooms.
  std::string word;
  const auto isWord = [&] { return std::find(kWords.begin(), kWords.end(), word) != kWords.end(); };
  bool afterLower = false;
  for (char c : name) {
    const bool upper = c >= 'A' && c <= 'Z';
    const bool lower = c >= 'a' && c <= 'z';
    if ((!upper && !lower) || (upper && afterLower)) word.clear();
    if (upper || lower) word += upper ? static_cast<char>(c + 32) : c;
    afterLower = lower;
  }
  return isWord();
}

void SetMeasurement(const Column& column, const ValueSurvey& facts, VariableProfile& profile) {
  const auto set = [&](Measurement measurement, std::string reason) {
    profile.measurement = measurement;
    profile.measurementReason = std::move(reason);
  };
  const std::int64_t distinct = profile.distinctCount;
  if (column.declaredMeasurement) return set(*column.declaredMeasurement, "declared");
  if (column.fromText) return set(Measurement::kCategorical, "text");
  if (column.dateUnit != DateUnit::kNone) return set(Measurement::kContinuous, "date");
  if (distinct > 0 && distinct <= kMaxLabelledValues && facts.everyValueLabelled)
    return set(Measurement::kCategorical, "every value has a label");
  if (facts.whole && distinct > 0 && distinct <= 2)
    return set(Measurement::kCategorical, Count(distinct, "distinct whole number"));
  if (facts.whole && distinct > 0 && distinct <= kMaxFewValues && facts.valid >= kCasesPerValue * distinct)
    return set(Measurement::kCategorical, "only " + Count(distinct, "distinct whole number"));
  if (facts.valid == 0) return set(Measurement::kContinuous, "no values");
  if (!facts.whole) return set(Measurement::kContinuous, "numbers");
  set(Measurement::kContinuous, distinct <= kMaxFewValues ? "whole numbers, few cases per value"
                                                          : "whole numbers with many distinct values");
}

void SetTextRole(const Column& column, VariableProfile& profile) {
  if (profile.validCount < kMinCasesForIdentifier) return;
  std::size_t bytes = 0;
  std::size_t withBlanks = 0;
  for (const ValueLabel& label : column.labels) {
    bytes += label.text.size();
    withBlanks += label.text.find(' ') != std::string::npos;
  }
  const auto labels = static_cast<double>(column.labels.size());
  const bool longTexts =
      static_cast<double>(bytes) >= kLongText * labels && 2 * withBlanks > column.labels.size();
  const std::string share =
      Count(profile.distinctCount, "distinct text") + " in " + Count(profile.validCount, "case");
  if (longTexts && 2 * profile.distinctCount > profile.validCount) {
    profile.role = Role::kFreeText;
    profile.roleReason = "free text: long texts, " + share;
  } else if (10 * profile.distinctCount > 9 * profile.validCount) {
    profile.role = Role::kIdentifier;
    profile.roleReason = "looks like an identifier: " + share;
  }
}

void SetNumberRole(const Column& column, const ValueSurvey& facts, VariableProfile& profile) {
  if (!facts.whole || profile.validCount < kMinCasesForIdentifier ||
      profile.validCount != profile.distinctCount)
    return;
  const bool years = facts.minimum >= kFirstYear && facts.maximum <= kLastYear;
  const bool consecutive = facts.maximum - facts.minimum == static_cast<double>(profile.validCount - 1) &&
                           ((facts.ascending && !years) || facts.minimum == 0 || facts.minimum == 1);
  if (consecutive) {
    profile.role = Role::kIdentifier;
    profile.roleReason = "looks like an identifier: consecutive numbers, one per case";
  } else if (NameSaysIdentifier(column.name)) {
    profile.role = Role::kIdentifier;
    profile.roleReason = "looks like an identifier: by its name, and no number occurs twice";
  }
}

void SetRole(const Column& column, const ValueSurvey& facts, VariableProfile& profile) {
  if (profile.validCount == 0) {
    profile.role = Role::kAllMissing;
    profile.roleReason = "all values are missing";
  } else if (profile.distinctCount == 1) {
    profile.role = Role::kConstant;
    profile.roleReason = "constant: only one value";
  } else if (column.dateUnit != DateUnit::kNone) {
    profile.role = Role::kDate;
    profile.roleReason = column.dateUnit == DateUnit::kDays ? "date" : "date and time";
  } else if (column.fromText) {
    SetTextRole(column, profile);
  } else {
    SetNumberRole(column, facts, profile);
  }
}

void Infer(const Column& column, const ValueSurvey& survey, VariableProfile& profile) {
  profile.validCount = survey.valid;
  profile.distinctCount = survey.distinct;
  SetMeasurement(column, survey, profile);
  SetRole(column, survey, profile);
}

void TakeInference(VariableProfile profile, Column& column) {
  column.measurement = profile.measurement;
  column.measurementReason = std::move(profile.measurementReason);
  column.role = profile.role;
  column.roleReason = std::move(profile.roleReason);
}

ValueType TypeOf(const Column& column, const ColumnFacts& facts) {
  if (column.fromText) return ValueType::kText;
  if (column.fromBoolean) return ValueType::kBoolean;
  if (column.dateUnit != DateUnit::kNone)
    return column.dateUnit == DateUnit::kDays ? ValueType::kDate : ValueType::kDateTime;
  return facts.whole && facts.valid > 0 ? ValueType::kWholeNumber : ValueType::kNumber;
}

VariableProfile Profile(const Table& table, int variableNumber, bool exact) {
  const Column& column = table.Variable(variableNumber);
  const ColumnFacts facts = Survey(column, exact);
  VariableProfile profile;
  profile.variableNumber = variableNumber;
  profile.type = TypeOf(column, facts);
  profile.validCount = facts.valid;
  profile.missingCount = static_cast<std::int64_t>(column.values.size()) - facts.valid;
  profile.distinctCount = facts.distinct.Count();
  profile.distinctIsLowerBound = facts.distinct.Full();
  profile.minimum = facts.minimum;
  profile.maximum = facts.maximum;
  const bool labelled =
      profile.distinctCount <= kMaxLabelledValues && EveryValueLabelled(column, facts.distinct);
  Infer(column,
        {facts.valid, profile.distinctCount, facts.minimum, facts.maximum, facts.whole, facts.ascending,
         labelled},
        profile);
  return profile;
}

}  // namespace

VariableProfile ProfileVariable(const Table& table, int variableNumber) {
  return Profile(table, variableNumber, true);
}

std::vector<VariableProfile> ProfileTable(const Table& table, const ProfileProgress& progress, int threads) {
  std::vector<VariableProfile> profiles(table.columns.size());
  const auto profile = [&](std::size_t index, int) {
    profiles[index] = ProfileVariable(table, static_cast<int>(index) + 1);
    table.columns[index].values.Release();
  };
  WorkerPool pool(threads);
  if (!pool.Run(profiles.size(), profile, progress)) throw Cancelled();
  return profiles;
}

void InferMeasurements(Table& table, const ProfileProgress& progress, int threads) {
  std::vector<int> all(table.columns.size());
  std::iota(all.begin(), all.end(), 1);
  InferMeasurements(table, all, progress, threads);
}

void InferMeasurements(Table& table, std::span<const int> variableNumbers, const ProfileProgress& progress,
                       int threads) {
  const auto infer = [&](std::size_t index, int) {
    const int number = variableNumbers[index];
    VariableProfile profile = Profile(table, number, false);
    TakeInference(std::move(profile), table.Variable(number));
    table.Variable(number).values.Release();
  };
  WorkerPool pool(threads);
  if (!pool.Run(variableNumbers.size(), infer, progress)) throw Cancelled();
}

void InferMeasurement(const ValueSurvey& survey, Column& column) {
  VariableProfile profile;
  Infer(column, survey, profile);
  TakeInference(std::move(profile), column);
}

namespace {

// A text that keeps a column from holding numbers, with the way out.
std::string ExampleOfText(const Column& column) {
  for (const ValueLabel& label : column.labels)
    if (ParseField(label.text, true).kind == FieldKind::kText)
      return " such as " + QuotedExcerpt(label.text) +
             " (if they mean missing values, name them by --missing-text)";
  return {};
}

}  // namespace

void OverrideMeasurement(Table& table, std::span<const std::string> texts, Measurement measurement) {
  const std::vector<int> numbers = ResolveVariables(table, texts);
  for (int number : numbers)
    if (measurement == Measurement::kContinuous && table.Variable(number).fromText)
      throw DataError("The variable \"" + table.Variable(number).name + "\" holds texts" +
                      ExampleOfText(table.Variable(number)) +
                      " and cannot be used as a continuous variable.");
  for (int number : numbers) {
    Column& column = table.Variable(number);
    column.declaredMeasurement = measurement;
    column.measurement = measurement;
    column.measurementReason = "declared";
  }
}

const char* TypeName(ValueType type) {
  switch (type) {
    case ValueType::kText:
      return "text";
    case ValueType::kBoolean:
      return "yes/no";
    case ValueType::kWholeNumber:
      return "whole number";
    case ValueType::kNumber:
      return "number";
    case ValueType::kDate:
      return "date";
    case ValueType::kDateTime:
      return "date and time";
  }
  return "";
}

const char* MeasurementName(Measurement measurement) {
  return measurement == Measurement::kContinuous ? "continuous" : "categorical";
}

const char* RoleName(Role role) {
  switch (role) {
    case Role::kUsable:
      return "usable";
    case Role::kIdentifier:
      return "identifier";
    case Role::kConstant:
      return "constant";
    case Role::kDate:
      return "date";
    case Role::kAllMissing:
      return "all missing";
    case Role::kFreeText:
      return "free text";
  }
  return "";
}

}  // namespace velmora
