// The help page of velmora screen.
#include "workbench/cli/screen/screen_command.h"

namespace velmora {

const char kScreenHelp[] =
    R"(velmora screen: bin every variable and score how well the bins predict an outcome.

Usage: velmora screen DATA --binary-response NAME --good CODE --bad CODE [OPTIONS]
       velmora screen DATA --continuous-response NAME [OPTIONS]
       velmora screen DATA --categorical-response NAME [OPTIONS]

Each predictor is binned by its own decision tree; then its bins are scored: Gini impurity, weight of evidence and
information value for a good/bad flag, R-squared and F for a measured response, Chi-square for a response with several
classes. One response of each kind can be given in the same run. Predictors are listed by score, with their bins.

Examples:
  Which variables separate good loans from bad ones?
      velmora screen credit.csv --binary-response risk --good good --bad bad
  The same by information value, with the bins of the ten best:
      velmora screen credit.csv --binary-response risk --good good --bad bad --sort-binary iv --best 10
  A price and a class in one run, selected predictors, a report:
      velmora screen houses.parquet --continuous-response price --categorical-response quality \
          --predictors lotsize 'room*' --out report
  Your own bins, from a file that holds {"age": [25, 40], "home": [["owner"], ["rent", "other"]]}:
      velmora screen credit.csv --binary-response risk --good good --bad bad --cut-points bins.json
  Code next month's data with the bins of the ten best:
      velmora screen may.csv --binary-response risk --good good --bad bad --bins bins.json
      velmora apply bins.json june.csv --out june_coded.csv
  The cut points of the best predictor, for another program:
      velmora screen credit.csv --binary-response risk --good good --bad bad --format json |
          jq '.responses[0].predictors[0].cutPoints'

A NAME is a variable name, v3 for the third variable, or a pattern ('income_*'). A CODE is a value label or a number.
'velmora variables DATA' lists them.

Responses, at least one
  --binary-response NAME       a flag
  --good CODE                  its good code
  --bad CODE                   its bad code; cases with other codes are left out
  --continuous-response NAME   a measured outcome
  --categorical-response NAME  an outcome with several classes

Variables
  --predictors NAME...        the predictors (default: all usable variables; identifiers, dates, constants, free text
                              and empty variables are left out and listed)
  --continuous NAME...        treat these variables as measured numbers
  --categorical NAME...       treat these variables as categories

Cases
  --select EXPR               keep only the cases for which EXPR is true, such as 'age > 30 And Not IsMD(income)'
  --exclude EXPR              drop the cases for which EXPR is true; they still take part in the search for bins, so
                              use --select to keep them out of it
  --weight NAME               case weights; the variable is no predictor unless you name it as one
  --missing NAME=CODE         a number or a label that means missing in this variable
  --missing-text TEXT         a text that means missing in every variable of a text file, such as NA
  --delimiter C               field separator of a text file (default: detected); tab for a tab
  'velmora help feature-selection' describes EXPR.

Bins
  --cut-points FILE           a JSON file with your own bins: cut points of measured variables (a cut point belongs
                              to the bin below it), groups of levels of categorical ones, or what --bins has written
                              and 'velmora bins edit' has changed; the other predictors are still searched
  --no-prune                  keep splits that do no better than chance (a bin always holds 5 % of all cases, unless
                              no split would be left)

Order
  --sort-binary gini|iv             by Gini impurity, smallest first (default), or by information value
  --sort-continuous r2|f            by R-squared (default) or by F
  --sort-categorical p|chi-square   by p-value (default) or by Chi-square

Files for scoring new data (all are written, or none)
  --save-best N               predictors of each response to save, best first, 1 to 100000 (default 10)
  --bins FILE                 their bins as JSON, for 'velmora apply', 'velmora bins' and --cut-points
  --recode DIR                one recode file per predictor, for 'velmora apply'
  --rules FILE                one rules script for all of them, for 'velmora apply'
  --sql FILE                  their bins as a query of CASE expressions: bin label and weight of evidence
  --sql-dialect DIALECT       of the query: standard (default), postgresql, mysql, sqlserver, oracle, bigquery, spark,
                              duckdb or sqlite
  --python FILE               the same as a Python function that needs no library
  --coded FILE                the table with the coded variables, as .csv, .tsv or .parquet

Output
  --best N                    predictors of each response whose bins are shown, 0 to 10000 (default: 5 on a terminal,
                              20 with graphs in the page@AND_WORKBOOK@); the page shows the others on request,
                              JSON@COMMA_XLSX@ and screening_bins.csv have them all
  --out DIR                   write @SCREEN_FILES@ into DIR, all or none
  --format F,...              @FORMATS@; without --out, one of them to standard output
  --csv-for READER            program (default) or spreadsheet, which reads texts that begin with =, +, - or @ as text
  --print-script              print the run as a script for velmora run, and do nothing else
  --quiet                     print only warnings and failures on standard error
  --module PATH               the module to load (default: beside the command, or VELMORA_MODULE)
  --decimal-separator C       of numbers in labels (default: of your locale in text, HTML and XLSX, a point as soon as
                              a program reads one of the outputs)
  --log FILE                  append what the module logs to FILE (default: VELMORA_LOG)

Exit codes: 0 done, 1 failed, 2 wrong usage, 130 cancelled. docs/json.md describes the JSON.
)";

}  // namespace velmora
