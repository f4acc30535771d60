// Windows: the automation server and its registration, and analyses in dialogs.
#include "workbench/cli/system_commands.h"

#include <windows.h>

#include <algorithm>
#include <filesystem>

#include "workbench/cli/console.h"
#include "workbench/cli/console_windows.h"
#include "workbench/cli/dialog_command_windows.h"
#include "workbench/cli/exit_codes.h"
#include "workbench/cli/module_path.h"
#include "workbench/cli/script_reports.h"
#include "workbench/cli/terminal_frontend.h"
#include "workbench/session/session.h"
#include "workbench/system/system.h"
#include "workbench/windows/application_data.h"
#include "workbench/windows/server_windows.h"

namespace velmora {
namespace {

int Register(RegistrationScope scope) {
  // The program without a console, where it is installed: a client must not open one.
  const std::filesystem::path windowed = ExecutableFolder() / "velmoraw.exe";
  std::error_code error;
  const std::string program =
      (std::filesystem::exists(windowed, error) ? windowed : ExecutablePath()).string();
  if (program.empty()) throw RunError("The system does not say where this program is.");
  const SessionOptions options = MakeSessionOptions({}, Readers::kPrograms);
  // A module that cannot be loaded could not serve either.
  Frontend frontend;
  Session session(frontend, options);
  session.LoadModule();
  RegisterServer(scope, {program, options.modulePath}, ObjectModel());
  return kExitDone;
}

int Unregister(RegistrationScope scope) {
  UnregisterServer(scope);
  return kExitDone;
}

// Nobody would see the messages of a server: they become notices among the outputs of the script,
// and the lines for standard error are never shown.
class ServerFrontend final : public TerminalFrontend {
 public:
  ServerFrontend() : TerminalFrontend(true) { HoldNotices(true); }
  void Message(std::string_view text) override {
    TerminalFrontend::Message(text);
    Keep(text);
  }
  void ShowEditError(DialogWindow& /*window*/, int /*controlId*/, std::string_view text) override {
    Keep(text);
  }
  void ShowInstructionError(DialogWindow& /*window*/, std::string_view text) override { Keep(text); }
  Session* session = nullptr;

 private:
  void Keep(std::string_view text) const {
    if (session != nullptr) session->Documents().AddNotice(text);
  }
};

SessionOptions ServerOptions() {
  SessionOptions options = MakeSessionOptions({}, Readers::kPrograms);
  options.scriptLanguage = ScriptLanguage::kVBScript;
  return options;
}

// The objects that serve one client, made in this order.
struct Service {
  explicit Service(ServerFrontend& frontend)
      : session(frontend, ServerOptions()), reports(session, frontend, true) {
    session.SetReporter(&reports);
    frontend.session = &session;
  }
  Session session;
  ScriptReports reports;
};

int Serve(RegistrationScope /*scope*/) {
  // The system starts servers in a folder of its own; a script means its user's documents.
  std::error_code ignored;
  std::filesystem::current_path(DocumentsFolder(), ignored);
  ServerFrontend frontend;
  std::optional<Service> service;
  ServeApplication([&] {
    if (!service) service.emplace(frontend);
    return ObjectReference(service->session.Application().Object());
  });
  return kExitDone;
}

struct Switch {
  const char* name;
  int (*run)(RegistrationScope scope);
  RegistrationScope scope;
};
constexpr Switch kSwitches[] = {
    {"automation", Serve, RegistrationScope::kUser},
    {"embedding", Serve, RegistrationScope::kUser},
    {"regserver", Register, RegistrationScope::kMachine},
    {"regserverperuser", Register, RegistrationScope::kUser},
    {"unregserver", Unregister, RegistrationScope::kMachine},
    {"unregserverperuser", Unregister, RegistrationScope::kUser},
};

}  // namespace

std::vector<Command> SystemCommands() {
  return {{"dialog", "run analyses in dialogs", kDialogHelp, RunDialogCommand}};
}

std::optional<int> RunSystemSwitch(const std::vector<std::string>& arguments) {
  if (arguments.empty() && OwnsConsole()) {
    FreeConsole();
    ShowErrorsInBoxes();
    return RunGuarded("velmora", [] { return RunDialogCommand({}); });
  }
  if (arguments.empty() || arguments.front().size() < 2) return std::nullopt;
  std::string name = arguments.front();
  if (name.front() != '/' && name.front() != '-') return std::nullopt;
  name.erase(0, 1);
  std::transform(name.begin(), name.end(), name.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
  for (const Switch& known : kSwitches) {
    if (name != known.name) continue;
    return RunGuarded("velmora", [&] { return known.run(known.scope); });
  }
  return std::nullopt;
}

}  // namespace velmora
