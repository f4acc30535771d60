// The help page of velmora open.
#include "workbench/cli/open_command.h"

namespace velmora {

const char kOpenHelp[] =
    R"(velmora open: the workbench as a page in your browser.

Usage: velmora open [DATA] [OPTIONS]

Shows the data, ranks and bins predictors as you choose them, and lets you correct the bins by mouse and keyboard. DATA
is a data file, a project (NAME.velmora) or a folder to choose from. What you decide is kept in DATA.velmora beside the
data; the data themselves are never changed.

Examples:
  Look at a file:
      velmora open credit.csv
  Choose among the files of a folder:
      velmora open data/
  On a machine without a screen, for a browser at the other end of an SSH tunnel:
      velmora open credit.csv --no-browser --port 8471

The page is served to this machine alone, to the browser that opens its first address, and ends with its last window.

Options
  --port N              of this machine (default: a free one)
  --root DIR            a folder whose files the page may open; may be repeated (the folder of DATA always is one)
  --no-browser          print the address and open nothing
  --keep                go on after the last window is closed
  --grace SECONDS       between the last window and the end (default 8)
  --missing NAME=CODE...   a number or a label that means missing in this variable
  --missing-text TEXT      a text that means missing in every variable of a text file, such as NA
  --sheet NAME, --range A1:F99, --table NAME, --sql-from QUERY   of a workbook or a database
  --delimiter C            field separator of a text file (default: detected); tab for a tab
  --encoding E, --no-header, --ragged HOW   of a text file, and
  --date-parts NAME, --since NAME=DATE      as 'velmora help variables' describes them
)";

}  // namespace velmora
