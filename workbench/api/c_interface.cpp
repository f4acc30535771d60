// The functions of include/velmora.h over RunAnalysis.
#include <algorithm>
#include <cmath>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>

#include "include/velmora.h"
#include "workbench/api/arrow_export.h"
#include "workbench/api/arrow_import.h"
#include "workbench/api/guarded.h"
#include "workbench/api/module_images.h"
#include "workbench/api/options_json.h"
#include "workbench/api/result_tables.h"
#include "workbench/api/work_thread.h"
#include "workbench/bins/coding_program.h"
#include "workbench/bins/edit_bins.h"
#include "workbench/bins/saved_bins.h"
#include "workbench/cli/apply_monitor.h"
#include "workbench/cli/data_input.h"
#include "workbench/cli/finished_run.h"
#include "workbench/cli/module_path.h"
#include "workbench/cli/scorecard/scorecard_command.h"
#include "workbench/cli/screen/screen_counts.h"
#include "workbench/cli/screen/screen_save.h"
#include "workbench/cli/states/database_run.h"
#include "workbench/cli/states/part_run.h"
#include "workbench/cli/variables_command.h"
#include "workbench/data/column_builder.h"
#include "workbench/data/readers.h"
#include "workbench/data/sql_text.h"
#include "workbench/data/unicode.h"
#include "workbench/documents/terminal_text.h"
#include "workbench/documents/text_table.h"
#include "workbench/documents/writers.h"
#include "workbench/language/selection.h"
#include "workbench/report/json_text.h"
#include "workbench/scorecard/binned_cases.h"

#ifndef VELMORA_VERSION
#error "the build names the version"
#endif

namespace velmora {
namespace {

constexpr char kTableName[] = "the table";  // as sentences call a table that is no file
constexpr int kTextWidth = 100;             // of the tables in the format "terminal"

// What a session is; its handle, results and bins share it.
struct SessionState {
  WorkThread thread;
  LastError error;
  std::string modulePath;
  Table table;
  std::optional<UserMissing> userMissing;  // of the file that the table was read from
  velmora_progress progress = nullptr;
  void* progressUser = nullptr;
  std::string handedOut;             // the text that a function of the session gave last
  std::vector<std::string> notices;  // beside those of the thread
  std::string noticesJson;

  void Work(const std::function<void()>& work) {
    WorkThread::Report report;
    if (progress != nullptr) {
      report = [this](const std::string& stage, double fraction) {
        return progress(progressUser, stage.c_str(), fraction) != 0;
      };
    }
    const auto run = [&] {
      notices.clear();
      work();
    };
    thread.Run(run, report);
  }
};

// The last error of calls without a session.
LastError& ErrorOfThread() {
  thread_local LastError error;
  return error;
}

template <typename Value>
Value& Required(Value* value, const char* name) {
  if (value == nullptr) throw UsageError(std::string("The argument ") + name + " is null.");
  return *value;
}

std::string OptionsText(const char* options) { return options == nullptr ? "" : options; }

}  // namespace
}  // namespace velmora

struct velmora_session {
  std::shared_ptr<velmora::SessionState> state;
};

struct velmora_result {
  std::shared_ptr<velmora::SessionState> state;
  std::unique_ptr<velmora::ModuleImage> image;
  // Made and destroyed on the session's thread, before image.
  std::unique_ptr<velmora::FinishedRun> run;
  std::string handedOut;
};

struct velmora_state {
  std::shared_ptr<velmora::SessionState> state;
  std::unique_ptr<velmora::PartRun> run;
  std::string handedOut;
};

struct velmora_rows {
  std::vector<velmora::SqlRow> rows;
};

struct velmora_bins {
  std::shared_ptr<velmora::SessionState> state;
  velmora::SavedBins bins;
  std::string handedOut;
};

namespace velmora {
namespace {

// Runs work for a handle of any kind; a null handle is a wrong argument.
template <typename Handle, typename Work>
int ForHandle(Handle* handle, const char* name, Work work) noexcept {
  if (handle == nullptr) return Guarded(ErrorOfThread(), [&] { Required(handle, name); });
  const std::shared_ptr<SessionState> state = handle->state;  // the work may free the handle
  return Guarded(state->error, [&] { work(*state); });
}

DataOptions ReadingOptions(const char* options) {
  CommandParser parser;
  DataOptions data;
  data.AddReadingTo(parser);
  parser.Parse(CommandWords(OptionsText(options)));
  return data;
}

void ApplyMissingCodes(Table& table, const DataOptions& options) {
  for (const std::string& option : options.missingCodes) {
    try {
      ApplyMissingOption(table, option);
    } catch (const DataError& error) {
      throw UsageError(std::string("--missing: ") + error.what());
    }
  }
}

// Of the format "sql" or "sql:DIALECT"; nothing for others.
std::optional<SqlDialect> DialectOf(const std::string& format) {
  if (format == "sql") return SqlDialect::kStandard;
  const std::vector<std::string>& names = SqlDialectNames();
  for (std::size_t i = 0; i < names.size(); ++i)
    if (format == "sql:" + names[i]) return static_cast<SqlDialect>(i);
  return std::nullopt;
}

void RequireData(const SessionState& state) {
  if (state.table.columns.empty())
    throw UsageError("The session has no data: call velmora_read_file or velmora_take_stream first.");
}

void TakeTable(SessionState& state, const ArrowBatches& batches, const char* options) {
  const DataOptions data = ReadingOptions(options);
  if (!data.delimiter.empty()) throw UsageError("--delimiter is for text files.");
  if (data.part.Any())
    throw UsageError("--sheet, --range, --table and --sql-from are for files and databases.");
  if (data.encoding != 0 || data.noHeader || data.ragged != 0)
    throw UsageError("--encoding, --no-header and --ragged are for text files.");
  if (!data.dateParts.empty() || !data.since.empty())
    throw UsageError("--date-parts and --since are for files.");
  state.Work([&] {
    std::vector<std::string> notices;
    Table table = batches.MakeTable(SplitList(data.missingTexts), notices);
    ApplyMissingCodes(table, data);
    state.table = std::move(table);
    state.userMissing.reset();
    state.notices = std::move(notices);
  });
}

// Adds a column with the next number. fill: adds its count cells to a builder.
template <typename Fill>
void AddColumn(SessionState& state, const char* name, std::int64_t count, Fill fill) {
  Required(name, "name");
  if (count <= 0) throw UsageError("The variable " + std::string(name) + " has no cases.");
  const std::string clean = CleanText(name);
  if (clean.empty()) throw UsageError("A variable needs a name.");
  if (!state.table.columns.empty() && count != state.table.caseCount)
    throw UsageError("The variable " + clean + " has " + std::to_string(count) +
                     " cases where the table has " + std::to_string(state.table.caseCount) + ".");
  if (std::any_of(state.table.columns.begin(), state.table.columns.end(),
                  [&](const Column& column) { return column.name == clean; }))
    throw UsageError("Column name \"" + clean + "\" occurs twice.");
  state.Work([&] {
    const std::vector<std::string> noMissingTexts;
    ColumnBuilder builder(clean, state.table.VariableCount() + 1, false, &noMissingTexts);
    builder.Reserve(count);
    fill(builder);
    std::vector<ColumnNote> notes;
    Column column = builder.Finish(notes);
    AppendSentences(notes, kTableName, state.notices);
    state.table.columns.push_back(std::move(column));
    state.table.caseCount = count;
  });
}

// DATA and the words of the options.
std::vector<std::string> ArgumentsOf(const char* options, const std::string& modulePath) {
  std::vector<std::string> words = CommandWords(OptionsText(options));
  RefuseCommandOnly(words);
  words.push_back("--module=" + modulePath);
  words.insert(words.begin(), kTableName);
  return words;
}

void GiveText(std::string& home, std::string made, const char** text, std::size_t* length) {
  home = std::move(made);
  *text = home.c_str();
  if (length != nullptr) *length = home.size();
}

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

velmora_bins* NewBins(const std::shared_ptr<SessionState>& state, SavedBins bins) {
  return new velmora_bins{state, std::move(bins), {}};
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
    const std::vector<std::string> words = ArgumentsOf(options, made->image->Path());
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

PartSettings ReadPartSettings(const char* json) {
  CommandParser parser;
  int cells = 6400, levels = 100000;
  PartSettings settings;
  parser.WholeNumber("--cells", cells, 100, 1 << 20);
  parser.WholeNumber("--levels", levels, 100, 1 << 24);
  parser.Text("--cases", settings.cases);
  parser.Text("--squares", settings.squares);
  parser.Parse(CommandWords(OptionsText(json)));
  settings.limits = {static_cast<std::size_t>(cells), static_cast<std::size_t>(levels)};
  return settings;
}

// A stream without rows is an empty part.
void TakePart(const ArrowBatches& batches, SessionState& state, PartRun& run) {
  if (batches.RowCount() > 0) run.Take(batches.MakeTable(run.MissingTexts(), state.notices));
}

struct DatabaseSettings {
  DatabaseKind kind = DatabaseKind::kDuckDb;
  std::string table;
};

DatabaseSettings ReadDatabaseSettings(const char* json) {
  CommandParser parser;
  int dialect = 0;
  DatabaseSettings settings;
  parser.Choice("--dialect", dialect, {"postgresql", "duckdb"});
  parser.Text("--table", settings.table);
  parser.Parse(CommandWords(OptionsText(json)));
  if (settings.table.empty()) throw UsageError("The name of the table is missing.");
  settings.kind = static_cast<DatabaseKind>(dialect);
  return settings;
}

// Values that the file of the table declares missing and that the bins have a place for.
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

const char* velmora_version(void) { return VELMORA_VERSION; }

int velmora_open(velmora_session** session, const char* options) {
  return Guarded(ErrorOfThread(), [&] {
    Required(session, "session");
    *session = nullptr;
    CommandParser parser;
    std::string module;
    parser.Text("--module", module);
    parser.Parse(CommandWords(OptionsText(options)));
    auto opened = std::make_unique<velmora_session>();
    opened->state = std::make_shared<SessionState>();
    opened->state->modulePath = FindModule(module);
    *session = opened.release();
  });
}

void velmora_close(velmora_session* session) {
  static_cast<void>(velmora_clear_data(session));
  delete session;
}

const char* velmora_last_error(const velmora_session* session) {
  return session == nullptr ? ErrorOfThread().Text() : session->state->error.Text();
}

const char* velmora_notices(const velmora_session* session) {
  if (session == nullptr) return "[]";
  SessionState& state = *session->state;
  const int code = Guarded(state.error, [&] {
    Json notices = state.notices;
    for (const std::string& line : state.thread.Lines()) notices.push_back(line);
    state.noticesJson = notices.is_null() ? "[]" : JsonText(notices);
  });
  return code == VELMORA_OK ? state.noticesJson.c_str() : "[]";
}

int velmora_set_progress(velmora_session* session, velmora_progress function, void* user) {
  return ForHandle(session, "session", [&](SessionState& state) {
    state.progress = function;
    state.progressUser = user;
  });
}

void velmora_cancel(velmora_session* session) {
  if (session != nullptr) session->state->thread.Stop();
}

int velmora_read_file(velmora_session* session, const char* path, const char* options) {
  return ForHandle(session, "session", [&](SessionState& state) {
    Required(path, "path");
    DataOptions data = ReadingOptions(options);
    data.path = path;
    state.Work([&] {
      UserMissing userMissing;
      state.table = LoadTable(data, userMissing);
      state.userMissing = std::move(userMissing);
    });
  });
}

int velmora_take_stream(velmora_session* session, struct ArrowArrayStream* stream, const char* options) {
  return ForHandle(session, "session", [&](SessionState& state) {
    const ArrowBatches batches(Required(stream, "stream"));
    TakeTable(state, batches, options);
  });
}

int velmora_take_batch(velmora_session* session, struct ArrowSchema* schema, struct ArrowArray* batch,
                       const char* options) {
  return ForHandle(session, "session", [&](SessionState& state) {
    const ArrowBatches batches(Required(schema, "schema"), Required(batch, "batch"));
    TakeTable(state, batches, options);
  });
}

int velmora_add_numbers(velmora_session* session, const char* name, const double* values, int64_t count) {
  return ForHandle(session, "session", [&](SessionState& state) {
    Required(values, "values");
    AddColumn(state, name, count, [&](ColumnBuilder& builder) {
      for (std::int64_t i = 0; i < count; ++i) builder.AddNumber(values[i]);
    });
  });
}

int velmora_add_texts(velmora_session* session, const char* name, const char* const* texts, int64_t count) {
  return ForHandle(session, "session", [&](SessionState& state) {
    Required(texts, "texts");
    AddColumn(state, name, count, [&](ColumnBuilder& builder) {
      for (std::int64_t i = 0; i < count; ++i) {
        if (texts[i] == nullptr) {
          builder.AddMissing();
        } else {
          builder.AddText(CleanText(texts[i]));
        }
      }
    });
  });
}

int velmora_clear_data(velmora_session* session) {
  return ForHandle(session, "session", [](SessionState& state) {
    state.Work([&] {
      state.table = {};
      state.userMissing.reset();
    });
  });
}

int velmora_variables(velmora_session* session, const char** json) {
  return ForHandle(session, "session", [&](SessionState& state) {
    Required(json, "json");
    RequireData(state);
    state.Work([&] {
      Table table = PrepareTable(state.table, {});
      GiveText(state.handedOut, VariablesJson(table), json, nullptr);
    });
  });
}

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
  // A child process has no thread on which a run of its parent could end.
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

int velmora_load_bins(velmora_session* session, const char* json, size_t length, velmora_bins** bins) {
  return ForHandle(session, "session", [&](SessionState& state) {
    Required(json, "json");
    Required(bins, "bins");
    state.Work([&] { *bins = NewBins(session->state, ParseBinsJson({json, length}, "the bins")); });
  });
}

void velmora_bins_free(velmora_bins* bins) { delete bins; }

int velmora_state_new(velmora_session* session, const char* analysis, const char* options,
                      const char* settings, velmora_state** state) {
  return ForHandle(session, "session", [&](SessionState& shared) {
    const std::string name = &Required(analysis, "analysis");
    Required(state, "state");
    *state = nullptr;
    std::vector<std::string> words = CommandWords(OptionsText(options));
    RefuseCommandOnly(words);
    words.insert(words.begin(), kTableName);
    const PartSettings parts = ReadPartSettings(settings);
    auto made = std::make_unique<velmora_state>();
    made->state = session->state;
    shared.Work([&] { made->run = StartPartRun(name, words, parts); });
    *state = made.release();
  });
}

int velmora_state_load(velmora_session* session, const char* bytes, size_t length, velmora_state** state) {
  return ForHandle(session, "session", [&](SessionState& shared) {
    Required(bytes, "bytes");
    Required(state, "state");
    *state = nullptr;
    auto made = std::make_unique<velmora_state>();
    made->state = session->state;
    shared.Work([&] { made->run = ReadPartRun({bytes, length}); });
    *state = made.release();
  });
}

void velmora_state_free(velmora_state* state) { delete state; }

int velmora_state_update(velmora_state* state, struct ArrowArrayStream* stream) {
  return ForHandle(state, "state", [&](SessionState& shared) {
    const ArrowBatches batches(Required(stream, "stream"));
    shared.Work([&] { TakePart(batches, shared, *state->run); });
  });
}

int velmora_state_merge(velmora_state* state, const char* bytes, size_t length) {
  return ForHandle(state, "state", [&](SessionState& shared) {
    Required(bytes, "bytes");
    shared.Work([&] { state->run->Merge({bytes, length}); });
  });
}

int velmora_state_bytes(velmora_state* state, const char** bytes, size_t* length) {
  return ForHandle(state, "state", [&](SessionState& shared) {
    Required(bytes, "bytes");
    Required(length, "length");
    shared.Work([&] { GiveText(state->handedOut, state->run->Bytes(), bytes, length); });
  });
}

int velmora_state_next(velmora_state* state, const char** bytes, size_t* length) {
  return ForHandle(state, "state", [&](SessionState& shared) {
    Required(bytes, "bytes");
    Required(length, "length");
    shared.Work([&] { GiveText(state->handedOut, state->run->SecondPass(), bytes, length); });
  });
}

int velmora_state_finish(velmora_state* first, velmora_state* second, velmora_result** result) {
  return ForHandle(first, "first", [&](SessionState& shared) {
    const PartRun& sums = *Required(second, "second").run;
    Required(result, "result");
    *result = nullptr;
    auto made = std::make_unique<velmora_result>();
    made->state = first->state;
    made->image = std::make_unique<ModuleImage>(shared.modulePath);
    shared.Work([&] { made->run = first->run->Finish(sums, "--module=" + made->image->Path()); });
    *result = made.release();
  });
}

int velmora_run_in_database(velmora_session* session, const char* analysis, const char* options,
                            const char* database, velmora_query query, void* user, velmora_result** result) {
  return ForHandle(session, "session", [&](SessionState& state) {
    const std::string name = &Required(analysis, "analysis");
    Required(result, "result");
    *result = nullptr;
    if (query == nullptr) throw UsageError("The argument query is null.");
    const DatabaseSettings settings = ReadDatabaseSettings(database);
    auto made = std::make_unique<velmora_result>();
    made->state = session->state;
    made->image = std::make_unique<ModuleImage>(state.modulePath);
    std::vector<std::string> words = ArgumentsOf(options, made->image->Path());
    words.emplace_back("--push-down");
    const auto run = [&](const std::string& sql) {
      velmora_rows rows;
      if (query(user, sql.c_str(), &rows) != VELMORA_OK)
        throw DataError("A statement of the analysis failed.");
      return std::move(rows.rows);
    };
    const push_down::SqlTable table{settings.kind, QualifiedName(settings.table), run};
    state.Work([&] { made->run = RunInDatabase(name, words, table, settings.table); });
    *result = made.release();
  });
}

int velmora_rows_add(velmora_rows* rows, const char* const* cells, size_t count) {
  return Guarded(ErrorOfThread(), [&] {
    Required(cells, "cells");
    SqlRow& row = Required(rows, "rows").rows.emplace_back(count);
    for (std::size_t i = 0; i < count; ++i)
      if (cells[i] != nullptr) row[i] = cells[i];
  });
}

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
