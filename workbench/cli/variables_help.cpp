// The help page of velmora variables.
#include "workbench/cli/variables_command.h"

namespace velmora {

const char kVariablesHelp[] =
    R"(velmora variables: list the variables of a data file and how each will be treated.

Usage: velmora variables DATA [OPTIONS]

One line per variable: number, name, type, whether it is treated as continuous or categorical and why, whether it is
screened by default, how many distinct and missing values it has, and its range or labels.

Examples:
  velmora variables orders.csv
  velmora variables orders.csv --missing amount=-1 --categorical store_id
  velmora variables orders.csv --format csv > variables.csv

Options
  --continuous NAME...        treat these variables as measured numbers
  --categorical NAME...       treat these variables as categories
@DATA_OPTIONS@  --threads N                 threads that work at once (default: one per processor); results do not depend on it
  --memory LIMIT              memory that the run may take, such as 2G (default: three quarters of what there is); a
                              table that does not fit is kept in scratch files in TMPDIR or /var/tmp
  --format F                  terminal (default), json or csv
  --csv-for READER            program (default) or spreadsheet: texts that begin with =, +, - or @ get an apostrophe

Exit codes: 0 done, 1 failed, 2 wrong usage, 130 cancelled.
)";

}  // namespace velmora
