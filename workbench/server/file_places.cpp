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
  if (!error && std::find(files_.begin(), files_.end(), real) != files_.end()) return real;
  // One sentence for both, so that nobody learns what lies outside.
  if (error || real.empty() || !IsInside(real))
    throw UsageError("There is no file " + ShortenedText(path) +
                     " in the folders that were opened (--root).");
  return real;
}

void FilePlaces::AlsoAllow(const std::vector<fs::path>& files) {
  for (const fs::path& file : files) {
    std::error_code error;
    const fs::path real = fs::canonical(file, error);
    if (!error && fs::is_regular_file(real, error)) files_.push_back(real);
  }
}

fs::path FilePlaces::Find(const std::string& name, std::uintmax_t bytes) const {
  constexpr int kDeepest = 3, kMostFiles = 50000;
  const auto fits = [&](const fs::path& file) {
    std::error_code error;
    return file.filename() == PathOf(name) && fs::is_regular_file(file, error) &&
           fs::file_size(file, error) == bytes && !error;
  };
  for (const fs::path& file : files_) {
    if (fits(file)) return file;
  }
  int looked = 0;
  for (const fs::path& root : roots_) {
    std::error_code error;  // folders that cannot be read are passed over; links are not followed
    fs::recursive_directory_iterator at(root, fs::directory_options::skip_permission_denied, error), end;
    for (; !error && at != end && ++looked < kMostFiles; at.increment(error)) {
      if (at.depth() >= kDeepest) at.disable_recursion_pending();
      if (fits(at->path())) return Resolve(at->path().string());
    }
  }
  throw UsageError("There is no such file " + ShortenedText(name) +
                   " in the folders that were opened; name its folder with --root.");
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
