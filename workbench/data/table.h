// The workbench's input table: columns of doubles, each with a name, a long name, a missing-data
// code and value labels, plus the variable bundles of the table. Text columns are integer codes
// with labels. Readers of files make a Table, analyses read one.
//
//   const Column& age = table.Variable(ResolveVariable(table, "age"));
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/tolerant.h"
#include "workbench/data/column_values.h"

namespace velmora {

// The general missing value of the host; the default missing-data code of a column.
inline constexpr double kMissing = 1.7e308;

enum class Measurement { kContinuous, kCategorical };

// Whether a command takes a column as a predictor when the user names none. Anything but kUsable is
// left out by default and listed with its reason; the user may still name it.
enum class Role { kUsable, kIdentifier, kConstant, kDate, kAllMissing, kFreeText };

// The unit of the numbers of a column that are points in time: days or seconds since 1970-01-01
// 00:00 UTC.
enum class DateUnit { kNone, kDays, kSeconds };

struct ValueLabel {
  double value = 0;
  std::string text;
};

struct Column {
  std::string name;      // unique in its table (case-sensitive), UTF-8
  std::string longName;  // label or description, may be empty; a coded text column keeps none
  double missingCode = kMissing;
  ColumnValues values;             // one per case, missing ones the code; none if it was not read
  std::vector<ValueLabel> labels;  // ascending by value, values unique
  Measurement measurement = Measurement::kContinuous;  // inferred by the reader, may be overridden
  Role role = Role::kUsable;                           // inferred by the reader
  bool fromText = false;     // the values are codes 1..k in the byte order of the texts
  bool fromBoolean = false;  // the values are 0 and 1, labelled false and true
  DateUnit dateUnit = DateUnit::kNone;
  std::optional<Measurement> declaredMeasurement;  // by the file or the user; wins over inference
  std::string measurementReason;                   // of measurement, for the user
  std::string roleReason;                          // of any role but kUsable, for the user

  // The text of the label of value, or null.
  const std::string* LabelOf(double value) const;
  // The value whose label is text (exact match), or null.
  const double* ValueOf(std::string_view text) const;
};

// A named list of variables of the table, 1-based.
struct VariableBundle {
  std::string name;
  std::vector<int> variableNumbers;
};

struct Table {
  std::string fileName;  // as given by the user; empty for a table made in memory
  std::int64_t caseCount = 0;
  std::vector<Column> columns;  // every column that was read has caseCount values
  std::vector<VariableBundle> bundles;
  std::string declaredWeight;  // the variable that the file weights its cases by; empty: none

  int VariableCount() const { return static_cast<int>(columns.size()); }
  const Column& Variable(int variableNumber) const {
    return columns[static_cast<std::size_t>(variableNumber - 1)];
  }
  Column& Variable(int variableNumber) { return columns[static_cast<std::size_t>(variableNumber - 1)]; }
};

using vlm::IsMissing;
using vlm::MissingRange;

}  // namespace velmora
