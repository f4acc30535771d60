// Shared by the functions of include/velmora.h: the handles, and the way that a call runs.
//
//   return ForHandle(session, "session", [&](SessionState& state) {
//     Required(path, "path");
//     state.Work([&] { state.table = LoadTable(...); });   // on the session's thread
//   });
//
// c_interface.cpp has the session and its data, c_results.cpp runs and results, c_bins.cpp bins,
// c_states.cpp data in parts, c_database.cpp runs in a database that the caller asks, c_objects.cpp
// automation objects.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "include/velmora.h"
#include "workbench/api/last_error.h"
#include "workbench/api/module_images.h"
#include "workbench/api/object_handles.h"
#include "workbench/api/work_thread.h"
#include "workbench/bins/saved_bins.h"
#include "workbench/cli/exit_codes.h"
#include "workbench/cli/finished_run.h"
#include "workbench/cli/states/part_run.h"
#include "workbench/data/database_connection.h"
#include "workbench/data/table.h"
#include "workbench/data/user_missing.h"

namespace velmora {

struct ScriptSession;

// The state of a session, shared by its handle, its results, its bins and its objects.
struct SessionState {
  SessionState();
  ~SessionState();

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
  std::unique_ptr<ScriptSession> scripts;  // null until velmora_application
  ObjectHandles objects;

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

// Ends the application of a session that is closed.
void EndApplication(SessionState& state) noexcept;

// The last error of calls without a session.
LastError& ErrorOfThread();

template <typename Value>
Value& Required(Value* value, const char* name) {
  if (value == nullptr) throw UsageError(std::string("The argument ") + name + " is null.");
  return *value;
}

inline std::string OptionsText(const char* options) { return options == nullptr ? "" : options; }

// The words of a command: a name for the data, the options (JSON, null for none), the module.
std::vector<std::string> RunWords(const char* options, const std::string& modulePath);

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

// Runs work for a handle of any kind; a null handle is a wrong argument.
template <typename Handle, typename Work>
int ForHandle(Handle* handle, const char* name, Work work) noexcept {
  if (handle == nullptr) return Guarded(ErrorOfThread(), [&] { Required(handle, name); });
  const std::shared_ptr<SessionState> state = handle->state;  // the work may free the handle
  return Guarded(state->error, [&] { work(*state); });
}

inline void RequireData(const SessionState& state) {
  if (state.table.columns.empty())
    throw UsageError("The session has no data: call velmora_read_file or velmora_take_stream first.");
}

inline void GiveText(std::string& home, std::string made, const char** text, std::size_t* length) {
  home = std::move(made);
  *text = home.c_str();
  if (length != nullptr) *length = home.size();
}

// Bins of a session, which the caller frees.
inline velmora_bins* NewBins(const std::shared_ptr<SessionState>& state, SavedBins bins) {
  return new velmora_bins{state, std::move(bins), {}};
}

}  // namespace velmora
