// The help page of velmora apply.
#include "workbench/cli/apply_command.h"

namespace velmora {

const char kApplyHelp[] =
    R"(velmora apply: code the cases of a table with the bins of a screening run.

Usage: velmora apply FILE... DATA [OPTIONS]

Each FILE was saved by 'velmora screen': bins (--bins), a recode file (--recode) or a rules script (--rules). The type
of file is recognised from its contents. DATA, the last argument, is any table with the same predictors. The result is
that table with one more variable per coded predictor, which holds the label of the case's bin. Bins of a binary
response also give the bin's weight of evidence.

Examples:
  Screen this month, code the next:
      velmora screen may.csv --binary-response risk --good good --bad bad --bins bins.json
      velmora apply bins.json june.csv --out june_coded.parquet
  All recode files of a folder; only the key and the coded variables, for another program:
      velmora apply recodes/*.ini june.csv --keep id | head

Conditions are tested in the order of the file. A case that meets none, or has no value of the predictor, gets no bin.
The number of cases without a bin is reported, with a warning for every level of a file that DATA does not have.

Data
  --delimiter C           field separator of a text file (default: detected); tab for a tab
  --missing NAME=CODE     a number or a label that means missing in this variable
  --missing-text TEXT     a text that means missing in every variable of a text file, such as NA

Output
  --out FILE              a .csv, .tsv or .parquet file, written completely or not at all (default: CSV to standard
                          output)
  --keep NAME...          the variables of DATA to keep before the coded ones (default: all); patterns such as
                          'income_*' too
  --quiet                 print only warnings and failures on standard error

Exit codes: 0 done, 1 failed, 2 wrong usage, 130 cancelled.
)";

}  // namespace velmora
