// The folders whose files the page may open, and nothing outside of them: links are followed before
// a path is compared.
//
//   FilePlaces places({"data"});
//   places.Resolve("credit.csv");      // "/home/ann/data/credit.csv"
//   places.Resolve("../secret.csv");   // throws UsageError
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace velmora {

// The project of a data file is kept beside it, as NAME.velmora.
inline constexpr char kProjectExtension[] = ".velmora";

class FilePlaces {
 public:
  // Throws UsageError for a root that is no folder.
  explicit FilePlaces(const std::vector<std::string>& roots);

  // Files that may be opened although their folders may not: those that the user has opened before.
  void AlsoAllow(const std::vector<std::filesystem::path>& files);

  // path: absolute, or relative to the first root. Throws UsageError for one that does not exist or
  // is outside of the roots.
  std::filesystem::path Resolve(const std::string& path) const;
  // Whether Resolve finds it, and it is a file.
  bool MayOpen(const std::filesystem::path& path) const;
  // {"folder", "parent" (null for a root), "folders": [{"name","path"}], "files":
  // [{"name","path","bytes"}]} of a folder; an empty path lists the roots. Files that the workbench
  // does not read and hidden ones are left out.
  std::string ListJson(const std::string& path) const;
  // The file of this name and size in the folders, for a page, which knows nothing else about a
  // file that is dropped on it. Hidden files and folders are skipped. Throws UsageError when there
  // is none, or more than one.
  std::filesystem::path Find(const std::string& name, std::uintmax_t bytes) const;

 private:
  bool IsInside(const std::filesystem::path& path) const;
  // Null for a path that does not exist or may not be opened.
  std::optional<std::filesystem::path> ResolveOrNull(const std::filesystem::path& path) const;

  std::vector<std::filesystem::path> roots_, files_;
};

}  // namespace velmora
