// The help page of velmora feature-selection.
#include "workbench/cli/feature_selection/feature_selection_command.h"

namespace velmora {

const char kFeatureSelectionHelp[] =
    R"(velmora feature-selection: which variables are related to an outcome?

Usage: velmora feature-selection DATA --dependents NAME... [OPTIONS]

Every predictor is tested on its own against every dependent variable. A continuous dependent variable gives an F
value, a categorical one Cramer's V (or Chi-square); continuous predictors are cut into intervals of equal width first.
The best predictors are listed in order, each with the p-value of its test.

Examples:
  Which variables separate good loans from bad ones?
      velmora feature-selection credit.csv --dependents risk
  Two outcomes, selected predictors, everything with a p-value up to 0.001:
      velmora feature-selection shop.parquet --dependents revenue returned --predictors 'visit_*' age region \
          --show p --p-criterion 0.001
  A survey with weights, adults only, where -9 means no answer:
      velmora feature-selection survey.csv --dependents vote --weight w --select 'age >= 18' --missing income=-9
  A report to open in a browser@AND_COLLEAGUE@:
      velmora feature-selection credit.csv --dependents risk --out report --format @PAGE_FORMATS@
  The name of the best predictor, for another program:
      velmora feature-selection credit.csv --dependents risk --format json | jq -r '.dependents[0].best[0]'

A NAME is a variable name, v3 for the third variable, a pattern ('income_*'), or a bundle saved by --save-bundles. Give
several names after one option, separated by commas, or in repeated options. 'velmora variables DATA' lists them.

Variables
  --dependents NAME...        the outcomes; this option is required
  --predictors NAME...        the predictors (default: all usable variables; identifiers, dates, constants, free text
                              and empty variables are left out and listed)
  --continuous NAME...        treat these variables as measured numbers
  --categorical NAME...       treat these variables as categories

Cases
  --select EXPR               keep only the cases for which EXPR is true, such as 'age > 30 And Not IsMD(income)'
  --exclude EXPR              drop the cases for which EXPR is true
  --weight NAME               case weights; the variable is no predictor unless you name it as one
  --round-weights             round the weights to whole numbers
  --count NAME                the number of cases that each row represents; rows below 1 are left out
  --missing NAME=CODE         a number or a label that means missing in this variable
  --missing-text TEXT         a text that means missing in every variable of a text file, such as NA
  --casewise                  drop a case at its first missing value: the variables before it, in the order of the
                              run, still count the case (default: use every case that has both values of a pair)
  --delimiter C               field separator of a text file (default: detected); tab for a tab

  EXPR may use = == <> != < <= > >=, And Or Not, + - * / ^ and parentheses; IsMD(x) is true for a missing value; other
  functions are Abs Log Log10 Exp Sqrt Sin Cos Int Trunc Round Min Max; v0 is the number of the case. Texts need single
  quotes, as in region = 'north', names with spaces double quotes, as in "monthly income" > 1000. A comparison with a
  missing value is not true.

Scores
  --cuts N                    intervals of a continuous predictor, 1 to 20 (default 10)
  --cut-dependents            cut continuous dependent variables too and treat them as categories
  --dependent-cuts N          intervals of a continuous dependent variable, 1 to 20 (default 10)
  --chi-square                Chi-square instead of Cramer's V

Predictors shown
  --show best                 the best by their statistic (default)
  --show p                    all with a p-value up to the criterion
  --show best-by-p            the best by their p-value
  --best N                    how many with --show best, 1 to 10000 (default 10)
  --best-by-p N               how many with --show best-by-p, 1 to 10000 (default 10)
  --p-criterion P             the criterion of --show p, above 0 and below 1 (default 0.01)

Output
  --out DIR                   write @FEATURE_FILES@ into DIR, all or none
  --format F,...              @FORMATS@; without --out, one of them to standard output
  --csv-for READER            program (default) or spreadsheet, which reads texts that begin with =, +, - or @ as text
  --save-bundles              save the data with the best predictors as variable bundles, beside the other outputs
                              (without --out: in the current folder)
  --print-script              print the run as a script for velmora run, and do nothing else
  --quiet                     print only warnings and failures on standard error
  --module PATH               the module to load (default: beside the command, or VELMORA_MODULE)
  --decimal-separator C       of numbers in labels (default: of your locale in text, HTML and XLSX, a point as soon as
                              a program reads one of the outputs)
  --log FILE                  append what the module logs to FILE (default: VELMORA_LOG)

Exit codes: 0 done, 1 failed, 2 wrong usage, 130 cancelled. docs/json.md describes the JSON.
)";

}  // namespace velmora
