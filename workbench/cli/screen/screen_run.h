// Drives one screening the way a script would: settings go in through the startup dialog's
// automation interface, results come out of the module's view of them.
#pragma once

#include <memory>
#include <set>

#include "workbench/cli/screen/screen_choice.h"
#include "workbench/cli/terminal_frontend.h"
#include "workbench/report/screen_documents.h"
#include "workbench/report/screen_report.h"
#include "workbench/session/session.h"

namespace velmora {

struct ScreenSettings {
  std::shared_ptr<const BinningPlan> binning;  // null: exactly as the dialogs make it
  RankBy rankBy = RankBy::kPrescribed;
  bool saveChance = false;  // predictors no better than chance may be among the best that are saved
  int sortBinary = 0, sortContinuous = 0, sortCategorical = 0;  // as vlm::ScreeningRun::sortChoice
  bool noPruning = false;
  int best = -1;  // as ScreenReport::best
  std::string cutPointsFile;
  CaseOptions cases;
};

// Runs the analysis on the session's table and reads everything that it found. The results dialog
// stays open for documents. userBins: of --cut-points. Throws RunError when the run fails,
// Cancelled when the user stopped it.
ScreenReport RunScreening(Session& session, TerminalFrontend& frontend, const ScreenChoice& choice,
                          const ScreenSettings& settings, std::map<int, UserBins> userBins);

// Appends those texts of more that are not in texts yet.
void AppendOnce(std::vector<std::string>& texts, const std::vector<std::string>& more);

// Puts into the report how many cases every response used, and why not the others. selected: of the
// session's table.
void CountCases(const Table& table, const ScreenChoice& choice, const CaseBitmap& selected,
                ScreenReport& report);

// The variables from whose cells the documents are made.
std::set<int> VariablesOfDocuments(const Session& session, const ScreenReport& report);
// The graphs of each response's best predictors and the rules, in the session's workbook. Throws
// Cancelled.
ScreenDocuments MakeScreenDocuments(Session& session, const ScreenReport& report);
// The rules of the best predictors, in the session's workbook: the document's id, 0 for none.
int MakeRules(Session& session, const ScreenReport& report);

// The results of the analysis started last, whose results dialog must be open.
ScreenReport ReadScreening(Session& session);

// The settings that RunScreening puts into the startup dialog, in its order.
std::vector<MemberValue> StartupSettings(const Table& table, const ScreenChoice& choice,
                                         const ScreenSettings& settings);

}  // namespace velmora
