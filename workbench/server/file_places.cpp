#include "workbench/server/file_places.h"

#include <algorithm>

#include "workbench/cli/exit_codes.h"
#include "workbench/data/file_kinds.h"
#include "workbench/documents/terminal_text.h"
#include "workbench/report/json_text.h"
#include "workbench/system/system.h"

namespace velmora {
namespace fs = std::filesystem;

FilePlaces::FilePlaces(const std::vector<std::string>& roots) {
  for (const std::string& root : roots) {
    std::error_code error;
    const fs::path folder = fs::canonical(PathOf(root), error);
    if (error || !fs::is_directory(folder))
      throw UsageError("--root: there is no folder " + ShortenedText(root) + ".");
    roots_.push_back(folder);
  }
}

bool FilePlaces::IsInside(const fs::path& path) const {
  return std::any_of(roots_.begin(), roots_.end(), [&](const fs::path& root) {
    return std::mismatch(root.begin(), root.end(), path.begin(), path.end()).first == root.end();
  });
}

fs::path FilePlaces::Resolve(const std::string& path) const {
  const fs::path named = PathOf(path);
  std::error_code error;
  fs::path real;
  if (path.find('\0') == std::string::npos)
    real = fs::canonical(named.is_absolute() ? named : roots_.front() / named, error);
  // One sentence for both, so that nobody learns what lies outside.
  if (error || real.empty() || !IsInside(real))
    throw UsageError("There is no file " + ShortenedText(path) +
                     " in the folders that were opened (--root).");
  return real;
}

std::string FilePlaces::ListJson(const std::string& path) const {
  Json folders = Json::array(), files = Json::array();
  const auto add = [](Json& list, const fs::path& entry, const std::string& name) -> Json& {
    list.push_back({{"name", name}, {"path", entry.string()}});
    return list.back();
  };
  if (path.empty()) {
    for (const fs::path& root : roots_) add(folders, root, root.string());
    return JsonText({{"folder", nullptr}, {"parent", nullptr}, {"folders", folders}, {"files", files}});
  }
  const fs::path folder = Resolve(path);
  std::error_code error;
  std::vector<fs::path> names = NamesIn(folder, error);
  if (error)
    throw UsageError("The folder " + ShortenedText(path) + " cannot be read: " + error.message() + ".");
  std::sort(names.begin(), names.end());
  std::vector<std::string> kinds = ReadableExtensions();
  kinds.emplace_back(kProjectExtension);
  for (const fs::path& name : names) {
    const std::string text = name.filename().string();
    const fs::path real = fs::canonical(folder / name.filename(), error);
    if (text.starts_with('.') || error || !IsInside(real)) continue;
    if (fs::is_directory(real, error)) {
      add(folders, folder / name.filename(), text);
    } else if (std::find(kinds.begin(), kinds.end(), name.extension().string()) != kinds.end()) {
      add(files, folder / name.filename(), text)["bytes"] = fs::file_size(real, error);
    }
  }
  const bool isRoot = std::find(roots_.begin(), roots_.end(), folder) != roots_.end();
  return JsonText({{"folder", folder.string()},
                   {"parent", isRoot ? Json("") : Json(folder.parent_path().string())},
                   {"folders", folders},
                   {"files", files}});
}

}  // namespace velmora
