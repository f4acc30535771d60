#include "workbench/cli/finished_run.h"

#include <limits>
#include <set>

#include "workbench/cli/apply_monitor.h"
#include "workbench/cli/exit_codes.h"
#include "workbench/cli/feature_selection/feature_selection_command.h"
#include "workbench/cli/scorecard/scorecard_command.h"
#include "workbench/cli/screen/screen_command.h"
#include "workbench/cli/screen/screen_counts.h"
#include "workbench/cli/screen/screen_save.h"
#include "workbench/documents/terminal_text.h"

namespace velmora {

OutputWriters FinishedRun::Writers() {
  if (hasNoCases) {
    OutputWriters writers = WritersOf(*screening, session);
    const auto refuse = [] {
      throw RunError(
          "A page or workbook of a screening shows its cases, which are not here; use json or csv.");
    };
    writers.workbook = [refuse]() -> Workbook {
      refuse();
      return {};
    };
    writers.page = [refuse]() -> std::string {
      refuse();
      return {};
    };
    return writers;
  }
  if (scorecard) return WritersOf(*scorecard);
  if (monitor) return WritersOf(*monitor);
  return screening ? WritersOf(*screening, session) : WritersOf(*featureSelection, session);
}

void FinishedRun::ReleaseData() {
  std::set<int> kept;
  if (screening) {
    const Table& table = session.Data();
    constexpr int kAll = std::numeric_limits<int>::max();
    bins = SavedBinsOf(*screening, session, kAll);
    AddCounts(table, SelectCases(table, {screening->select, screening->exclude}), session.WeightVariable(),
              screening->weights, *bins);
    kept = VariablesOfDocuments(session, *screening);
  }
  session.KeepCellsOf(kept);
}

std::unique_ptr<FinishedRun> RunAnalysis(const std::string& name, Table table,
                                         const std::vector<std::string>& arguments, int inferredCount,
                                         const UserMissing* userMissing) {
  if (name == "feature-selection") return RunFeatureSelectionOn(std::move(table), arguments, inferredCount);
  if (name == "screen") return RunScreenOn(std::move(table), arguments, inferredCount, userMissing);
  throw UsageError("There is no analysis " + ShortenedText(name) +
                   "; the analyses are feature-selection and screen.");
}

std::string AnalysisScript(const std::string& name, Table table, std::vector<std::string> arguments,
                           int inferredCount) {
  arguments.emplace_back("--print-script");
  return name == "screen" ? ScreenScriptOn(std::move(table), arguments, inferredCount)
                          : FeatureSelectionScriptOn(std::move(table), arguments, inferredCount);
}

}  // namespace velmora
