// Drives one screening the way a script would: settings go in through the startup dialog's automation
// interface, results come out of the module's view of them.
#pragma once

#include "workbench/app/screen_choice.h"
#include "workbench/app/screen_report.h"
#include "workbench/app/terminal_face.h"
#include "workbench/host/session.h"

namespace velmora {

struct ScreenSettings {
  int sortBinary = 0, sortContinuous = 0, sortCategorical = 0;  // as vlm::ScreeningRun::sortChoice
  bool noPruning = false;
  int best = 5;
  std::string cutPointsFile;
  CaseOptions cases;
};

// Runs the analysis on the session's table and reads everything that it found. The results dialog stays open
// for documents. ownBins: of --cut-points. Throws RunError when the run fails, Cancelled when the user stopped
// it.
ScreenReport RunScreening(Session& session, TerminalFace& face, const ScreenChoice& choice,
                          const ScreenSettings& settings, std::map<int, OwnBins> ownBins);

// Importance tables, the bins of the best predictors and the failed ones in the session's workbook, a group a
// response, with the facts of the run.
void MakeScreenDocuments(Session& session, const ScreenReport& report);

}  // namespace velmora
