// The data files that the user opened last, one path per line of a file. The start window of Windows
// has such a list, and the page.
//
//   const RecentFiles recent(folder / "recent.txt");
//   recent.Remember(path);
#pragma once

#include <filesystem>
#include <utility>
#include <vector>

namespace velmora {

class RecentFiles {
 public:
  // Without a file name the list is always empty.
  explicit RecentFiles(std::filesystem::path list) : list_(std::move(list)) {}

  // The files, the latest first.
  [[nodiscard]] std::vector<std::filesystem::path> Read() const;
  // Puts a file first; the list keeps ten. A list that cannot be written stays as it was.
  void Remember(const std::filesystem::path& file) const;

 private:
  std::filesystem::path list_;
};

}  // namespace velmora
