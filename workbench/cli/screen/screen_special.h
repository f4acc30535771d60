// Special codes of predictors: numbers or labels such as -999 that are no values of the scale, each
// a bin of its own.
//
//   --special income=-999,-998 --special 'q*=99' --special user-missing --special-together
#pragma once

#include <map>
#include <string>
#include <vector>

#include "workbench/cli/options.h"
#include "workbench/cli/screen/screen_choice.h"
#include "workbench/data/user_missing.h"
#include "workbench/procedures/host_procedures.h"

namespace velmora {

struct SpecialOptions {
  std::vector<std::string> codes;  // NAME=CODE,... or user-missing, as --special takes them
  bool together = false;           // one bin for all codes of a variable

  void AddTo(CommandParser& parser);
  // Whether the values that the data file declares missing are special codes.
  bool TakesUserMissing() const;
  // Puts them back into the predictors. Returns them by variable number.
  std::map<int, std::vector<double>> Restore(const UserMissing& userMissing, const ScreenChoice& choice,
                                             Table& table) const;
  // Gives the plan the special codes of the user's bins and, where these do not have them, those of
  // the options and of the file. notices: gets a sentence for each variable that has none of its
  // codes. Throws UsageError for a wrong name or code, and for a code that is a cut point, too.
  void AddTo(const Table& table, const ScreenChoice& choice, const std::map<int, UserBins>& userBins,
             const std::map<int, std::vector<double>>& fileCodes, BinningPlan& plan,
             std::vector<std::string>& notices) const;
};

}  // namespace velmora
