// Runs the built command in a process and keeps its output.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace velmora::testing {

struct ProcessOptions {
  std::string inputFrom;                // standard input is this file; empty: nothing to read
  std::string outputTo;                 // standard output goes to this file instead of being kept
  std::filesystem::path folder;         // the process's current folder
  int interruptAfterMilliseconds = -1;  // SIGINT this long after the process handles it; -1: never
  bool readerGone = false;              // the reader of standard output is closed
};

struct ProcessResult {
  int exitCode = -1;  // 128 + number when a signal ended it
  std::string out;
  std::string err;
  long long peakBytes = 0;  // of resident memory, of this process before it began, too; 0: not known
};

std::string CommandPath();  // of the built velmora
ProcessResult RunVelmora(const std::vector<std::string>& arguments, const ProcessOptions& options = {});

// A folder of one test, removed with its files at the end.
class TemporaryFolder {
 public:
  TemporaryFolder();
  ~TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  const std::filesystem::path& Path() const { return path_; }
  // Returns the file's path.
  std::string Write(const std::string& name, std::string_view content) const;
  // Of everything in it, sorted.
  std::vector<std::string> Names() const;

 private:
  std::filesystem::path path_;
};

std::string ReadFile(const std::filesystem::path& path);
// A file of the sample data.
std::string Sample(const std::string& name);

}  // namespace velmora::testing
