// Infers what each variable of a table is: its type, its measurement, whether an analysis uses it
// by default, and why.
//
// Measurement, the first rule that applies:
// - the file or the user says so;
// - text -> categorical; date -> continuous;
// - every distinct value has a label (at most 100 of them) -> categorical;
// - one or two distinct whole numbers -> categorical;
// - at most 10 distinct whole numbers, each on average at least 5 times -> categorical;
// - anything else -> continuous.
//
// Role, the first rule that applies:
// - no value -> all missing; one distinct value -> constant; date -> date;
// - at 10 or more texts, more than nine tenths of them distinct -> identifier, or free text when
//   they are long (40 bytes or more on average) and contain blanks;
// - long texts with blanks, more than half of them distinct -> free text;
// - at 10 or more whole numbers, all distinct -> identifier when they are consecutive, ascending
//   (and not years) or starting at 0 or 1, or when the name says so (id, key, number, index ... as
//   its last word);
// - anything else -> usable.
//
//   VariableProfile profile = ProfileVariable(table, 3);
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "workbench/data/errors.h"
#include "workbench/data/table.h"

namespace velmora {

enum class ValueType { kText, kBoolean, kWholeNumber, kNumber, kDate, kDateTime };

struct VariableProfile {
  int variableNumber = 0;
  ValueType type = ValueType::kNumber;
  std::int64_t validCount = 0;
  std::int64_t missingCount = 0;
  std::int64_t distinctCount = 0;     // exact up to kMaxDistinctCounted
  bool distinctIsLowerBound = false;  // there are more than distinctCount
  double minimum = 0;                 // of the valid values; 0 when there is none
  double maximum = 0;
  Measurement measurement = Measurement::kContinuous;
  std::string measurementReason;
  Role role = Role::kUsable;
  std::string roleReason;  // empty for kUsable
};

inline constexpr std::int64_t kMaxDistinctCounted = 1 << 20;

// One pass over the column. Memory grows with the distinct values counted, to 16 MB at most.
VariableProfile ProfileVariable(const Table& table, int variableNumber);

// Called after each variable with the fraction done, 0 to 1; false ends the work, which throws
// Cancelled.
using ProfileProgress = std::function<bool(double)>;

// The profiles of all variables, in order. threads: as of WorkerPool; each variable is one thread's.
std::vector<VariableProfile> ProfileTable(const Table& table, const ProfileProgress& progress = {},
                                          int threads = 1);

// The findings of a pass over the values of a variable.
struct ValueSurvey {
  std::int64_t valid = 0;
  std::int64_t distinct = 0;
  double minimum = 0, maximum = 0;  // of the valid values
  bool whole = true;
  bool ascending = false;  // strictly, in the order of the cases
  bool everyValueLabelled = false;
};
// Writes measurement, role and their reasons into a column whose values have been surveyed
// elsewhere. The labels of a text column are its texts.
void InferMeasurement(const ValueSurvey& survey, Column& column);

// Profiles every variable and writes measurement, role and their reasons into the columns. threads:
// as for WorkerPool; each variable is processed by one thread.
void InferMeasurements(Table& table, const ProfileProgress& progress = {}, int threads = 1);
// The same for some variables.
void InferMeasurements(Table& table, std::span<const int> variableNumbers,
                       const ProfileProgress& progress = {}, int threads = 1);

// Sets the measurement of the variables that texts name (names and patterns as in
// ResolveVariables), which inference then keeps. Throws DataError for an unknown name and for a
// text column made continuous.
void OverrideMeasurement(Table& table, std::span<const std::string> texts, Measurement measurement);

const char* TypeName(ValueType type);                  // "text", "whole number", ...
const char* MeasurementName(Measurement measurement);  // "continuous", "categorical"
const char* RoleName(Role role);                       // "usable", "identifier", ...

}  // namespace velmora
