// The help page of velmora feature-selection.
#include "workbench/cli/feature_selection/feature_selection_command.h"

namespace velmora {

const char kFeatureSelectionHelp[] =
    R"(velmora feature-selection: which variables are related to an outcome?

Usage: velmora feature-selection DATA --dependents NAME... [OPTIONS]

Every predictor is tested on its own against every dependent variable. A continuous dependent variable gives an F
value, a categorical one Cramer's V (or Chi-square); continuous predictors are cut into intervals with about as many
cases in each first. Predictors are ranked by the size of their effect, corrected for their number of levels: epsilon
squared (the share of the variance explained) or a corrected Cramer's V, with its 95 % interval and p-values.
Predictors that cannot be distinguished from chance are marked n.s., come after the others and are not among the best.

Examples:
  Which variables separate good loans from bad ones?
      velmora feature-selection credit.csv --dependents risk
  Two outcomes, selected predictors, everything with a p-value up to 0.001:
      velmora feature-selection shop.parquet --dependents revenue returned --predictors 'visit_*' age region \
          --show p --p-criterion 0.001
  A survey with weights, adults only, where -9 means no answer:
      velmora feature-selection survey.csv --dependents vote --weight w --select 'age >= 18' --missing income=-9
  A report to open in a browser and a workbook for a colleague:
      velmora feature-selection credit.csv --dependents risk --out report --format html,xlsx
  A table of a server, where it is:
      velmora feature-selection 'postgresql://host/bank?table=loans' --dependents risk --push-down
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
  --weight NAME               sampling weights: only their ratios matter, and p-values are those of the cases that
                              were drawn; the variable is not a predictor unless you name it
  --strata NAME               strata of the sample, and
  --clusters NAME             clusters (primary sampling units) within them: p-values take the design into account
  --count NAME                the number of cases that each row represents; rows below 1 are left out
  --casewise                  use only cases without a missing value in the variables of the run (default: every case
                              that has both values of a pair)
@DATA_OPTIONS@
  EXPR may use = == <> != < <= > >=, And Or Not, + - * / ^ and parentheses; IsMD(x) is true for a missing value; other
  functions are Abs Log Log10 Exp Sqrt Sin Cos Int Trunc Round Min Max; v0 is the number of the case. Texts need single
  quotes, as in region = 'north', names with spaces double quotes, as in "monthly income" > 1000. A comparison with a
  missing value is not true.

In a database
@DATABASE_OPTIONS@
Ranking
  --rank-by effect            by effect, p-values second (default); or by statistic, or by p
  --intervals quantiles       about as many cases in each interval of a continuous predictor (default); or equal-width;
                              or tree: intervals that are searched for, with p-values corrected for the search
  --cuts N                    intervals of a continuous predictor, 1 to 20 (default 10)
  --cut-dependents            cut continuous dependent variables too and treat them as categories
  --dependent-cuts N          intervals of a continuous dependent variable, 1 to 20 (default 10)
  --chi-square                show Chi-square instead of Cramer's V
  --adjust bh                 adjust p-values for the number of predictors: bh (Benjamini-Hochberg, default), by
                              (Benjamini-Yekutieli), holm or none
  --adjust-across             over the predictors of all dependent variables together
  --exact                     where an expected count is below 5: Fisher's exact test of 2 x 2 tables, a Monte Carlo
                              test of larger ones
  --replicates N              tables of a Monte Carlo test (default 9999)
  --seed N                    of its random numbers (default 1): the same seed gives the same p-values
  --alpha P                   predictors with an adjusted p-value above P are marked n.s. (default 0.05)

Predictors shown
  --show best                 the best of the ranking (default)
  --show p                    all with an adjusted p-value up to the criterion
  --show best-by-p            the best by their p-value
  --best N                    how many with --show best, 1 to 10000 (default 10)
  --best-by-p N               how many with --show best-by-p, 1 to 10000 (default 10)
  --p-criterion P             the criterion of --show p, above 0 and below 1 (default 0.01)

The run of the dialogs
  --classic                   as the analysis's dialogs and scripts run it: ranked by statistic, intervals of equal
                              width, p-values not adjusted, weights as they are; --casewise then drops a case at its
                              first missing value, and the variables before it still count the case
  --raw-weights               take the weights as the file has them: their sum is the number of cases
  --round-weights             with --classic, round the weights to whole numbers
  --print-script              with --classic, print the run as a script for velmora run, and do nothing else

Output
  --out DIR                   write feature_selection.html, .xlsx, .json and .csv into DIR, all or none
  --format F,...              terminal, json, csv, xlsx or html; without --out, one of them to standard output
  --csv-for READER            program (default) or spreadsheet: texts that begin with =, +, - or @ get an apostrophe
  --save-bundles              save the data with the best predictors as variable bundles, beside the other outputs
                              (without --out: in the current folder)
@RUN_OPTIONS@
Exit codes: 0 done, 1 failed, 2 wrong usage, 130 cancelled. docs/json.md describes the JSON.
)";

}  // namespace velmora
