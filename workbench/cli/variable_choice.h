// Which variables a run screens, and why others are not.
#pragma once

#include <string>
#include <vector>

#include "workbench/data/table.h"
#include "workbench/session/analysis_notes.h"

namespace velmora {

// One line to standard error for each.
void TellLeftOut(const std::vector<LeftOutVariable>& leftOut);

// What the predictors of a run are chosen from.
struct PredictorRequest {
  std::vector<std::string> names;  // of --predictors; empty: every usable variable
  std::vector<int> responses;      // no predictors, and it is a mistake to name one
  std::vector<int> taken;          // weight, count: no predictors unless named
  const char* responseWord;        // "dependent variable"
};
// Throws UsageError for a wrong name, a response that is named, and when nothing is left.
std::vector<int> ChoosePredictors(const Table& table, const PredictorRequest& request,
                                  std::vector<LeftOutVariable>& leftOut);
// The variable of --weight, 0 when name is empty. Throws UsageError, and RunError when no case has a weight.
int ChooseWeight(const Table& table, const std::string& name);
void SplitByKind(const Table& table, const std::vector<int>& numbers, std::vector<int>& continuous,
                 std::vector<int>& categorical);

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
