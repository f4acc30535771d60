// The help page of velmora run.
#include "workbench/cli/run_command.h"

namespace velmora {

const char kRunHelp[] =
    R"(velmora run: do it by a script.

Usage: velmora run [OPTIONS] SCRIPT [ARGUMENTS...]

SCRIPT is a Python file, or - for standard input. It finds the workbench in the module velmora and drives analyses
through the same interfaces as the dialogs do:

    import velmora
    app = velmora.Application
    data = app.Open("credit.csv")
    analysis = app.Analyses.Add("Feature selection")
    analysis.StartupDialog.Variables = [[], ["risk"], ["amount", "age"], ["purpose"]]
    analysis.Run()
    print(analysis.Results("terminal"))

Examples:
  A screening of every response of a table, and what predicts most of them
      velmora run samples/many_responses.py samples/schools.csv reports
  The run of a command as a script, to be changed
      velmora feature-selection credit.csv --dependents risk --print-script > credit.py
      velmora run credit.py
  Members of an object, with what they do
      echo 'import velmora; help(velmora.Application)' | velmora run -

Whatever stands behind SCRIPT is the script's, in sys.argv. docs/scripting.md describes the objects.

Options, in front of SCRIPT
  --quiet                     no messages of analyses on standard error, only notices and failures
  --module PATH               the module to load (default: beside the command, or VELMORA_MODULE)

Exit codes: that of sys.exit; else 0 at the end of the script, 1 after an exception or when the script cannot be run,
2 bad use, 130 cancelled. Ctrl-C is a KeyboardInterrupt and cancels a running analysis.
)";

}  // namespace velmora
