// Runs of include/velmora.h and their results.
#include <algorithm>

#include "workbench/api/arrow_export.h"
#include "workbench/api/arrow_import.h"
#include "workbench/api/c_handles.h"
#include "workbench/api/options_json.h"
#include "workbench/api/result_tables.h"
#include "workbench/documents/terminal_text.h"
#include "workbench/documents/writers.h"

namespace velmora {

std::vector<std::string> RunWords(const char* options, const std::string& modulePath) {
  std::vector<std::string> words = CommandWords(OptionsText(options));
  RefuseCommandOnly(words);
  words.push_back("--module=" + modulePath);
  words.insert(words.begin(), kTableName);
  return words;
}

namespace {

constexpr int kTextWidth = 100;  // of the tables in the format "terminal"

std::string ResultText(FinishedRun& run, const std::string& format) {
  const OutputWriters writers = run.Writers();
  if (format == "json") return writers.json();
  if (format == "csv") return writers.csv();
  if (format == "html") return writers.page();
  if (format == "terminal")
    return writers.text({.isTerminal = false, .width = kTextWidth, .utf8 = true, .colour = false});
  if (format == "xlsx") {
    std::string bytes, error;
    if (!WriteXlsx(writers.workbook(), bytes, error)) throw RunError(error);
    return bytes;
  }
  throw UsageError("A format is json, csv, terminal, html or xlsx, not " + ShortenedText(format) + ".");
}

// The body of velmora_run and velmora_run_once; keepData: the table stays in the session.
int Run(velmora_session* session, const char* analysis, const char* options, bool keepData,
        velmora_result** result) {
  return ForHandle(session, "session", [&](SessionState& state) {
    Required(analysis, "analysis");
    Required(result, "result");
    *result = nullptr;
    RequireData(state);
    auto made = std::make_unique<velmora_result>();
    made->state = session->state;
    made->image = std::make_unique<ModuleImage>(state.modulePath);
    const std::vector<std::string> words = RunWords(options, made->image->Path());
    state.Work([&] {
      std::optional<UserMissing> userMissing = state.userMissing;
      Table table = keepData ? state.table : std::exchange(state.table, {});
      if (!keepData) state.userMissing.reset();
      made->run = RunAnalysis(analysis, std::move(table), words, 0, userMissing ? &*userMissing : nullptr);
      made->run->ReleaseData();
    });
    *result = made.release();
  });
}

}  // namespace
}  // namespace velmora

using namespace velmora;

extern "C" {

int velmora_run(velmora_session* session, const char* analysis, const char* options,
                velmora_result** result) {
  return Run(session, analysis, options, true, result);
}

int velmora_run_once(velmora_session* session, const char* analysis, const char* options,
                     velmora_result** result) {
  return Run(session, analysis, options, false, result);
}

void velmora_result_free(velmora_result* result) {
  if (result == nullptr) return;
  const int code =
      ForHandle(result, "result", [&](SessionState& state) { state.Work([&] { result->run.reset(); }); });
  // A child process does not have the thread on which a run of its parent must end.
  if (code != VELMORA_OK) static_cast<void>(result->run.release());
  delete result;
}

int velmora_result_text(velmora_result* result, const char* format, const char** text, size_t* length) {
  return ForHandle(result, "result", [&](SessionState& state) {
    Required(format, "format");
    Required(text, "text");
    state.Work([&] { GiveText(result->handedOut, ResultText(*result->run, format), text, length); });
  });
}

int velmora_result_table(velmora_result* result, const char* table, struct ArrowArrayStream* stream) {
  return ForHandle(result, "result", [&](SessionState& state) {
    Required(table, "table");
    Required(stream, "stream");
    state.Work([&] { ResultTable(*result->run, table).Export(*stream); });
  });
}

int velmora_result_write(velmora_result* result, const char* folder, const char* formats) {
  return ForHandle(result, "result", [&](SessionState& state) {
    OutputOptions options;
    options.folder = &Required(folder, "folder");
    if (options.folder.empty()) throw UsageError("The name of the folder is empty.");
    if (formats != nullptr) options.formatNames = {formats};
    options.quiet = true;
    std::vector<Format> wanted = options.Formats();
    std::erase(wanted, Format::kTerminal);
    if (wanted.empty()) throw UsageError("No format of " + std::string(formats) + " is written to a file.");
    state.Work([&] { WriteOutputs(options, wanted, result->run->Writers()); });
  });
}

int velmora_result_bins(velmora_result* result, int best, velmora_bins** bins) {
  return ForHandle(result, "result", [&](SessionState& state) {
    Required(bins, "bins");
    if (result->run->scorecard) {
      state.Work([&] { *bins = NewBins(result->state, result->run->scorecard->saved); });
      return;
    }
    if (!result->run->screening) throw UsageError("The result has no bins; screen makes them.");
    if (best < 0) throw UsageError("The number of predictors is negative.");
    state.Work([&] {
      SavedBins saved = *result->run->bins;
      for (std::size_t k = 0; k < saved.responses.size(); ++k) {
        std::size_t wanted = ScreenReport::BestOf(result->run->screening->responses[k]);
        if (best > 0) wanted = std::min(wanted, static_cast<std::size_t>(best));
        std::vector<SavedPredictor>& predictors = saved.responses[k].predictors;
        if (predictors.size() > wanted) predictors.resize(wanted);
      }
      *bins = NewBins(result->state, std::move(saved));
    });
  });
}
}
