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
  --missing NAME=CODE...      a number or a label that means missing in this variable; NAME=CODE,CODE for several, a
                              pattern such as 'q*=99' for several variables
  --missing-text TEXT         a text that means missing in every variable of a text file, such as NA; A,B for several
  --delimiter C               field separator of a text file (default: detected); tab for a tab
  --encoding E                of a text file: utf-8, utf-16, utf-16be or windows-1252 (default: detected)
  --no-header                 the first line of a text file is a case; variables are called v1, v2, ...
  --ragged HOW                what to do with rows of a text file that have more or fewer fields than columns: error
                              (default), pad (with missing values; what is too much is cut) or skip
  --date-parts NAME           adds year, month, day and weekday of this date as variables
  --since NAME=DATE           adds the days since DATE (YYYY-MM-DD) as a variable
  --sheet NAME                sheet of a workbook, by name or number (default: the first that is visible)
  --range CELLS               cells of a sheet, such as B3:F200; the first row names the columns
  --table NAME                table of a database, where it has several
  --sql-from QUERY            SELECT over a database, or without DATA over files: "SELECT * FROM 'a.parquet'"
  --threads N                 threads that work at once (default: one per processor); results do not depend on it
  --format F                  terminal (default), json or csv
  --csv-for READER            program (default) or spreadsheet: texts that begin with =, +, - or @ get an apostrophe

Exit codes: 0 done, 1 failed, 2 wrong usage, 130 cancelled.
)";

}  // namespace velmora
