#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <system_error>

#include "workbench/cli/console.h"
#include "workbench/cli/exit_codes.h"
#include "workbench/cli/python_program.h"
#include "workbench/system/system.h"

#ifdef __SANITIZE_ADDRESS__
#include <dlfcn.h>
#include <sanitizer/asan_interface.h>
#endif

namespace velmora {
namespace {

constexpr char kRunner[] = "_script.py";

// In an installation and in a build the package is beside the command; in a wheel the command is
// inside the package.
std::filesystem::path FindRunner() {
  const std::filesystem::path beside = ExecutableFolder();
  for (const std::filesystem::path& folder : {beside / "python" / "velmora", beside.parent_path()}) {
    std::error_code error;
    if (std::filesystem::is_regular_file(folder / kRunner, error)) return folder / kRunner;
  }
  throw RunError("Scripts need the Python package of velmora, and there is none in " +
                 (beside / "python").string() + ".");
}

#ifdef __SANITIZE_ADDRESS__
std::string LibraryOf(void* function) {
  Dl_info library{};
  return dladdr(function, &library) != 0 ? library.dli_fname : "";
}

// An instrumented library can be loaded into Python only after the sanitizer itself, which looks for
// the library that throws exceptions when it starts. What Python does not free at its end is no leak
// of ours.
void LoadSanitizerFirst() {
  const std::string libraries = LibraryOf(reinterpret_cast<void*>(&__asan_describe_address)) + " " +
                                LibraryOf(reinterpret_cast<void*>(&std::terminate));
  setenv("LD_PRELOAD", libraries.c_str(), 1);
  setenv("ASAN_OPTIONS", "detect_leaks=0", 1);
}
#else
void LoadSanitizerFirst() {}
#endif

}  // namespace

int RunScriptRunner(const PythonProgram& python) {
  const bool isNamed = !python.interpreter.empty();
  std::vector<std::string> words = {isNamed ? python.interpreter : "python3", FindRunner().string()};
  words.insert(words.end(), python.arguments.begin(), python.arguments.end());
  std::vector<char*> pointers;
  for (std::string& word : words) pointers.push_back(word.data());
  pointers.push_back(nullptr);
  for (const auto& [name, value] : python.environment) setenv(name.c_str(), value.c_str(), 1);
  LoadSanitizerFirst();
  StopIfInterrupted();
  execvp(pointers.front(), pointers.data());
  const std::string reason = std::error_code(errno, std::generic_category()).message();
  if (isNamed)
    throw RunError("Scripts need Python, and " + words.front() + " cannot be started: " + reason + ".");
  throw RunError("Scripts need Python, and python3 cannot be started: " + reason +
                 "; install Python 3.10 or newer, or name it with --interpreter or VELMORA_PYTHON.");
}

}  // namespace velmora
