// Places of the plug-in module.
#include "workbench/app/module_path.h"

#include <cstdlib>
#include <filesystem>

#include "workbench/app/console.h"
#include "workbench/app/exit_codes.h"

namespace velmora {
namespace {

constexpr char kModuleFile[] = "libvlmfsl.so";

std::string Named(const std::string& path, const std::string& where) {
  std::error_code error;
  if (std::filesystem::is_regular_file(path, error)) return std::filesystem::absolute(path).string();
  throw UsageError(where + ": there is no module file " + path + ".");
}

}  // namespace

std::string FindModule(const std::string& option) {
  if (!option.empty()) return Named(option, "--module");
  const char* named = std::getenv("VELMORA_MODULE");
  if (named != nullptr && *named != 0) return Named(named, "VELMORA_MODULE");
  const std::filesystem::path beside = ExecutableFolder();
  std::error_code error;
  for (const std::filesystem::path& place : {beside / kModuleFile, beside / ".." / "lib" / kModuleFile}) {
    if (std::filesystem::is_regular_file(place, error)) return place.lexically_normal().string();
  }
  throw RunError(std::string("The module ") + kModuleFile + " is neither in " + beside.string() + " nor in " +
                 (beside / ".." / "lib").lexically_normal().string() +
                 "; name it with --module PATH or VELMORA_MODULE.");
}

}  // namespace velmora
