#include "workbench/cli/finished_run.h"

#include "workbench/cli/exit_codes.h"
#include "workbench/cli/feature_selection/feature_selection_command.h"
#include "workbench/cli/screen/screen_command.h"
#include "workbench/documents/terminal_text.h"

namespace velmora {

OutputWriters FinishedRun::Writers() {
  return screening ? WritersOf(*screening, session) : WritersOf(*featureSelection, session);
}

std::unique_ptr<FinishedRun> RunAnalysis(const std::string& name, Table table,
                                         const std::vector<std::string>& arguments) {
  if (name == "feature-selection") return RunFeatureSelectionOn(std::move(table), arguments);
  if (name == "screen") return RunScreenOn(std::move(table), arguments);
  throw UsageError("There is no analysis " + ShortenedText(name) +
                   "; the analyses are feature-selection and screen.");
}

}  // namespace velmora
