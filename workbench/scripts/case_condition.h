// A condition on cases as a saved file holds it, met by data that may not be those it was made from.
//
// Comparisons of a variable in double quotation marks with a number or a text, joined by And, are what screening
// writes:   "age" > 2.5e+01 And "age"<=4e+01     "home"="own"
// In them a text is always a label, even if a variable has that name; a number meets a text column as the label
// that says it, and a text meets a column of numbers as the number it says. A label that the data do not have
// makes the comparison false. Everything else is an expression of the host and follows its rules. A comma
// between two digits, outside quotation marks and functions, is a decimal comma.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "workbench/data/expression.h"
#include "workbench/data/table.h"

namespace velmora {

// Throws DataError, a sentence that says what is wrong. notices: gets a sentence for each label that the data
// lack; may be null.
Expression CompileCaseCondition(std::string_view text, const Table& table, std::vector<std::string>* notices);

// The variable that a condition names first, empty when it names none.
std::string FirstNameIn(std::string_view condition);

}  // namespace velmora
