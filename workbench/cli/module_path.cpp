// Places of the plug-in module.
#include "workbench/cli/module_path.h"

#include <filesystem>

#include "workbench/cli/exit_codes.h"
#include "workbench/system/system.h"

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
  const std::filesystem::path beside = ExecutableFolder();
  std::error_code error;
  for (const std::filesystem::path& place : {beside / kModuleFile, beside / ".." / "lib" / kModuleFile}) {
    if (std::filesystem::is_regular_file(place, error)) return NormalPath(place).string();
  }
  throw RunError(std::string("The module ") + kModuleFile + " is neither in " + beside.string() + " nor in " +
                 NormalPath(beside / ".." / "lib").string() +
                 "; name it with --module PATH or VELMORA_MODULE.");
}

}  // namespace velmora
