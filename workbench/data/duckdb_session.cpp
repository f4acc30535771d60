#include "workbench/data/duckdb_session.h"

#include <chrono>
#include <filesystem>
#include <thread>
#include <vector>

#include "workbench/system/system.h"

namespace velmora {

namespace {

std::string FirstLine(const char* message) {
  std::string text = message != nullptr ? message : "unknown failure";
  text = text.substr(0, text.find('\n'));
  // A prefix such as "Invalid Input Error: " means nothing to a user.
  const std::size_t colon = text.find(" Error: ");
  if (colon != std::string::npos && text.find(':') == colon + 6) text.erase(0, colon + 8);
  while (!text.empty() && (text.back() == ' ' || text.back() == '.')) text.pop_back();
  return text;
}

struct Result {
  duckdb_result value{};
  ~Result() { duckdb_destroy_result(&value); }
};

struct Prepared {
  duckdb_prepared_statement value = nullptr;
  ~Prepared() { duckdb_destroy_prepare(&value); }
};

struct Pending {
  duckdb_pending_result value = nullptr;
  ~Pending() { duckdb_destroy_pending(&value); }
};

struct Chunk {
  duckdb_data_chunk value = nullptr;
  ~Chunk() {
    if (value != nullptr) duckdb_destroy_data_chunk(&value);
  }
};

}  // namespace

DuckDbError::DuckDbError(const char* message) : std::runtime_error(FirstLine(message)) {}

DuckDbSession::DuckDbSession(int threads) {
  RequireDuckDb();
  duckdb_config config = nullptr;
  if (duckdb_create_config(&config) == DuckDBError) throw std::bad_alloc();
  if (threads > 0) duckdb_set_config(config, "threads", std::to_string(threads).c_str());
  duckdb_set_config(config, "autoinstall_known_extensions", "false");
  duckdb_set_config(config, "autoload_known_extensions", "false");
  duckdb_set_config(config, "temp_directory", "");
  char* message = nullptr;
  const duckdb_state state = duckdb_open_ext(nullptr, &database_, config, &message);
  duckdb_destroy_config(&config);
  if (state == DuckDBError) {
    DuckDbError error(message);
    duckdb_free(message);
    throw error;
  }
  if (duckdb_connect(database_, &connection_) == DuckDBError) {
    duckdb_close(&database_);
    throw DuckDbError("cannot connect to the database in memory");
  }
}

DuckDbSession::~DuckDbSession() {
  StopThreads();
  duckdb_disconnect(&connection_);
  duckdb_close(&database_);
}

// A worker that has just been given a task of the connection looks at the connection once more,
// even after the query was interrupted or has ended. So the workers are joined while the connection
// still exists; a second connection asks for it, because a worker may be waiting for the first
// one's lock.
void DuckDbSession::StopThreads() {
  duckdb_connection second = nullptr;
  if (duckdb_connect(database_, &second) == DuckDBError) return;
  duckdb_query(second, "SET threads TO 1", nullptr);
  duckdb_disconnect(&second);
}

void DuckDbSession::Run(const std::string& sql) {
  Result result;
  if (duckdb_query(connection_, sql.c_str(), &result.value) == DuckDBError)
    throw DuckDbError(duckdb_result_error(&result.value));
}

void DuckDbSession::Stream(const std::string& sql, const std::function<void(duckdb_data_chunk)>& take,
                           const std::function<bool()>& tick) {
  Prepared prepared;
  if (duckdb_prepare(connection_, sql.c_str(), &prepared.value) == DuckDBError)
    throw DuckDbError(duckdb_prepare_error(prepared.value));
  Pending pending;
  if (duckdb_pending_prepared_streaming(prepared.value, &pending.value) == DuckDBError)
    throw DuckDbError(duckdb_pending_error(pending.value));
  // One of the query's tasks.
  const auto work = [&pending] {
    const duckdb_pending_state state = duckdb_pending_execute_task(pending.value);
    // The workers have taken every task.
    if (state == DUCKDB_PENDING_NO_TASKS_AVAILABLE) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    return state;
  };
  for (;;) {
    const duckdb_pending_state state = work();
    if (state == DUCKDB_PENDING_ERROR) throw DuckDbError(duckdb_pending_error(pending.value));
    if (state == DUCKDB_PENDING_RESULT_READY) break;
    if (tick()) continue;
    duckdb_interrupt(connection_);
    // The query ends, and lets go of its files and memory, when it meets the interruption.
    constexpr int kMostSteps = 5000;
    for (int step = 0; step < kMostSteps; ++step) {
      const duckdb_pending_state end = work();
      if (end == DUCKDB_PENDING_ERROR || end == DUCKDB_PENDING_RESULT_READY) break;
    }
    throw Cancelled();
  }
  Result result;
  if (duckdb_execute_pending(pending.value, &result.value) == DuckDBError)
    throw DuckDbError(duckdb_result_error(&result.value));
  for (;;) {
    Chunk chunk;
    chunk.value = duckdb_fetch_chunk(result.value);
    if (chunk.value == nullptr) break;
    if (duckdb_data_chunk_get_size(chunk.value) > 0) take(chunk.value);
    if (tick()) continue;
    duckdb_interrupt(connection_);
    // As above: take what is waiting, then wait for the end.
    for (bool isMore = true; isMore;) {
      Chunk rest;
      rest.value = duckdb_fetch_chunk(result.value);
      isMore = rest.value != nullptr;
    }
    throw Cancelled();
  }
  const char* message = duckdb_result_error(&result.value);
  if (message != nullptr && *message != 0) throw DuckDbError(message);
}

void DuckDbSession::Rows(const std::string& sql, const std::function<void(const char* const* texts)>& row) {
  Result result;
  if (duckdb_query(connection_, sql.c_str(), &result.value) == DuckDBError)
    throw DuckDbError(duckdb_result_error(&result.value));
  const idx_t columns = duckdb_column_count(&result.value);
  const idx_t rows = duckdb_row_count(&result.value);
  std::vector<char*> texts(columns);
  for (idx_t r = 0; r < rows; ++r) {
    for (idx_t c = 0; c < columns; ++c) texts[c] = duckdb_value_varchar(&result.value, c, r);
    row(texts.data());
    for (char* text : texts) duckdb_free(text);
  }
}

std::string SqlPath(const std::string& path) {
  // An absolute path is never taken for a URL or a home folder.
  const std::string absolute = AbsolutePath(PathOf(path)).string();
  std::string literal;
  for (char c : absolute) {
    if (c == '*' || c == '?' || c == '[') {
      literal += '[';
      literal += c;
      literal += ']';
    } else {
      literal += c;
    }
  }
  return SqlText(literal);
}

}  // namespace velmora
