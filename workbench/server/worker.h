// The process that holds a table: it reads the file, describes the variables while there are no
// requests, answers requests and forks a child for each analysis. The child shares the table's
// memory until it writes to it, so nothing is copied, and a crash or a cancelled analysis affects
// neither the table nor other analyses.
//
// Requests carry a JSON object with "op":
//   grid       row, rows, column, columns        -> GridJson
//   count      select, exclude, weight, missing  -> CaseCountJson
//   hash                                         -> {"sha256"}
//   run        analysis, arguments, bins         -> report; of a screening, when asked for, bins of
//              each predictor, the best first
//   pieces     arguments, bins                   -> PiecesJson; arguments: of the screening, bins: of
//              one predictor, as JSON
//   export     analysis, arguments, format, shown, forSpreadsheet, file -> the bytes of a file
//              (output_file.h), or with "file" a table in that file and {}; shown: the words of the
//              command that the file says it was made by
//   scorecard  bins, binsFile, missing, arguments, format, dialect, shown -> the bytes of a file
//   dialogs    analysis, select, exclude, weight -> as page_dialogs.h describes, until the last
//              dialog is closed
//   act        target, action                    gives an action to the dialogs of that request
//   cancel     target                            ends the child of that request
// Answers have the request's id and one of the types "result" (the last one), "error" (the last
// one: a sentence, and "cancelled": true where the user has ended it), "report", "bins", "dialogs",
// "progress" and "line". Without a request come "loading", "firstRows" (FirstRowsJson, of a large file
// before "loaded"), "loaded", "failed" and "variables".
#pragma once

#include <string>
#include <vector>

namespace velmora {

// The words of the program that is to become a worker, before the reading options and the file.
inline constexpr char kWorkerSwitch[] = "--worker-of-socket";

// arguments: the socket's number, then the words that say how the file is read. Returns the exit
// code.
int RunWorker(const std::vector<std::string>& arguments);

}  // namespace velmora
