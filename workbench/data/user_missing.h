// Values that a file declares missing: SPSS's user-missing numbers and texts, the lettered missing
// values of Stata (.a to .z) and SAS (.A to .Z, ._). They are missing in the table; who asks for
// them gets them beside it and may put them back, as special codes.
//
//   UserMissing userMissing;
//   Table table = ReadTable("survey.sav", {.userMissing = &userMissing});
//   const std::vector<double> codes = RestoreUserMissing(userMissing["income"], table.Variable(3));
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "workbench/data/table.h"

namespace velmora {

struct UserMissingCells {
  std::vector<std::uint32_t> rows;  // from 0
  std::vector<double> values;       // as many; of a column of texts: places among texts
  std::vector<std::string> texts = {};
  std::vector<double> declared = {};  // single numbers that are missing, whether cells have them or not
};

using UserMissing = std::map<std::string, UserMissingCells>;  // by variable name

// The number that a lettered missing value becomes: far from all data.
double LetteredMissing(char letter);

// Puts the values back where the column has none; lettered ones get their letter as label where the
// file has none, texts the codes after those of the column. Returns the values that the column has
// now, ascending.
std::vector<double> RestoreUserMissing(const UserMissingCells& cells, Column& column);
// Takes the values back: the cells become missing again; labels of numbers stay.
void RemoveUserMissing(const UserMissingCells& cells, Column& column);

}  // namespace velmora
