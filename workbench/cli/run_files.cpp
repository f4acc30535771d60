#include "workbench/cli/run_files.h"

#include <system_error>

#include "workbench/cli/exit_codes.h"
#include "workbench/data/database_address.h"
#include "workbench/data/errors.h"
#include "workbench/data/save.h"
#include "workbench/data/table_sidecar.h"
#include "workbench/documents/terminal_text.h"
#include "workbench/system/file_content.h"
#include "workbench/system/system.h"

namespace velmora {

namespace {

namespace fs = std::filesystem;

}  // namespace

bool IsDevice(const fs::path& path) {
  std::error_code error;
  const fs::file_status status = fs::status(path, error);
  return fs::exists(status) && !fs::is_regular_file(status) && !fs::is_directory(status);
}

void RunFiles::Reads(const std::string& name, const std::string& path) {
  if (IsDevice(PathOf(path))) return;
  uses_.try_emplace(IdentityOf(PathOf(path)), Use{name, true});
}

void RunFiles::ReadsTable(const std::string& name, const std::string& path) {
  // No file.
  if (path.empty() || ParseDatabaseAddress(path).server != DatabaseServer::kNone) return;
  Reads(name, path);
  Reads("the sidecar file of " + name, SidecarPath(path));
}

void RunFiles::Writes(const std::string& name, const std::string& path) {
  if (IsDevice(PathOf(path))) return;
  const auto [other, isNew] = uses_.try_emplace(IdentityOf(PathOf(path)), Use{name, false});
  if (isNew) return;
  const std::string shown = ShortenedText(path);
  if (other->second.isInput)
    throw UsageError(name + " would overwrite " + other->second.name + " (" + shown + ").");
  throw UsageError(other->second.name + " and " + name + " would both write " + shown + ".");
}

void RunFiles::WritesTable(const std::string& name, const std::string& path) {
  try {
    CheckSavable(path);
  } catch (const DataError& error) {
    throw UsageError(name + ": " + error.what());
  }
  Writes(name, path);
  Writes(name, SidecarPath(path));
}

std::string RunFiles::InputAt(const FileIdentity& identity) const {
  const auto use = uses_.find(identity);
  return use == uses_.end() || !use->second.isInput ? std::string() : use->second.name;
}

std::string ReadWholeFile(const std::string& path) {
  try {
    return FileContent(PathOf(path));
  } catch (const std::system_error& error) {
    throw RunError(path + " cannot be read: " + error.code().message() + ".");
  }
}

}  // namespace velmora
