// The session of include/velmora.h and its data.
#include <algorithm>

#include "workbench/api/arrow_import.h"
#include "workbench/api/c_handles.h"
#include "workbench/api/options_json.h"
#include "workbench/cli/data_input.h"
#include "workbench/cli/module_path.h"
#include "workbench/cli/variables_command.h"
#include "workbench/data/column_builder.h"
#include "workbench/data/readers.h"
#include "workbench/data/unicode.h"
#include "workbench/report/json_text.h"

#ifndef VELMORA_VERSION
#error "the build names the version"
#endif

namespace velmora {

LastError& ErrorOfThread() {
  thread_local LastError error;
  return error;
}

namespace {

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
  if (session == nullptr) return;
  EndApplication(*session->state);
  static_cast<void>(velmora_clear_data(session));
  delete session;
}

const char* velmora_last_error(const velmora_session* session) {
  return session == nullptr ? ErrorOfThread().Text() : session->state->error.Text();
}

const char* velmora_notices(const velmora_session* session) {
  if (session == nullptr) return "[]";
  SessionState& state = *session->state;
  if (state.notices.empty() && state.thread.Lines().empty()) return "[]";
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
}
