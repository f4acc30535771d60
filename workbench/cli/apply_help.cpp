// The help page of velmora apply.
#include "workbench/cli/apply_command.h"

namespace velmora {

const char kApplyHelp[] =
    R"(velmora apply: code the cases of a table as a screening run coded its own.

Usage: velmora apply FILE... DATA [OPTIONS]

Each FILE is something that 'velmora screen' saved: a recode file (--recode), a rules script (--rules) or the bins
(--bins). What it is, is told from what stands in it. DATA, the last one, is any table with the same predictors; the
result is that table with one more variable for each coded predictor, which holds the label of the case's bin. Bins
of a binary response also give the bin's weight of evidence.

Examples:
  Screen this month, code the next:
      velmora screen may.csv --binary-response risk --good good --bad bad --bins bins.json
      velmora apply bins.json june.csv --out june_coded.parquet
  All recode files of a folder, only the key and what is coded, to the next program:
      velmora apply recodes/*.ini june.csv --keep id | head

Conditions are tested in the order of the file; a case that meets none has no value, nor has a case without the
predictor. How many cases have none is told, and also when DATA has none of the levels that a file asks for.

Where the data are
  --delimiter C           the character between fields of a text file (default: found out); tab for a tab
  --missing NAME=CODE     a number or a label that stands for no answer
  --missing-text TEXT     a text that means missing everywhere in a text file, such as NA

Where the result goes
  --out FILE              a .csv, .tsv or .parquet file, written whole or not at all; otherwise standard output, as CSV
  --keep NAME...          the variables of DATA that stand before the coded ones (default: all); patterns such as
                          'income_*' too
  --quiet                 no notes on standard error, only warnings and failures

Exit codes: 0 done, 1 failed, 2 bad use, 130 cancelled.
)";

}  // namespace velmora
