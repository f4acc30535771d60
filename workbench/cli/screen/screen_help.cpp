// The help page of velmora screen.
#include "workbench/cli/screen/screen_command.h"

namespace velmora {

const char kScreenHelp[] =
    R"(velmora screen: bin every variable and score how well the bins predict an outcome.

Usage: velmora screen DATA --binary-response NAME --good CODE --bad CODE [OPTIONS]
       velmora screen DATA --continuous-response NAME [OPTIONS]
       velmora screen DATA --categorical-response NAME [OPTIONS]

Each predictor gets the bins that describe the response best among all possible ones, as many as the data support;
then its bins are scored: weight of evidence and information value for a good/bad flag, R-squared and F for a measured
response, Chi-square for a response with several classes. Predictors are listed by their score on cases that had no
part in finding the bins (10-fold cross-validation); those that are no better than chance come last. One response of
each kind can be given in the same run.

Examples:
  Which variables separate good loans from bad ones?
      velmora screen credit.csv --binary-response risk --good good --bad bad
  Bins whose bad rate only rises or only falls, at most five of them:
      velmora screen credit.csv --binary-response risk --good good --bad bad --shape monotone --max-bins 5
  Exactly as the dialogs do it, by decision trees:
      velmora screen credit.csv --binary-response risk --good good --bad bad --classic
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
  --nominal NAME...           these numbers are names of categories; otherwise whole numbers with few values keep their
                              order
  --ordinal NAME...           the values of these variables have an order, also where they have labels

Cases
  --select EXPR               keep only the cases for which EXPR is true, such as 'age > 30 And Not IsMD(income)'
  --exclude EXPR              drop the cases for which EXPR is true; with --classic they still take part in the search
                              for bins
  --weight NAME               sampling weights, taken relative to their mean; the variable is not a predictor unless
                              you name it
  --raw-weights               take the weights as the file has them: their sum is the number of cases
  --count NAME                the number of equal cases that each row represents
  --strata NAME               strata of the sample, and
  --clusters NAME             clusters (primary sampling units) within them, such as schools or customers: design
                              effects and p-values take them into account, bins are found with the effective number of
                              cases, and out-of-fold figures are those of other clusters
@DATA_OPTIONS@  'velmora help feature-selection' describes EXPR.

In a database
@DATABASE_OPTIONS@
Bins
  --cut-points FILE           a JSON file with your own bins: cut points of measured variables (a cut point belongs
                              to the bin below it), groups of levels of categorical ones, or what --bins has written
                              and 'velmora bins edit' has changed; the other predictors are still searched
  --shape SHAPE               of the bad rate or the mean over the bins: free (default), monotone, ascending,
                              descending, peak, valley or auto (monotone, peak or valley); NAME=SHAPE for some variables
  --shapes FILE               shapes of single variables: a JSON file, as in {"age": "ascending", "income*": "monotone"}
  --max-bins N                at most N bins (default 8)
  --min-bins N                at least N bins, where the other rules allow it (default 1: none if chance explains all)
  --bin-count N               exactly N bins, where the other rules allow it
  --min-bin-share S           share of the predictor's cases in each bin (default 0.05)
  --min-bin-cases N           cases in each bin
  --min-bin-events N          cases of each class in each bin
  --max-adjacent-p P          neighbouring bins differ at this level (Chi-square; Welch's t test of means)
  --min-level-share S         levels of a categorical variable that are rarer than S, and than half
                              the average level, share a bin (default 0.01)
  --criterion NAME            of the search: deviance (default), iv (information value), gini (impurity) or variance
  --pre-bins N                the search joins this many quantiles or distinct values, 2 to 1000 (default 100)
  --special NAME=CODE,...     codes that are not values, such as income=-999,-998 or 'q*=99': a bin for each code
  --special user-missing      the same for the values that an SPSS, Stata or SAS file declares missing
  --special-together          one bin for all special codes of a variable
  --missing-bin WHERE         cases without a value: own (their own bin, the default), lowest or highest (with the
                              first or last bin), most-alike (with the bin nearest in rate), drop (the default of
                              --binning tree)
  --pure-bin-correction on|off  add half a case to both counts of a bin without bad or good cases, so that it has a
                              weight of evidence (default on)
  --binning optimal|tree      optimal bins (default), or decision trees
  --no-prune                  of trees: keep splits that do no better than chance
  --classic                   exactly as the dialogs do it: trees, missing values left out, predictors in the order of
                              --sort-binary, --sort-continuous and --sort-categorical

Groups of cases
  --by NAME                   compare the bins between the groups that this variable makes, such as periods, samples or
                              regions, 2 to 50: rates, shares, weights of evidence, population stability index, trend
                              of the information value; it is not a predictor unless named
  --by-reference first|all    what the groups are compared with: the first one (default), or all together

Order
  --rank-by FIGURE                  out-of-fold (default: information value, or share of variance or deviance
                                    explained, of cases held out), out-of-fold-gini, iv, gini (impurity), chi-square,
                                    p, v, r2, f or r2-ranks
  --sort-binary gini|iv             the order of the dialogs: by Gini impurity, smallest first, or information value
  --sort-continuous r2|f            by R-squared or by F
  --sort-categorical p|chi-square   by p-value or by Chi-square

Chance
  --permutations N            deal the response out at random N times and repeat every search for bins: p-values of the
                              search of each predictor, and of the best of all (step-down maximum)
  --seed S                    of the random numbers (default 1)

Redundancy
  --compare N                 compare the bins of the N best predictors of each response, 0 to 2000 (default 50): which
                              say the same as a better one, and a heat map in the page
  --same-from V               corrected Cramer's V from which they do (default 0.6)
  --distinct                  list and save only the best of those that say the same
  --adds                      the order in which predictors add most, and the share of each one's information that none
                              before it has

Files for scoring new data (all are written, or none)
  --save-best N               predictors of each response to save, best first, 1 to 100000 (default 10)
  --save-chance               also save predictors that are no better than chance
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
                              20 with graphs in the page and the workbook); the page shows the others on request,
                              JSON, XLSX and screening_bins.csv have them all
  --out DIR                   write screening.html, .xlsx, .json, .csv and screening_bins.csv into DIR, all or none
  --format F,...              terminal, json, csv, xlsx or html; without --out, one of them to standard output
  --csv-for READER            program (default) or spreadsheet: texts that begin with =, +, - or @ get an apostrophe
  --print-script              print the run as a script for velmora run, and do nothing else
@RUN_OPTIONS@
Exit codes: 0 done, 1 failed, 2 wrong usage, 130 cancelled. docs/json.md describes the JSON.
)";

}  // namespace velmora
