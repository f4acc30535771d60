// Special codes of predictors: numbers or labels such as -999 that are no values of the scale, each
// a bin of its own.
//
//   --special income=-999,-998 --special 'q*=99' --special-together
#pragma once

#include <map>
#include <string>
#include <vector>

#include "workbench/cli/options.h"
#include "workbench/cli/screen/screen_choice.h"
#include "workbench/procedures/host_procedures.h"

namespace velmora {

struct SpecialOptions {
  std::vector<std::string> codes;  // NAME=CODE,..., as --special takes them
  bool together = false;           // one bin for all codes of a variable

  void AddTo(CommandParser& parser);
  // Gives the plan the special codes of the options and, for other variables, those of the user's
  // bins. notices: gets a sentence for each variable that has none of its codes. Throws UsageError
  // for a wrong name or code, and for a code that is a cut point, too.
  void AddTo(const Table& table, const ScreenChoice& choice, const std::map<int, UserBins>& userBins,
             BinningPlan& plan, std::vector<std::string>& notices) const;
};

}  // namespace velmora
