// The help page of velmora variables.
#include "workbench/cli/variables_command.h"

namespace velmora {

const char kVariablesHelp[] = R"(velmora variables: what is in a data file, and how is it taken?

Usage: velmora variables DATA [OPTIONS]

One line a variable: its number and name, what the file holds, whether it is taken as continuous or categorical and
why, whether it is screened by default, distinct and missing values, the range or the labels.

Examples:
  velmora variables survey.sav
  velmora variables orders.csv --missing amount=-1 --categorical store_id
  velmora variables orders.csv --format csv > variables.csv

Options
  --continuous NAME...        take these as measured numbers, whatever was inferred
  --categorical NAME...       take these as categories, whatever was inferred
  --missing NAME=CODE         a number or a label that stands for no answer
  --missing-text TEXT         a text that means missing everywhere in a text file, such as NA
  --delimiter C               the character between fields of a text file (default: found out); tab for a tab
  --format F                  terminal (default), json or csv

Exit codes: 0 done, 1 failed, 2 bad use, 130 cancelled.
)";

}  // namespace velmora
