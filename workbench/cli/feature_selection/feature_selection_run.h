// Runs one feature selection. The classic run is driven the way a script would: settings go in
// through the automation interfaces and the dialogs, results come out of the module's view of them.
#pragma once

#include <string>
#include <vector>

#include "workbench/cli/options.h"
#include "workbench/cli/terminal_frontend.h"
#include "workbench/cli/variable_choice.h"
#include "workbench/report/feature_selection_report.h"
#include "workbench/session/session.h"

namespace velmora {

struct FeatureSelectionSettings {
  // The run of the module's dialogs: its order, intervals of equal width, weights as they are.
  // Without it the workbench ranks, by the settings below.
  bool classic = false;
  ranking::RankKey rankBy = ranking::RankKey::kEffect;
  stats::Adjustment adjustment = stats::Adjustment::kBenjaminiHochberg;
  bool adjustAcross = false;
  double alpha = 0.05;
  ranking::IntervalMethod intervals = ranking::IntervalMethod::kQuantiles;
  bool exact = false;
  int replicates = 9999, seed = 1;

  int cuts = 10, dependentCuts = 10;
  bool casewise = false, cutDependents = false, chiSquare = false;
  DisplayMode displayMode = DisplayMode::kBest;
  int best = 10, bestByP = 10;
  double pCriterion = 0.01;
  CaseOptions cases;
  int threads = 0;  // 0: one for each processor
};

// Runs the analysis on the session's table and reads everything that it found. After a classic run
// the results dialog stays open for bundles. Throws RunError when the run fails, Cancelled when the
// user stopped it, UsageError for a wrong selection expression.
FeatureSelectionReport RunFeatureSelection(Session& session, TerminalFrontend& frontend,
                                           const VariableChoice& choice,
                                           const FeatureSelectionSettings& settings);

// The settings of the workbench's own ranking, and the report on a finished one.
ranking::RankingPlan PlanOf(const VariableChoice& choice, const FeatureSelectionSettings& settings);
// table: names of the variables and the number of cases; its values are not read.
FeatureSelectionReport ReportRanking(const Table& table, const VariableChoice& choice,
                                     const FeatureSelectionSettings& settings, ranking::Ranking ranked);

// The results of the analysis started last, with the settings of its results dialog, which must be
// open.
FeatureSelectionReport ReadFeatureSelection(Session& session, TerminalFrontend& frontend);

// The settings that RunFeatureSelection puts into the two dialogs, in its order.
std::vector<MemberValue> StartupSettings(const VariableChoice& choice,
                                         const FeatureSelectionSettings& settings);
std::vector<MemberValue> DisplaySettings(const FeatureSelectionSettings& settings);

// While it lives, a dependent whose predictors all miss the p criterion lists none of them, in
// results and bundles. Dialogs list all of them instead.
class StrictCriterion {
 public:
  explicit StrictCriterion(vlm::IFeatureSelectionResults& results) : results_(results) {
    results_.SetStrictCriterion(1);
  }
  ~StrictCriterion() { results_.SetStrictCriterion(0); }
  StrictCriterion(const StrictCriterion&) = delete;
  StrictCriterion& operator=(const StrictCriterion&) = delete;

 private:
  vlm::IFeatureSelectionResults& results_;
};

}  // namespace velmora
