// Responses, their codes and the predictors of a screening run, from the command line and the data.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "workbench/cli/options.h"
#include "workbench/cli/variable_choice.h"
#include "workbench/language/selection.h"
#include "workbench/procedures/host_procedures.h"

namespace velmora {

struct ScreenRequest {
  std::string binary, continuous, categorical;  // responses as on the command line; empty: none
  std::string good, bad;
  std::vector<std::string> predictors;
  // Categorical predictors of numbers without labels are taken in their order, except those that
  // the user calls categories.
  bool ordersNumbers = false;
  std::vector<std::string> ordinal, nominal, categories;  // names
  // Variables that make groups of cases or are the design of a sample: predictors only when named.
  std::string by, strata, clusters;
};

struct ScreenChoice {
  int binaryResponse = 0, continuousResponse = 0, categoricalResponse = 0;  // 0: none
  double good = 0, bad = 0;                                                 // codes of the binary response
  std::vector<int> continuousPredictors, categoricalPredictors;
  int weight = 0;  // 0: none
  std::vector<LeftOutVariable> leftOut;

  bool IsPredictor(int variableNumber) const;
  // The response of that kind; 0: none.
  int Response(vlm::ResponseKind kind) const;
};

// selected: the selected cases. weight: variable of the weights, 0: none. Throws UsageError for a
// wrong name or code, with the option and the existing codes, and RunError for a response without
// two values.
ScreenChoice ChooseForScreening(const Table& table, const ScreenRequest& request, const CaseBitmap& selected,
                                int weight);

// A file {"age": [25, 40], "home": [["owner"], ["rent", "other"]]}: cut points of measured
// predictors, groups of levels of categorical ones; or saved bins, of which those for a response of
// this run are taken. Throws RunError with one sentence that names
// the file; levels that the data do not have and variables that are not predictors of this run
// become notices.
std::map<int, UserBins> ReadCutPoints(const std::string& path, const Table& table, const ScreenChoice& choice,
                                      std::vector<std::string>& notices);

}  // namespace velmora
