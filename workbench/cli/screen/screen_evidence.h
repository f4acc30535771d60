// Evidence beyond the figures of each predictor: p-values of the searches for bins, and warnings to
// look twice before a predictor is used.
//
//   --permutations 1000 --seed 7
#pragma once

#include "workbench/cli/options.h"
#include "workbench/cli/screen/screen_choice.h"
#include "workbench/cli/screen/search_log.h"
#include "workbench/report/screen_report.h"

namespace velmora {

struct EvidenceOptions {
  int permutations = 0;  // 0: none
  int seed = 1;

  void AddTo(CommandParser& parser);
  // Throws UsageError for options that need others.
  void Check(const CommandParser& parser) const;
};

// The p-values of the searches. Throws RunError where the counts of the cases are not whole, and
// Cancelled.
void AddPermutations(const EvidenceOptions& options, int threads, const SearchLog& log, ScreenReport& report);

// Warns of predictors that look as if they were made from the outcome, of those that identify
// cases, and of numbers that look like codes and that the plan does not name. selected: of the
// table's cases.
void AddWarnings(const Table& table, const CaseBitmap& selected, const BinningPlan& plan,
                 ScreenReport& report);

}  // namespace velmora
