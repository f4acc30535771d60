#include "workbench/server/file_places.h"

#include <algorithm>
#include <iterator>
#include <set>

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

std::optional<fs::path> FilePlaces::ResolveOrNull(const fs::path& path) const {
  if (path.native().find('\0') != fs::path::string_type::npos) return std::nullopt;
  std::error_code error;
  fs::path real = fs::canonical(path.is_absolute() ? path : roots_.front() / path, error);
  if (error) return std::nullopt;
  const bool isKnown = std::find(files_.begin(), files_.end(), real) != files_.end();
  if (!isKnown && !IsInside(real)) return std::nullopt;
  return real;
}

fs::path FilePlaces::Resolve(const std::string& path) const {
  std::optional<fs::path> real = ResolveOrNull(PathOf(path));
  // The same sentence for a file that does not exist and for one outside, so that it reveals
  // nothing.
  if (!real)
    throw UsageError("There is no file " + ShortenedText(path) +
                     " in the folders that were opened (--root).");
  return *std::move(real);
}

bool FilePlaces::MayOpen(const fs::path& path) const {
  const std::optional<fs::path> real = ResolveOrNull(path);
  std::error_code error;
  return real && fs::is_regular_file(*real, error);
}

void FilePlaces::AlsoAllow(const std::vector<fs::path>& files) {
  for (const fs::path& file : files) {
    std::error_code error;
    const fs::path real = fs::canonical(file, error);
    if (!error && fs::is_regular_file(real, error)) files_.push_back(real);
  }
}

fs::path FilePlaces::Find(const std::string& name, std::uintmax_t bytes) const {
  constexpr int kDeepest = 4, kMostEntries = 50000;
  const auto fits = [&](const fs::path& file) {
    std::error_code error;
    return file.filename() == PathOf(name) && fs::is_regular_file(file, error) &&
           fs::file_size(file, error) == bytes && !error;
  };
  std::set<fs::path> found;
  std::copy_if(files_.begin(), files_.end(), std::inserter(found, found.end()), fits);
  std::vector<fs::path> folders = roots_;
  int looked = 0;
  // Level by level, so that a large folder does not keep the search from files above it.
  for (int depth = 0; depth < kDeepest && looked < kMostEntries; ++depth) {
    std::vector<fs::path> inner;
    for (const fs::path& folder : folders) {
      std::error_code error;  // folders that cannot be read are skipped
      for (fs::directory_iterator at(folder, error), end; !error && at != end && ++looked < kMostEntries;
           at.increment(error)) {
        const fs::path& entry = at->path();
        if (entry.filename().native().starts_with('.')) continue;
        std::error_code unknown;
        if (at->is_directory(unknown) && !at->is_symlink(unknown)) inner.push_back(entry);
        if (!fits(entry)) continue;
        // A link may lead outside.
        if (const std::optional<fs::path> real = ResolveOrNull(entry)) found.insert(*real);
      }
    }
    folders = std::move(inner);
  }
  if (found.size() > 1)
    throw UsageError("Several files are called " + ShortenedText(name) + "; open it from the list.");
  if (found.empty())
    throw UsageError("There is no such file " + ShortenedText(name) +
                     " in the folders that were opened; name its folder with --root.");
  return *found.begin();
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
