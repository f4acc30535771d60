// Responses, their codes and predictors of a screening run, out of the command line and of the data.
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
  std::string binary, continuous, categorical;  // responses as on the command line, empty: none
  std::string good, bad;
  std::vector<std::string> predictors;
};

struct ScreenChoice {
  int binaryResponse = 0, continuousResponse = 0, categoricalResponse = 0;  // 0: none
  std::string goodCode, badCode;  // as the startup dialog takes them
  double good = 0, bad = 0;       // their values
  std::vector<int> continuousPredictors, categoricalPredictors;
  int weight = 0;  // 0: none
  std::vector<LeftOutVariable> leftOut;

  bool IsPredictor(int variableNumber) const;
};

// selected: the cases that are. weight: variable chosen before, 0: none. Throws UsageError for a wrong name or code, naming
// the option and the codes there are, and RunError for a response that says nothing.
ScreenChoice ChooseForScreening(const Table& table, const ScreenRequest& request, const CaseBitmap& selected,
                                int weight);

// A file {"age": [25, 40], "home": [["owner"], ["rent", "other"]]}: cut points of measured predictors, groups
// of levels of categorical ones. Throws RunError with one sentence that names the file; what does not matter to
// this run, levels that the data do not have and variables that are no predictors, becomes a notice.
std::map<int, UserBins> ReadCutPoints(const std::string& path, const Table& table, const ScreenChoice& choice,
                                      std::vector<std::string>& notices);

}  // namespace velmora
