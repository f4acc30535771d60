#include "workbench/cli/apply_files.h"

#include <algorithm>
#include <filesystem>
#include <map>

#include "workbench/bins/recode_names.h"
#include "workbench/cli/exit_codes.h"
#include "workbench/cli/run_files.h"
#include "workbench/system/system.h"

namespace velmora {
namespace {

namespace fs = std::filesystem;

std::string PathText(const fs::path& path) {
  const std::u8string text = path.u8string();
  return {text.begin(), text.end()};
}

// The lists of recode files of several folders, each read once.
class RecodeLists {
 public:
  // The variable that the list of a folder gives to a file in it; empty without one.
  std::string VariableOf(const fs::path& file) {
    const RecodeNames* const names = In(file.parent_path());
    if (names == nullptr) return {};
    const auto found = names->find(PathText(file.filename()));
    return found == names->end() ? std::string() : found->second;
  }

  // Null: the folder has no list.
  const RecodeNames* In(const fs::path& folder) {
    const auto [place, isNew] = lists_.try_emplace(folder);
    const fs::path file = folder / kRecodeNamesFile;
    std::error_code error;
    if (isNew && fs::is_regular_file(file, error)) {
      const std::string path = PathText(file);
      place->second.push_back(ParseRecodeNames(ReadWholeFile(path), path));
    }
    return place->second.empty() ? nullptr : &place->second.front();
  }

 private:
  std::map<fs::path, std::vector<RecodeNames>> lists_;
};

bool IsRecodeList(const std::string& path) { return PathOf(path).filename() == kRecodeNamesFile; }

}  // namespace

std::vector<SavedFile> ExpandSavedFiles(const std::vector<std::string>& given) {
  RecodeLists lists;
  std::vector<SavedFile> files;
  const auto addListed = [&](const fs::path& folder) {
    const RecodeNames* const names = lists.In(folder);
    if (names == nullptr)
      throw RunError(PathText(folder) + " is a folder without " + kRecodeNamesFile +
                     "; name the recode files in it.");
    for (const auto& [name, variable] : *names) files.push_back({PathText(folder / PathOf(name)), variable});
  };
  const auto isBesideAnother = [&](const std::string& list) {
    return std::any_of(given.begin(), given.end(), [&](const std::string& other) {
      return !IsRecodeList(other) && PathOf(other).parent_path() == PathOf(list).parent_path();
    });
  };
  for (const std::string& path : given) {
    const fs::path file = PathOf(path);
    std::error_code error;
    if (fs::is_directory(file, error)) {
      addListed(file);
    } else if (IsRecodeList(path) && fs::exists(file, error)) {
      if (!isBesideAnother(path)) addListed(file.parent_path());
    } else {
      files.push_back({path, lists.VariableOf(file)});
    }
  }
  return files;
}

}  // namespace velmora
