#include "workbench/cli/module_path.h"

#include <filesystem>

#include "workbench/cli/exit_codes.h"
#include "workbench/session/process_exports.h"
#include "workbench/session/user_settings.h"
#include "workbench/system/system.h"
#include "workbench/system/user_places.h"

namespace velmora {
namespace {

std::string Named(const std::string& path, const std::string& where) {
  std::error_code error;
  if (std::filesystem::is_regular_file(PathOf(path), error)) return AbsolutePath(PathOf(path)).string();
  throw UsageError(where + ": there is no module file " + path + ".");
}

}  // namespace

std::string FindModule(const std::string& option) {
  if (!option.empty()) return Named(option, "--module");
  if (const std::string named = EnvironmentVariable("VELMORA_MODULE"); !named.empty()) {
    return Named(named, "VELMORA_MODULE");
  }
  // The library is libvelmora where it is loaded into another program, else the program itself.
  const std::filesystem::path program = ExecutableFolder();
  const std::filesystem::path library = LibraryFolder();
  std::error_code error;
  for (const std::filesystem::path& beside : {library, program}) {
    for (const std::filesystem::path& place : {beside / kModuleFile, beside / ".." / "lib" / kModuleFile}) {
      if (std::filesystem::is_regular_file(place, error)) return NormalPath(place).string();
    }
  }
  const std::filesystem::path& beside = library.empty() ? program : library;
  throw RunError(std::string("The module ") + kModuleFile + " is neither in " + beside.string() + " nor in " +
                 NormalPath(beside / ".." / "lib").string() +
                 "; name it with --module PATH or VELMORA_MODULE.");
}

SessionOptions MakeSessionOptions(const ModuleOptions& options, Readers readers, int threads) {
  SessionOptions made;
  made.modulePath = FindModule(options.path);
  made.threads = threads;
  made.profile = ReadProfile(UserSettingsFile());
  const std::string log = options.logFile.empty() ? EnvironmentVariable("VELMORA_LOG") : options.logFile;
  if (!log.empty()) WriteLogTo(log);
  const std::string& separator = options.decimalSeparator;
  if (!separator.empty()) {
    constexpr std::string_view kNoSeparators = " \t\n+-0123456789eE\"'()[]";
    if (separator.size() > 4 || separator.find_first_of(kNoSeparators) != std::string::npos)
      throw UsageError("--decimal-separator takes one character such as , or . and not " + separator + ".");
    made.decimalSeparator = separator;
  } else if (readers == Readers::kPeople) {
    made.decimalSeparator = UserDecimalSeparator();
  }
  return made;
}

}  // namespace velmora
