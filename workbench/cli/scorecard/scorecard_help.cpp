// The help page of velmora scorecard.
#include "workbench/cli/scorecard/scorecard_command.h"

namespace velmora {

const char kScorecardHelp[] =
    R"(velmora scorecard: turn the bins of several predictors into one score.

Usage: velmora scorecard DATA --bins FILE [OPTIONS]

FILE was saved by 'velmora screen --bins' for a binary response. A logistic regression of the bad cases on the weights
of evidence of the bins gives every bin its points; the score of a case is their sum, and higher is better. Missing
values, special codes and new levels get the points of their bin, or neutral ones where they have none.

Examples:
  velmora screen may.csv --binary-response risk --good good --bad bad --bins bins.json
  velmora scorecard may.csv --bins bins.json --stepwise --test june.csv --save card.json --out report
  velmora apply card.json july.csv --only-scores --out scored.csv

Response and predictors
  --response NAME         the response, where FILE has bins for several
  --bad CODE, --good CODE
                          its codes, to make sure that they are those of FILE
  --predictors NAME...    the predictors that may enter (default: all of FILE); patterns such as 'income_*' too
  --stepwise              let predictors in one by one, the most promising first, as long as one lowers the
                          out-of-fold deviance by more than its standard error and no coefficient turns against the
                          weight of evidence
  --any-sign              of --stepwise: allow coefficients that turn
  --shrink                where predictors separate the outcomes or determine each other, shrink all coefficients
                          instead of ending the run
  --folds N               folds of the out-of-fold deviance, 2 to 50 (default: 10)
  --seed N                of the folds and of --holdout (default: 1)

Cases
  --select EXPR           use only the cases for which EXPR is true
  --exclude EXPR          drop the cases for which EXPR is true
  --weight NAME           sampling weights: relative to their mean; standard errors allow for them
  --raw-weights           weights as they are
  --count NAME            the number of equal cases that each row represents
  --holdout SHARE         hold a share of the cases out and measure the scorecard on them
  --test FILE             measure the scorecard on the cases of FILE, a data file

Points
  --base-points POINTS    the score at the odds of --odds (default: 600)
  --odds ODDS             good cases per bad case (default: 50)
  --pdo POINTS            points more at twice the odds (default: 20)
  --round-points          whole points

Data
  --continuous NAME...    treat these variables as measured
  --categorical NAME...   treat these variables as categories
  --delimiter C           field separator of a text file (default: detected); tab for a tab
  --missing NAME=CODE...  a number or a label that means missing in this variable
  --missing-text TEXT     a text that means missing in every variable of a text file, such as NA

Files for scoring new data (all are written, or none)
  --save FILE             the scorecard with its bins, for 'velmora apply' and 'velmora bins export'
  --sql FILE              a query that adds score and probability
  --sql-dialect DIALECT   standard (default), postgresql, mysql, sqlserver, oracle, bigquery, spark, duckdb or sqlite
  --python FILE           a Python function that needs no library
  --pmml FILE             a PMML 4.4 document

Output
  --out DIR               write the results into this folder
  --format F              terminal, json, csv, xlsx or html; with --out several, separated by commas (default: all)
  --csv-for READER        program (default) or spreadsheet: texts that begin with =, +, - or @ get an apostrophe in
                          front
  --threads N             threads that work at once (default: one per processor); results do not depend on it
  --quiet                 print only warnings and failures on standard error

Exit codes: 0 done, 1 failed, 2 wrong usage, 130 cancelled. docs/methods.md explains the figures.
)";

}  // namespace velmora
