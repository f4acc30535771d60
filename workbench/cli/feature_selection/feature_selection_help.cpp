// The help page of velmora feature-selection.
#include "workbench/cli/feature_selection/feature_selection_command.h"

namespace velmora {

const char kFeatureSelectionHelp[] =
    R"(velmora feature-selection: which variables say something about an outcome?

Usage: velmora feature-selection DATA --dependents NAME... [OPTIONS]

Every predictor is scored against every dependent variable by itself. A continuous dependent gives an F value, a
categorical one Cramer's V (or Chi-square); continuous predictors are cut into intervals first. The best predictors
are shown in order, with the probability of a statistic that large by chance.

Examples:
  What tells good credits from bad ones?
      velmora feature-selection credit.csv --dependents risk
  Two outcomes, a hand-picked list of predictors, everything with p up to 0.001:
      velmora feature-selection shop.parquet --dependents revenue returned --predictors 'visit_*' age region \
          --show p --p-criterion 0.001
  A survey with weights, adults only, -9 means no answer:
      velmora feature-selection survey.sav --dependents vote --weight w --select 'age >= 18' --missing income=-9
  A report to look at and a workbook for a colleague:
      velmora feature-selection credit.csv --dependents risk --out report --format html,xlsx
  The best predictor's name, for the next program:
      velmora feature-selection credit.csv --dependents risk --format json | jq -r '.dependents[0].best[0]'

Names are variable names, v3 for the third variable, patterns ('income_*'), or the bundles that --save-bundles has
saved. Several stand after one another, between commas, or in repeated options. Try 'velmora variables DATA' to see
them all.

Which variables
  --dependents NAME...        the outcomes; the one option that is needed
  --predictors NAME...        the candidates; otherwise every other usable variable (identifiers, dates, constants,
                              free text and empty variables are left out and named)
  --continuous NAME...        take these as measured numbers, whatever was inferred
  --categorical NAME...       take these as categories, whatever was inferred

Which cases, and how much they count
  --select EXPR               only cases for which EXPR is true, such as 'age > 30 And Not IsMD(income)'
  --exclude EXPR              not the cases for which EXPR is true
  --weight NAME               case weights; no predictor unless you name it as one
  --round-weights             round the weights to whole numbers
  --count NAME                how many cases each row stands for; rows with less than 1 are left out
  --missing NAME=CODE         a number or a label that stands for no answer
  --missing-text TEXT         a text that means missing everywhere in a text file, such as NA
  --casewise                  leave a case out from its first missing value on (default: pair by pair)
  --delimiter C               the character between fields of a text file (default: found out); tab for a tab

  EXPR compares and computes: = <> < <= > >= And Or Not + - * / ^ ( ), IsMD(x) for missing, Abs Log Log10 Exp Sqrt
  Sin Cos Int Trunc Round Min Max; v0 is the number of the case. A text stands in single quotes, region = 'north'; a
  name with blanks in double ones, "monthly income" > 1000. What compares with a missing value is not true.

How predictors are scored
  --cuts N                    intervals of a continuous predictor, 1 to 20 (default 10)
  --cut-dependents            cut continuous dependents too and score them as categories
  --dependent-cuts N          intervals of a continuous dependent, 1 to 20 (default 10)
  --chi-square                Chi-square in place of Cramer's V

Which predictors are shown
  --show best                 the best by their statistic (default)
  --show p                    all with a p-value up to the criterion
  --show best-by-p            the best by their p-value
  --best N                    how many with --show best, 1 to 10000 (default 10)
  --best-by-p N               how many with --show best-by-p, 1 to 10000 (default 10)
  --p-criterion P             the criterion of --show p, above 0 and below 1 (default 0.01)

Where results go
  --out DIR                   write feature_selection.html, .xlsx, .json and .csv into DIR, all or none
  --format F,...              terminal, json, csv, xlsx or html; without --out one of them, to standard output
  --save-bundles              save the data with the best predictors as variable bundles, beside the outputs
                              (in the present folder without --out)
  --print-script              print the run as a script for velmora run, and do nothing else
  --quiet                     no notes on standard error, only warnings and failures
  --module PATH               the module to load (default: beside the command, or VELMORA_MODULE)
  --log FILE                  append what the module logs to FILE (default: VELMORA_LOG)

Exit codes: 0 done, 1 failed, 2 bad use, 130 cancelled. The JSON is described in docs/json.md.
)";

}  // namespace velmora
