#include "workbench/cli/screen/screening_cases.h"

#include <utility>

#include "workbench/cli/analysis_run.h"
#include "workbench/cli/data_input.h"
#include "workbench/cli/screen/screen_command.h"
#include "workbench/cli/variable_choice.h"

namespace velmora {

ScreeningCases CasesOfScreening(Table table, const std::vector<std::string>& arguments, int inferredCount) {
  const ScreenOptions options = ParseScreen(arguments);
  const CaseOptions& chosen = options.settings.cases;
  const bool isClassic = options.binning.classic;
  ScreeningCases cases;
  cases.table = PrepareTable(std::move(table), options.data, inferredCount);
  cases.selected = SelectedCases(cases.table, chosen);
  cases.weight = ChooseCaseWeight(cases.table, chosen, isClassic || chosen.rawWeights);
  if (!isClassic) cases.meaning = options.binning.weights;
  cases.hasDesign = options.design.Any();
  cases.by = options.by;
  return cases;
}

}  // namespace velmora
