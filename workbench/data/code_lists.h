// Codes of one variable as people and scripts write them, and back:
//
//   ParseCodes(purpose, "\"new car\" 3-5 9", values)   -> the label's code, 3, 4, 5 and 9
//   ParseCodes(purpose, "*", values)                   -> whatever values() gives, marked as all
//
// The dialogs, their answers by script and the properties of their automation objects all read
// codes here.
#pragma once

#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "contract/automation.h"
#include "workbench/data/table.h"

namespace velmora {

// The codes chosen for one variable.
struct CodeChoice {
  std::vector<double> codes;  // each once
  bool all = false;           // chosen by "*": means all values at the time of use

  bool operator==(const CodeChoice&) const = default;
};

// Gives the values that "*" means, ascending. Called only when they are needed.
using CodeValues = std::function<std::vector<double>()>;

// Value labels, numbers, ranges of whole numbers ("1-4") and "*", separated by blanks, tabs, commas
// or semicolons. A label that holds a separator is put in double quotation marks, those inside it
// doubled; a text that is one label as a whole needs none. A label comes before a number, but "*"
// without quotation marks is always all values. Throws DataError naming the part at fault.
CodeChoice ParseCodes(const Column& column, std::string_view text, const CodeValues& values);

// The same for what a script gives: such a text, a number, or an array of these. Throws DataError
// also for a value that is neither.
CodeChoice ReadCodes(const Column& column, const vlm::AutomationValue& value, const CodeValues& values);

// The value with this label or, if the values are not texts, this number; otherwise nothing.
std::optional<double> CodeNamed(const Column& column, std::string_view text);

// A text that ParseCodes reads back: the codes as numbers, or all as labels where a number is the
// label of another value.
std::string PrintCodes(const Column& column, std::span<const double> codes);
// One code for people: its label in quotation marks, or the number.
std::string ShownCode(const Column& column, double code);

}  // namespace velmora
