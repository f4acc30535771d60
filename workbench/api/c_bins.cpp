// Saved bins of include/velmora.h: read, written, edited, and used on the session's table.
#include <map>
#include <optional>

#include "workbench/api/arrow_export.h"
#include "workbench/api/c_handles.h"
#include "workbench/api/options_json.h"
#include "workbench/bins/coding_program.h"
#include "workbench/bins/edit_bins.h"
#include "workbench/cli/apply_monitor.h"
#include "workbench/cli/console.h"
#include "workbench/cli/scorecard/scorecard_command.h"
#include "workbench/documents/terminal_text.h"
#include "workbench/documents/text_table.h"
#include "workbench/scorecard/binned_cases.h"

namespace velmora {
namespace {

// Of the format "sql" or "sql:DIALECT"; nothing for others.
std::optional<SqlDialect> DialectOf(const std::string& format) {
  if (format == "sql") return SqlDialect::kStandard;
  const std::vector<std::string>& names = SqlDialectNames();
  for (std::size_t i = 0; i < names.size(); ++i)
    if (format == "sql:" + names[i]) return static_cast<SqlDialect>(i);
  return std::nullopt;
}

// Values that the file of the table declares missing and for which there is a bin.
std::map<int, UserMissingCells> CoveredIn(const SessionState& state, const SavedBins& bins) {
  return state.userMissing ? CoveredUserMissing(bins, *state.userMissing, state.table)
                           : std::map<int, UserMissingCells>();
}

// The body of velmora_bins_scorecard and velmora_bins_monitor. make: puts a report of the session's
// table into the run.
template <typename Make>
int RunOfBins(velmora_bins* bins, const char* options, velmora_result** result, Make make) {
  return ForHandle(bins, "bins", [&](SessionState& state) {
    Required(result, "result");
    *result = nullptr;
    RequireData(state);
    const std::vector<std::string> words = CommandWords(OptionsText(options));
    RefuseCommandOnly(words);
    auto made = std::make_unique<velmora_result>();
    made->state = bins->state;
    state.Work([&] {
      SessionOptions sessionOptions;
      sessionOptions.modulePath = state.modulePath;
      made->run = std::make_unique<FinishedRun>(true, sessionOptions);
      const std::map<int, UserMissingCells> covered = CoveredIn(state, bins->bins);
      const RestoredCells restored(covered, state.table);
      make(state.table, words, *made->run);
    });
    *result = made.release();
  });
}

ArrowTable Coded(const SavedBins& bins, const UnseenLevels& unseen, SessionState& state) {
  const std::map<int, UserMissingCells> covered = CoveredIn(state, bins);
  const RestoredCells restored(covered, state.table);
  CodingProgram program({"the bins", bins}, state.table, state.notices, unseen);
  ArrowTable coded;
  for (const Column& column : program.Run([](double) { return !WasInterrupted(); }))
    coded.AddVariable(column);
  for (const CodingProgram::Uncovered& one : program.UncoveredCases()) {
    if (one.unseen == 0) continue;
    const std::string text = Counted(static_cast<std::size_t>(one.unseen), "case", "cases") + " of " +
                             one.variable + " with levels that the bins do not have, such as \"" +
                             ShortenedText(one.levels.front().first) + "\".";
    if (unseen.isError) throw UsageError(text);
    state.notices.push_back(text);
  }
  return coded;
}

}  // namespace
}  // namespace velmora

using namespace velmora;

extern "C" {

int velmora_load_bins(velmora_session* session, const char* json, size_t length, velmora_bins** bins) {
  return ForHandle(session, "session", [&](SessionState& state) {
    Required(json, "json");
    Required(bins, "bins");
    state.Work([&] { *bins = NewBins(session->state, ParseBinsJson({json, length}, "the bins")); });
  });
}

void velmora_bins_free(velmora_bins* bins) { delete bins; }

int velmora_bins_text(velmora_bins* bins, const char* format, const char** text, size_t* length) {
  return ForHandle(bins, "bins", [&](SessionState& state) {
    const std::string name = &Required(format, "format");
    Required(text, "text");
    state.Work([&] {
      if (name == "json") return GiveText(bins->handedOut, BinsJson(bins->bins), text, length);
      if (const std::optional<SqlDialect> dialect = DialectOf(name))
        return GiveText(bins->handedOut, BinsSql(bins->bins, state.notices, *dialect), text, length);
      if (name == "python") return GiveText(bins->handedOut, BinsPython(bins->bins), text, length);
      if (name == "pmml") return GiveText(bins->handedOut, ScorecardPmml(bins->bins), text, length);
      throw UsageError("Bins are written as json, sql, sql:DIALECT (" + JoinWords(SqlDialectNames(), " or ") +
                       "), python or pmml, not " + ShortenedText(name) + ".");
    });
  });
}

int velmora_bins_edit(velmora_bins* bins, const char* edit) {
  return ForHandle(bins, "bins", [&](SessionState& state) {
    const std::string json = &Required(edit, "edit");
    state.Work([&] { ApplyEdit(ParseBinEdit(json), bins->bins); });
  });
}

int velmora_bins_undo(velmora_bins* bins) {
  return ForHandle(bins, "bins", [&](SessionState& state) {
    state.Work([&] {
      if (!UndoEdit(bins->bins)) throw UsageError("The bins have no edit to take back.");
    });
  });
}

int velmora_bins_scorecard(velmora_bins* bins, const char* options, velmora_result** result) {
  return RunOfBins(bins, options, result,
                   [&](const Table& table, const std::vector<std::string>& words, FinishedRun& run) {
                     run.scorecard = RunScorecardOn(table, bins->bins, words);
                   });
}

int velmora_bins_monitor(velmora_bins* bins, const char* options, velmora_result** result) {
  return RunOfBins(bins, options, result,
                   [&](const Table& table, const std::vector<std::string>& words, FinishedRun& run) {
                     run.monitor = RunMonitorOn(table, bins->bins, words);
                   });
}

int velmora_bins_apply(velmora_bins* bins, struct ArrowArrayStream* stream) {
  return ForHandle(bins, "bins", [&](SessionState& state) {
    Required(stream, "stream");
    RequireData(state);
    state.Work([&] { Coded(bins->bins, {}, state).Export(*stream); });
  });
}

int velmora_bins_apply_with(velmora_bins* bins, const char* options, struct ArrowArrayStream* stream) {
  return ForHandle(bins, "bins", [&](SessionState& state) {
    Required(stream, "stream");
    CommandParser parser;
    std::string unseen;
    parser.Text("--unseen", unseen);
    parser.Parse(CommandWords(OptionsText(options)));
    RequireData(state);
    state.Work([&] { Coded(bins->bins, ParseUnseenLevels(unseen), state).Export(*stream); });
  });
}
}
