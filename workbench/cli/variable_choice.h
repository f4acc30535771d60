// The variables that a run screens, and the reasons why others are left out.
#pragma once

#include <string>
#include <vector>

#include "workbench/cli/options.h"
#include "workbench/data/table.h"
#include "workbench/session/analysis_notes.h"

namespace velmora {

// Reports each variable on standard error.
void ReportLeftOut(const std::vector<LeftOutVariable>& leftOut);

// The choice of the predictors of a run.
struct PredictorRequest {
  std::vector<std::string> names;  // of --predictors; empty: every usable variable
  std::vector<int> responses;      // never predictors; naming one in names is an error
  std::vector<int> taken;          // weight and count: predictors only when named
  const char* responseWord;        // "dependent variable"
};
// Throws UsageError for a wrong name, for a response among names, and when nothing is left.
std::vector<int> ChoosePredictors(const Table& table, const PredictorRequest& request,
                                  std::vector<LeftOutVariable>& leftOut);
// The variable of --weight, 0 when name is empty. any: weights below 0 are only warned of, as the
// module takes them. Throws UsageError, and RunError when no case has a weight.
int ChooseWeight(const Table& table, const std::string& name, bool any);
// The variable of --count, likewise.
int ChooseCount(const Table& table, const std::string& name);
// The one of the two that the options name.
int ChooseCaseWeight(const Table& table, const CaseOptions& cases, bool any);
void SplitByKind(const Table& table, const std::vector<int>& numbers, std::vector<int>& continuous,
                 std::vector<int>& categorical);

struct VariableChoice {
  std::vector<int> continuousDependents, categoricalDependents;
  std::vector<int> continuousPredictors, categoricalPredictors;
  int weight = 0, count = 0;     // 0: none
  int strata = 0, clusters = 0;  // likewise
  std::vector<LeftOutVariable> leftOut;
};

struct VariableRequest {
  std::vector<std::string> dependents, predictors;  // as on the command line
  std::string weight, count, strata, clusters;
  bool anyWeights = false;  // as for ChooseWeight
};

// Throws UsageError for strata of rows that are several cases each: without --clusters each row of
// the sample is one cluster.
void CheckStrataOfCounts(const std::string& strata, const std::string& clusters, const std::string& count);

// Without names of predictors, every usable variable other than the dependents, the weight and the
// count is one. Throws UsageError for a wrong name, for a variable that is both a dependent and a
// predictor, and when nothing is left to screen.
VariableChoice ChooseVariables(const Table& table, const VariableRequest& request);

}  // namespace velmora
