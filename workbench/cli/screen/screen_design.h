// Samples of clusters within strata, and weights: the effective number of cases, and the
// association of each predictor's bins with the response in such a sample.
//
//   --weight w --strata region --clusters school
#pragma once

#include <string>

#include "workbench/cli/options.h"
#include "workbench/cli/screen/screen_choice.h"
#include "workbench/cli/screen/search_log.h"
#include "workbench/ranking/survey_design.h"
#include "workbench/report/screen_report.h"
#include "workbench/session/session.h"

namespace velmora {

struct DesignOptions {
  std::string strata, clusters;  // names; empty: none

  bool Any() const { return !strata.empty() || !clusters.empty(); }
  void AddTo(CommandParser& parser);
  // Throws UsageError for options that do not go together.
  void Check(const CommandParser& parser, const CaseOptions& cases) const;
  // Throws UsageError for a wrong name.
  ranking::DesignVariables VariablesOf(const Table& table, int weight) const;
};

// Throws DataError for a design that the cases do not fit. Strata of one cluster become a notice.
void CheckDesign(const Table& table, const CaseBitmap& selected, const ranking::DesignVariables& design,
                 std::vector<std::string>& notices);

// Of runs with sampling weights, strata or clusters: design effect, test and p of each predictor,
// and the effective number of cases of each response. Throws Cancelled.
void AddDesign(const ranking::DesignVariables& design, const ScreenChoice& choice, const SearchLog& log,
               const Session& session, int threads, ScreenReport& report);

}  // namespace velmora
