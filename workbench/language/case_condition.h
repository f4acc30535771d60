// A condition on cases as a saved file holds it, met by data that may not be those it was made from.
//
// Comparisons of a variable in double quotation marks with a number or a text, joined by And, are what screening
// writes:   "age" > 2.5e+01 And "age"<=4e+01     "home"="own"
// In them a text is always a label, even if a variable has that name; a number meets a text column as the label
// that says it, and a text meets a column of numbers as the number it says. A label that the data do not have
// makes the comparison false. Everything else is an expression of the host and follows its rules. A comma
// between two digits, outside quotation marks and functions, is a decimal comma.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "workbench/data/table.h"
#include "workbench/language/expression.h"

namespace velmora {

// A level that a condition asks for.
struct AskedLevel {
  std::string variable, level;
  bool inData = false;
};

class CaseCondition {
 public:
  // Throws DataError, a sentence that says what is wrong. asked: gets the levels that the condition asks for.
  // The table must outlive this and keep its columns.
  CaseCondition(std::string_view text, const Table& table, std::vector<AskedLevel>& asked);

  // For the cases firstCase .. firstCase + count - 1 (from 0), count at most kMostCases: isTrue and isMissing
  // get a 1 where the condition is true and where it is missing. Allocates at most once in its life.
  static constexpr std::size_t kMostCases = 4096;
  void Evaluate(std::int64_t firstCase, std::size_t count, std::uint8_t* isTrue, std::uint8_t* isMissing);

 private:
  // Comparisons of one variable come down to the numbers from low to high.
  struct Range {
    const double* values;
    MissingRange missing;
    double low, high;
  };

  const Table* table_;
  std::unique_ptr<Range> range_;
  std::unique_ptr<Expression> expression_;  // when there is no range
  std::vector<double> results_;             // of the expression
};

// The variable that a condition names first, empty when it names none.
std::string FirstNameIn(std::string_view condition);

// The text in double quotation marks, those inside doubled.
std::string DoubleQuoted(std::string_view text);

// Compiles an expression of the host out of a saved file: a comma between two digits, outside quotation marks
// and functions, is a decimal comma. Throws DataError.
Expression CompileSavedExpression(std::string_view text, const Table& table);

}  // namespace velmora
