// The help page of velmora screen.
#include "workbench/cli/screen/screen_command.h"

namespace velmora {

const char kScreenHelp[] =
    R"(velmora screen: how well does each variable, cut into bins, tell an outcome?

Usage: velmora screen DATA --binary-response NAME --good CODE --bad CODE [OPTIONS]
       velmora screen DATA --continuous-response NAME [OPTIONS]
       velmora screen DATA --categorical-response NAME [OPTIONS]

Every predictor is cut into bins by a classification or regression tree of its own; then the bins are scored: Gini,
weight of evidence and information value for a good/bad flag, R-squared and F for a measured response, Chi-square
for a response of several classes. Responses of the three kinds may be given together. Predictors stand in the order
of their score, each with its bins.

Examples:
  Which characteristics tell good credits from bad ones?
      velmora screen credit.csv --binary-response risk --good good --bad bad
  The same by information value, with the bins of the ten best:
      velmora screen credit.csv --binary-response risk --good good --bad bad --sort-binary iv --best 10
  A price and a class in one run, some predictors, a report:
      velmora screen houses.parquet --continuous-response price --categorical-response quality \
          --predictors lotsize 'room*' --out report
  Bins of your own:
      echo '{"age": [25, 40], "home": [["owner"], ["rent", "other"]]}' > bins.json
      velmora screen credit.csv --binary-response risk --good good --bad bad --cut-points bins.json
  Code next month's data by the bins of the ten best:
      velmora screen may.csv --binary-response risk --good good --bad bad --bins bins.json
      velmora apply bins.json june.csv --out june_coded.csv
  Cut points of the best predictor, for the next program:
      velmora screen credit.csv --binary-response risk --good good --bad bad --format json |
          jq '.responses[0].predictors[0].cutPoints'

Names are variable names, v3 for the third variable, or patterns ('income_*'). Codes are value labels or numbers. Try
'velmora variables DATA' to see them all.

Responses, at least one
  --binary-response NAME       a flag
  --good CODE                  the good one of its codes
  --bad CODE                   the bad one; cases with other codes are left out
  --continuous-response NAME   a measured outcome
  --categorical-response NAME  an outcome of classes

Which variables
  --predictors NAME...        the candidates; otherwise every other usable variable (identifiers, dates, constants,
                              free text and empty variables are left out and named)
  --continuous NAME...        take these as measured numbers, whatever was inferred
  --categorical NAME...       take these as categories, whatever was inferred

Which cases, and how much they count
  --select EXPR               only cases for which EXPR is true, such as 'age > 30 And Not IsMD(income)'
  --exclude EXPR              not the cases for which EXPR is true (bins are still searched on them; all figures
                              leave them out)
  --weight NAME               case weights; no predictor unless you name it as one
  --missing NAME=CODE         a number or a label that stands for no answer
  --missing-text TEXT         a text that means missing everywhere in a text file, such as NA
  --delimiter C               the character between fields of a text file (default: found out); tab for a tab

Bins
  --cut-points FILE           a JSON file with bins of your own: cut points of measured variables (a bin holds its
                              upper end), groups of levels of categorical ones; the others are still searched for
  --no-prune                  keep splits that are no better than chance (a bin always holds 5 % of all cases,
                              unless no split would be left)

Order
  --sort-binary gini|iv             by Gini, smallest first (default), or by information value
  --sort-continuous r2|f            by R-squared (default) or by F
  --sort-categorical p|chi-square   by p-value (default) or by Chi-square

What the next data need, whole or not at all; 'velmora apply' takes recode files, rules and bins
  --save-best N               predictors of each response that are saved, best first, 1 to 100000 (default 10)
  --coded FILE                the table with the coded variables, as .csv, .tsv or .parquet
  --recode DIR                a recode file for each of them
  --rules FILE                a rules script for all of them
  --bins FILE                 their bins as JSON
  --sql FILE                  their bins as a query of CASE expressions: bin label and weight of evidence
  --python FILE               the same as a Python function that needs no library

Where results go
  --best N                    predictors of each response whose bins are shown, 0 to 10000 (default: 5 on a terminal,
                              20 with their graphs in the page and the workbook); the page makes the bins of the
                              others on demand, JSON, XLSX and screening_bins.csv have them all
  --out DIR                   write screening.html, .xlsx, .json, .csv and screening_bins.csv into DIR, all or none
  --format F,...              terminal, json, csv, xlsx or html; without --out one of them, to standard output
  --print-script              print the run as a script for velmora run, and do nothing else
  --quiet                     no notes on standard error, only warnings and failures
  --module PATH               the module to load (default: beside the command, or VELMORA_MODULE)
  --decimal-separator C       of numbers in labels (default: of your locale in text, HTML and XLSX, a point as soon as
                              a program reads one of the outputs)
  --log FILE                  append what the module logs to FILE (default: VELMORA_LOG)

Exit codes: 0 done, 1 failed, 2 bad use, 130 cancelled. The JSON is described in docs/json.md.
)";

}  // namespace velmora
