// A folder for the test's error reports, where the environment names it; Windows has one for all
// users.
#pragma once

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>

namespace vlmfsl::testing {

class ErrorHome {
 public:
  ErrorHome() : path_(std::filesystem::temp_directory_path() / ("vlm-guard-" + std::to_string(getpid()))) {
    std::filesystem::create_directories(path_);
#ifndef _WIN32
    setenv("XDG_DATA_HOME", (path_ / "data").c_str(), 1);
#endif
  }
  ~ErrorHome() {
#ifndef _WIN32
    unsetenv("XDG_DATA_HOME");
#endif
    std::filesystem::remove_all(path_);
  }
  ErrorHome(const ErrorHome&) = delete;
  ErrorHome& operator=(const ErrorHome&) = delete;

  const std::filesystem::path& Path() const { return path_; }
  std::string Folder() const {
#ifdef _WIN32
    return std::string(std::getenv("ProgramData")) + "\\Velmora\\Errors";
#else
    return (path_ / "data" / "Velmora" / "Errors").string();
#endif
  }

 private:
  std::filesystem::path path_;
};

}  // namespace vlmfsl::testing
