// Conditions of a saved file, read against data that may not be those it was made from.
//
// Screening writes comparisons of a variable in double quotation marks with a number or a text,
// joined by And:
//   "age" > 2.5e+01 And "age"<=4e+01     "home"="own"
// Names are exact: neither another letter case nor v3 finds a variable. A text that a variable is
// compared with is always a label, even if a variable has that name. In a column of texts, a number
// means the texts that read as it; in a column of numbers, a text means the number it reads as. A
// label that the data do not have makes the comparison false. Dates are the numbers they are held
// as.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "workbench/data/table.h"
#include "workbench/language/expression.h"

namespace velmora {

// The number that a whole text reads as, if it reads as one.
std::optional<double> NumberIn(std::string_view text);
// The shortest text that reads as the finite number.
std::string NumberText(double value);

// The variables and labels of a table as saved files name them. Each lookup costs no more than a
// hash.
class SavedNames final : public ExpressionNames {
 public:
  // The table must outlive this and keep its columns.
  explicit SavedNames(const Table& table);

  const Table& Data() const { return table_; }
  std::string FileName() const { return table_.fileName.empty() ? "the table" : table_.fileName; }
  // The variable of exactly this name. Throws DataError with the nearest name.
  int Variable(const std::string& name) const;
  // The values of the variable that a text means: its label's; without labels, the number it reads
  // as.
  std::vector<double> ValuesOfLevel(int variable, const std::string& text) const;
  // The values that a number means: itself; in a column of texts, those of the texts that read as
  // it.
  std::vector<double> ValuesOfLevel(int variable, double number) const;
  // The value of a label, or null.
  const double* ValueOfText(int variable, std::string_view text) const override;

  int FindVariable(std::string_view name) const override;
  std::string NearestName(std::string_view name) const override;
  std::string NameOf(int variable) const override { return table_.Variable(variable).name; }
  std::string NearestText(int, std::string_view) const override { return {}; }
  DateUnit DateUnitOf(int) const override { return DateUnit::kNone; }

 private:
  struct Labels {
    std::unordered_map<std::string_view, const double*> valueOf;
    std::multimap<double, double> reading;  // number that a label reads as -> value
  };
  const Labels& LabelsOf(int variable) const;

  const Table& table_;
  std::unordered_map<std::string_view, int> variables_;
  mutable std::unordered_map<int, Labels> labels_;
};

// A level that a condition compares with.
struct ReferencedLevel {
  std::string variable, level;
  bool inData = false;
};

// Replaces labels by the numbers that they are in the data, so that the value can be compiled with
// the same names. levels: gets the levels that the value compares with. Throws DataError, one
// sentence.
void ResolveSaved(Syntax& value, const SavedNames& names, std::vector<ReferencedLevel>& levels);

// The numbers of one variable for which a condition is true.
struct VariableRanges {
  int variable = 0;
  std::vector<std::pair<double, double>> ranges;  // both ends included
};

// The ranges of a condition that ResolveSaved has resolved; nothing when it does more than compare
// one variable with numbers.
std::optional<VariableRanges> RangesOf(const Syntax& condition, const SavedNames& names);

}  // namespace velmora
