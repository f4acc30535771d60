// The command's place, temporary folders and files of the tests.
#include "tests/cli/process.h"

#include <algorithm>
#include <fstream>
#include <random>
#include <sstream>

#include "tests/support/paths.h"
#include "workbench/system/system.h"

namespace velmora::testing {

namespace fs = std::filesystem;

std::string CommandPath() {
#ifdef _WIN32
  static constexpr char kName[] = "velmora.exe";
#else
  static constexpr char kName[] = "velmora";
#endif
  return fs::absolute(fs::path(BinaryDir()) / kName).string();
}

TemporaryFolder::TemporaryFolder() {
  std::random_device random;
  fs::path path;
  do {  // until a name is new: tests run side by side
    path = fs::temp_directory_path() / ("velmora-test-" + std::to_string(random()));
  } while (!fs::create_directory(path));
  path_ = path;
}

TemporaryFolder::~TemporaryFolder() {
  std::error_code ignored;
  fs::permissions(path_, fs::perms::owner_all, ignored);
  if (!path_.empty()) fs::remove_all(path_, ignored);
}

std::string TemporaryFolder::Write(const std::string& name, std::string_view content) const {
  const fs::path path = path_ / PathOf(name);
  std::ofstream(path, std::ios::binary) << content;
  return path.string();
}

std::vector<std::string> TemporaryFolder::Names() const {
  std::vector<std::string> names;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(path_)) {
    names.push_back(fs::relative(entry.path(), path_).generic_string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

std::string ReadFile(const fs::path& path) {
  std::ostringstream text;
  text << std::ifstream(path, std::ios::binary).rdbuf();
  return text.str();
}

std::string Sample(const std::string& name) {
  return fs::absolute(fs::path(SourceDir()) / "samples" / name).string();
}

}  // namespace velmora::testing
