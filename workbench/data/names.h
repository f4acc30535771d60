// Resolves the names that a user writes to variables, and converts variable lists to text and back.
//
//   ResolveVariable(table, "age");              // 3
//   ParseVariableList(table, "1-3 age v9");     // {1, 2, 3, 3, 9}
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "workbench/data/errors.h"
#include "workbench/data/table.h"

namespace velmora {

// The number (from 1) of the variable called text. In this order: the exact name; v3 or V3, the
// third variable; the name in another case, if only one variable has it. Throws DataError: unknown
// (with the nearest name), a number beyond the table, ambiguous.
int ResolveVariable(const Table& table, std::string_view text);

// The same, but 0 for an unknown name or a number beyond the table. Throws DataError only for an
// ambiguous name.
int FindVariable(const Table& table, std::string_view text);

// The same for a list of names and of patterns with * (any run of characters) and ? (one
// character), which mean every variable whose name matches, in the order of the table. A variable
// named twice is kept once, at its first place. An exact name is never a pattern. Throws DataError
// also for a pattern that matches nothing.
std::vector<int> ResolveVariables(const Table& table, std::span<const std::string> texts);

// A variable list: numbers, ranges, v3, names and quoted names separated by blanks, commas or
// semicolons:
//   1-5 7 v9 amount "monthly income" 12-14      ranges also of names: risk-purpose
// Bare numbers and ranges of numbers are variable numbers, even if a variable is called so; quoted
// they are names. A text that is one name as a whole is that variable. Keeps order and repeats.
// Throws DataError naming the part at fault.
std::vector<int> ParseVariableList(const Table& table, std::string_view text);

// The shortest list of numbers: runs of three or more consecutive numbers become a range.
// {1,2,3,5,6} -> "1-3 5 6".
std::string PrintVariableList(std::span<const int> variableNumbers);

// The candidate nearest to text by edit distance (insert, delete, replace, swap of neighbours;
// letter case ignored), or -1 when none is near enough to be meant. Works on bytes.
int NearestText(std::string_view text, std::span<const std::string_view> candidates);

}  // namespace velmora
