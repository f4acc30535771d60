// A folder of one test, removed at its end.
#pragma once

#include <atomic>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "workbench/system/system.h"

namespace velmora::testing {

class ScratchFolder {
 public:
  ScratchFolder() {
    // Names until one is new: tests run side by side.
    static std::atomic<int> count{0};
    do {
      path_ = std::filesystem::temp_directory_path() / ("velmora-test-" + std::to_string(++count));
    } while (!std::filesystem::create_directory(path_));
  }
  ~ScratchFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;

  std::string At(const std::string& name) const { return (path_ / velmora::PathOf(name)).string(); }
  // In no order.
  std::vector<std::string> Names() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(path_)) {
      names.push_back(entry.path().filename().string());
    }
    return names;
  }
  std::string Content(const std::string& name) const {
    std::ifstream file(path_ / name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

 private:
  std::filesystem::path path_;
};

}  // namespace velmora::testing
