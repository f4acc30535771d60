// The help page of velmora apply.
#include "workbench/cli/apply_command.h"

namespace velmora {

const char kApplyHelp[] =
    R"(velmora apply: code the cases of a table with the bins of a screening run.

Usage: velmora apply FILE... DATA [OPTIONS]

Each FILE was saved by 'velmora screen': a recode file (--recode), a rules script (--rules) or the bins (--bins); or by
'velmora scorecard': a scorecard (--save). The kind of a file is recognized from its content. DATA, the last one, is
any table that has the predictors under exactly the same names; the result is that table with one more variable for
each coded predictor, which holds the label of the case's bin. Bins also give the bin's figures: the weight of evidence
of a binary response, the mean of a continuous one, the shares of the classes of a categorical one. A scorecard gives
the score and the probability of bad, too.

Examples:
  Screen this month, code the next:
      velmora screen may.csv --binary-response risk --good good --bad bad --bins bins.json
      velmora apply bins.json june.csv --out june_coded.parquet
  See whether next month's cases are still like those of the bins:
      velmora apply bins.json june.csv --monitor --fail-on 'psi>0.25' --out june.html
  Code a table of a server, where it is:
      velmora apply bins.json 'postgresql://host/bank?table=loans' --create-view loans_coded
  All recode files of a folder, with the key and the coded variables only, for the next program:
      velmora apply recodes june.csv --keep id | head

A case has no value where the predictor is missing or has a level that screening has not seen, unless the saved bins
have a bin for it; values that an SPSS, Stata or SAS file declares missing go to the bins of their codes. Cases with a
missing value and cases with an unseen level are counted separately, the latter with the names of the levels; there is
a warning when DATA has none of the levels that a file names. A text in a column of numbers costs that one value, which
counts as missing, and the case is named. A recode file names only its predictor; the file recode_names.json beside
it, which --recode writes, has the name of the variable, which is otherwise PREDICTOR_Coded. A folder as FILE is all
recode files that its recode_names.json lists.

In a database
  --create-view NAME      make a view of DATA, a table of PostgreSQL or DuckDB, that has its columns and the coded
                          ones; no case leaves the database. A view of that name is replaced

New values
  --unseen missing|error|LABEL
                          a level that the bins do not have counts as missing, ends the run, or gets the bin with
                          this label (the label without figures where no bin has it); default: no bin, or the bin of
                          other levels that the file has
  --strict                end the run at a text among numbers and at an unseen level

New cases against those of the bins
  --monitor               write no data, but a report: population stability index of every predictor and of the score,
                          rates, weights of evidence, information values, AUC and KS then and now, unseen levels
  --response NAME         the response in DATA, where it is called otherwise (default: as in FILE; not needed)
  --select EXPR           use only the cases for which EXPR is true
  --exclude EXPR          drop the cases for which EXPR is true
  --weight NAME           sampling weights: relative to their mean, so that their unit does not matter
  --raw-weights           weights as they are
  --count NAME            the number of equal cases that each row represents
  --fail-on CONDITION     exit code 3 when this holds, such as 'psi>0.25'; again for another one. Figures: psi (of any
                          predictor or the score), score-psi, woe-psi, iv, iv-change, auc, auc-change, gini, ks,
                          rate-change, unbinned
  --out FILE              the report as .html, .json, .csv, .xlsx or .txt (default: tables on standard output)

Data
@DATA_OPTIONS_26@
Output
  --out FILE              a .csv, .tsv or .parquet file, written completely or not at all (default: CSV to standard
                          output)
  --csv-for READER        program (default) or spreadsheet: texts that begin with =, +, - or @ get an apostrophe in
                          front
  --keep NAME...          the variables of DATA to keep before the coded ones (default: all); patterns such as
                          'income_*' too
  --threads N             threads that work at once (default: one per processor); results do not depend on it
  --memory LIMIT          memory that the run may take, such as 2G (default: three quarters of the free memory); a
                          table that does not fit is kept in scratch files in TMPDIR or /var/tmp
  --only-scores           of the variables of a scorecard, keep only the score and the probability of bad
  --quiet                 print only warnings and failures on standard error

Exit codes: 0 done, 1 failed, 2 wrong usage, 3 a condition of --fail-on is met, 130 cancelled.
)";

}  // namespace velmora
