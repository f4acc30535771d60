// The help page of velmora run.
#include "workbench/cli/run_command.h"

namespace velmora {

const char kRunHelp[] =
    R"(velmora run: run the analyses from a Python script.

Usage: velmora run [OPTIONS] SCRIPT [ARGUMENTS...]

SCRIPT is a Python file, or - for standard input. It imports the module velmora and drives the analyses through the
same interfaces as the dialogs:

    import velmora
    app = velmora.Application
    data = app.Open("credit.csv")
    analysis = app.Analyses.Add("Feature selection")
    analysis.StartupDialog.Variables = [[], ["risk"], ["amount", "age"], ["purpose"]]
    analysis.Run()
    print(analysis.Results("terminal"))

Examples:
  Every variable as a response in turn, and the predictors that are best most often
      velmora run samples/many_responses.py samples/schools.csv reports
  The run of a command as a script that can be changed
      velmora feature-selection credit.csv --dependents risk --print-script > credit.py
      velmora run credit.py
  The members of an object
      echo 'import velmora; help(velmora.Application)' | velmora run -

All words after SCRIPT go to the script in sys.argv. docs/scripting.md describes the objects.

Options, before SCRIPT
  --interpreter PYTHON        the program that runs the script (default: VELMORA_PYTHON, else python3)
  --quiet                     no messages of analyses on standard error, only notices and failures
  --module PATH               the module to load (default: beside the command, or VELMORA_MODULE)
  --log FILE                  append what the module logs to FILE (default: VELMORA_LOG)
  --decimal-separator C       of numbers in labels (default: a point)

Exit codes: that of sys.exit; else 0 at the end of the script, 1 after an exception or when the script cannot be run,
2 wrong usage, 130 cancelled. Ctrl-C is a KeyboardInterrupt and cancels a running analysis.
)";

}  // namespace velmora
