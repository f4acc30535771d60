// The help page of velmora bins.
#include "workbench/cli/bins_command.h"

namespace velmora {

const char kBinsHelp[] =
    R"(velmora bins: look at saved bins, correct them by hand, and write them as SQL or Python.

Usage: velmora bins show FILE [PREDICTOR...]
       velmora bins edit FILE OPERATION [OPTIONS]
       velmora bins export FILE --sql FILE [--sql-dialect DIALECT] --python FILE

FILE was saved by 'velmora screen --bins'. It has the counts of its bins, so no data are needed. Bins are numbered
from 1, as 'show' lists them; an edit shows the bins before and after, and changes FILE.

Operations
  merge PREDICTOR BIN BIN...      make one bin of several; bins of a measured predictor must be neighbors
  split PREDICTOR CUT             cut a bin in two; a value equal to CUT belongs to the lower bin
  move PREDICTOR CUT TO           move a cut point to another place between its neighbors
  group PREDICTOR [LEVEL...]      put levels or special codes into a new bin, or into that of --into
  label PREDICTOR BIN [TEXT]      label a bin; without TEXT it gets its own label back
  reset [PREDICTOR]               take all edits of a predictor back, or of all predictors
  undo                            take the last edit back; again and again, if you like

Examples:
  velmora bins edit bins.json merge age 2 3
  velmora bins edit bins.json group home rent 'for free'
  velmora bins edit bins.json group income --missing --into 1
  velmora bins edit bins.json undo
  velmora bins export bins.json --sql score.sql --sql-dialect bigquery
  velmora screen june.csv --binary-response risk --good good --bad bad --cut-points bins.json

The counts of a measured predictor allow cuts at 100 places or fewer. A cut between them is refused, with the nearest
places; 'velmora screen --cut-points' cuts anywhere and reads FILE.

Of group
  --missing               the missing values too
  --others                levels that are not in FILE too
  --into BIN              the bin that they go to (default: a new one)

Of edit
  --response NAME         the response, where FILE has the predictor for several
  --out FILE              write the edited bins here and leave FILE as it is
  --quiet                 print only warnings and failures

Of export
  --sql FILE              a query of CASE expressions
  --sql-dialect DIALECT   standard (default), postgresql, mysql, sqlserver, oracle, bigquery, spark, duckdb or sqlite
  --python FILE           a Python function that needs no library
  --pmml FILE             a scorecard, where FILE has one, as PMML 4.4

Exit codes: 0 done, 1 failed, 2 wrong usage, 130 cancelled. docs/json.md describes FILE.
)";

}  // namespace velmora
