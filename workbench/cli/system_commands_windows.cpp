// Windows: the automation server, its registration, and the analyses in windows.
#include "workbench/cli/system_commands.h"

#include <algorithm>

#include "workbench/cli/console.h"
#include "workbench/cli/dialog_command_windows.h"
#include "workbench/cli/exit_codes.h"
#include "workbench/cli/module_path.h"
#include "workbench/session/session.h"
#include "workbench/system/system.h"
#include "workbench/windows/server_windows.h"

namespace velmora {
namespace {

SessionOptions ModuleOfProgram() { return MakeSessionOptions({}, Readers::kPrograms); }

// The class, and the module's type library, which the module registers when it is loaded.
int Register(RegistrationScope scope) {
  const std::string program = ExecutablePath().string();
  if (program.empty()) throw RunError("The system does not tell the path of this program.");
  RegisterServer(scope, program);
  Face face;
  Session session(face, ModuleOfProgram());
  session.LoadModule();
  return kExitDone;
}

int Unregister(RegistrationScope scope) {
  UnregisterServer(scope);
  return kExitDone;
}

// What would stand in a box for a person is a notice of the script's outputs.
class ServerFace final : public Face {
 public:
  void Message(std::string_view text) override { Keep(text); }
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

int Serve(RegistrationScope /*scope*/) {
  ServerFace face;
  std::unique_ptr<Session> session;
  ServeApplication([&] {
    if (!session) session = std::make_unique<Session>(face, ModuleOfProgram());
    face.session = session.get();
    return ObjectReference(session->Application().Object());
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
  return {{"dialog", "set up an analysis in its dialogs and see its results", kDialogHelp, RunDialogCommand}};
}

std::optional<int> RunSystemSwitch(const std::vector<std::string>& arguments) {
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
