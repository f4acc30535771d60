// Which variables a feature selection run screens, and why others are not.
#pragma once

#include <string>
#include <vector>

#include "workbench/app/feature_selection_report.h"
#include "workbench/data/table.h"

namespace velmora {

struct VariableChoice {
  std::vector<int> continuousDependents, categoricalDependents;
  std::vector<int> continuousPredictors, categoricalPredictors;
  int weight = 0, count = 0;  // 0: none
  std::vector<LeftOutVariable> leftOut;
};

struct VariableRequest {
  std::vector<std::string> dependents, predictors;  // as on the command line
  std::string weight, count;
};

// Without predictors every usable variable is one that is no dependent, weight or count. Throws UsageError
// for a wrong name, for a variable that is named as a dependent and a predictor, and when nothing is left to
// screen.
VariableChoice ChooseVariables(const Table& table, const VariableRequest& request);

}  // namespace velmora
