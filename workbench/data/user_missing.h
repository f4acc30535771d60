// Values that a file declares missing: SPSS's user-missing numbers and texts, the lettered missing
// values of Stata (.a to .z) and SAS (.A to .Z, ._). They are missing in the table; on request a
// reader returns them separately, to be put back as special codes.
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

// The number for a lettered missing value, far from all data.
double LetteredMissing(char letter);

// Puts the values back into cells that are missing. Lettered values get their letter as label if
// the file has none; texts get the codes after those of the column. Returns the values that the
// column has now, ascending.
std::vector<double> RestoreUserMissing(const UserMissingCells& cells, Column& column);
// Takes the values back: the cells become missing again; labels of numbers stay.
void RemoveUserMissing(const UserMissingCells& cells, Column& column);

}  // namespace velmora
