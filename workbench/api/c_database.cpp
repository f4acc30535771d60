// Runs of include/velmora.h in a database whose statements the caller runs.
#include "workbench/api/c_handles.h"
#include "workbench/api/options_json.h"
#include "workbench/cli/states/database_run.h"
#include "workbench/data/errors.h"
#include "workbench/data/sql_text.h"

namespace velmora {
namespace {

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

}  // namespace
}  // namespace velmora

using namespace velmora;

extern "C" {

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
    std::vector<std::string> words = RunWords(options, made->image->Path());
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
}
