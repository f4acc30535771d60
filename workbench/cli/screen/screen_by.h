// --by of velmora screen: how the bins differ between groups of cases.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "workbench/cli/options.h"
#include "workbench/language/selection.h"
#include "workbench/report/screen_report.h"
#include "workbench/report/stability_report.h"
#include "workbench/scorecard/binned_cases.h"
#include "workbench/session/session.h"

namespace velmora {

struct ByOptions {
  std::string variable;  // empty: no groups
  int reference = 0;     // 0: the first group; 1: all together

  void AddTo(CommandParser& parser);
};

inline constexpr std::size_t kMostGroups = 50;

// The groups that the values of a variable make of the selected cases, in the order of the values.
struct CaseGroups {
  std::vector<std::string> names;
  std::vector<int> groupOf;    // by case; -1 for a case in no group
  std::int64_t ungrouped = 0;  // selected cases without a value
};
// Throws UsageError for a variable that does not make 2 to kMostGroups groups.
CaseGroups GroupCases(const Column& column, const CaseBitmap& selected);
// By group, as in GroupedPredictor, over the cases that have the response.
std::vector<double> WeightSpreads(const ResponseCases& cases, const CaseGroups& groups);

// Rates, shares, weights of evidence and indices of all predictors by group, from the bins of the
// report and the selected cases of the session; null without a variable. Throws UsageError for a
// variable that does not make 2 to kMostGroups groups, Cancelled.
std::shared_ptr<const StabilityReport> StabilityBy(const ByOptions& options, const ScreenReport& report,
                                                   const Session& session);

}  // namespace velmora
