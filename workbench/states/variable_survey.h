// The survey of a variable in the first pass: its kind, its values and how often each occurs, from
// which the second pass has intervals, levels or classes.
//
//   VariableSurvey survey("age", limits);
//   survey.Take(column, cases);   // for every part
//   survey.Merge(otherParts);
//   Column column = survey.Representative({}); // its values, each once; with its measurement
#pragma once

#include <map>
#include <span>
#include <string>

#include "workbench/data/table.h"
#include "workbench/ranking/case_groups.h"
#include "workbench/states/part_cases.h"
#include "workbench/states/value_cells.h"

namespace velmora::states {

struct SurveyLimits {
  std::size_t cells = 6400;     // of numbers
  std::size_t levels = 100000;  // different texts; a variable that has more is left out
};

class VariableSurvey {
 public:
  enum class Kind { kNothing, kNumbers, kTruth, kDays, kSeconds, kTexts };
  struct LevelCount {
    double all = 0;  // cases, used or not
    double cases = 0, mass = 0;
  };

  VariableSurvey() = default;
  VariableSurvey(std::string name, const SurveyLimits& limits);

  // keepAll: the data have cases that are not used, whose values are surveyed beside those of the
  // others. Throws DataError when the column holds texts in one part and numbers in another.
  void Take(const Column& column, const PartCases& cases, bool keepAll);
  void Merge(const VariableSurvey& other);

  const std::string& Name() const { return name_; }
  Kind HoldsKind() const { return kind_; }
  bool HasTooManyLevels() const { return tooManyLevels_; }
  // The values of the used cases.
  const ValueCells& Cells() const { return used_; }
  const std::map<std::string, LevelCount>& Levels() const { return levels_; }
  const ranking::Moments& UsedMoments() const { return moments_; }
  double UsedCases() const { return usedCases_; }
  double Lowest() const;
  double Highest() const;
  // Different values of the used cases; a lower bound when the cells are not exact.
  std::size_t Distinct() const;

  // The variable with each of its used values once, labels of all its texts, and measurement and
  // role as they are inferred from all cases. declared: the measurement that the user declares.
  Column Representative(std::optional<Measurement> declared) const;

  Packed Pack() const;
  static VariableSurvey Unpack(const Packed& packed);

 private:
  void SetKind(Kind kind);
  void TakeTexts(const Column& column, const PartCases& cases);
  // valid: how many of the cases have a value.
  void TakeSingle(const Column& column, const PartCases& cases, double valid, bool keepAll);
  // Values of used cases, each of which counts once.
  void TakeUsed(std::span<const double> used);
  void CheckLevels();

  std::string name_;
  SurveyLimits limits_;
  Kind kind_ = Kind::kNothing;
  std::optional<Measurement> declared_;  // by the data
  bool whole_ = true;
  bool keepsAll_ = false;
  double valid_ = 0;             // of all cases
  ValueCells all_{1024}, used_;  // all_: only with keepsAll_
  double usedCases_ = 0;
  ranking::Moments moments_;
  bool tooManyLevels_ = false;
  std::map<std::string, LevelCount> levels_;
};

}  // namespace velmora::states
