// velmora run: reads the script, loads the library that runs it, and gives it an empty session.
#include "workbench/cli/run_command.h"

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <iterator>
#include <set>
#include <system_error>

#include "workbench/cli/console.h"
#include "workbench/cli/exit_codes.h"
#include "workbench/cli/module_path.h"
#include "workbench/cli/options.h"
#include "workbench/cli/script_reports.h"
#include "workbench/cli/terminal_frontend.h"
#include "workbench/python/python_library.h"
#include "workbench/session/session.h"
#include "workbench/system/file_content.h"
#include "workbench/system/system.h"

namespace velmora {
namespace {

constexpr char kPythonLibrary[] = "libvelmora_python.so";

struct RunOptions {
  ModuleOptions module;
  bool quiet = false;
  std::vector<std::string> script;  // its file, then its own arguments
};

const std::set<std::string>& OptionsWithValues() {
  static const std::set<std::string> options = {"--module", "--log", "--decimal-separator"};
  return options;
}

// Options come before the script; everything after it is the script's.
RunOptions ParseOptions(const std::vector<std::string>& arguments) {
  std::size_t own = 0;
  while (own < arguments.size() && arguments[own].starts_with("-") && arguments[own] != "-" &&
         arguments[own] != "--") {
    own += OptionsWithValues().contains(arguments[own]) ? 2 : 1;
  }
  own = std::min(own, arguments.size());
  const auto end = arguments.begin() + static_cast<std::ptrdiff_t>(own);
  RunOptions options;
  CommandParser parser;
  options.module.AddTo(parser);
  parser.Flag("--quiet", options.quiet);
  parser.Parse({arguments.begin(), end});
  const bool optionsEnd = end != arguments.end() && *end == "--";
  options.script.assign(end + (optionsEnd ? 1 : 0), arguments.end());
  if (options.script.empty())
    throw UsageError("SCRIPT is missing: name a Python file, or - for standard input.");
  return options;
}

std::string ReadScript(const std::string& path) {
  if (path == "-") return {std::istreambuf_iterator<char>(std::cin), std::istreambuf_iterator<char>()};
  try {
    return FileContent(PathOf(path));
  } catch (const std::system_error& error) {
    throw RunError("The script " + path + " cannot be read: " + error.code().message() + ".");
  }
}

void CheckScript(const std::string& path, const std::string& text) {
  if (text.find('\0') != std::string::npos) throw RunError("The script " + path + " is not a text file.");
}

// Loaded for good: an interpreter cannot be unloaded from a process.
RunPythonScriptFunction LoadPython() {
  const std::filesystem::path beside = ExecutableFolder();
  for (const std::filesystem::path& place :
       {beside / kPythonLibrary, beside / ".." / "lib" / kPythonLibrary}) {
    std::error_code error;
    if (!std::filesystem::is_regular_file(place, error)) continue;
    std::string reason;
    void* const library = LoadSharedLibrary(place, reason);
    if (library == nullptr) throw RunError("Scripts need Python, which cannot be loaded: " + reason + ".");
    if (void* const function = FindFunction(library, kRunPythonScriptName))
      return reinterpret_cast<RunPythonScriptFunction>(function);
    throw RunError(place.string() + " does not belong to this velmora.");
  }
  throw RunError(std::string("Scripts need Python, which this velmora was built without: there is no ") +
                 kPythonLibrary + " in " + beside.string() + ".");
}

}  // namespace

int RunRunCommand(const std::vector<std::string>& arguments) {
  const RunOptions options = ParseOptions(arguments);
  const std::string text = ReadScript(options.script.front());
  CheckScript(options.script.front(), text);
  const SessionOptions sessionOptions = MakeSessionOptions(options.module, Readers::kPrograms);
  const RunPythonScriptFunction run = LoadPython();

  TerminalFrontend frontend(options.quiet);
  Session session(frontend, sessionOptions);
  ScriptReports reports(session, frontend, options.quiet);
  session.SetReporter(&reports);
  std::vector<const char*> words;
  for (const std::string& word : options.script) words.push_back(word.c_str());
  PythonScript script{};
  script.arguments = words.data();
  script.argumentCount = static_cast<int>(words.size());
  script.text = text.data();
  script.textLength = static_cast<int>(text.size());
  script.application = session.Application().Object();
  script.version = VELMORA_VERSION;
  script.callOnInterruption = CallOnInterruption;
  script.forgetInterruption = ForgetInterruption;
  return run(&script);
}

}  // namespace velmora
