// The files that a run reads and writes, each recognised by whatever path it is named, so that no
// output overwrites an input or another output.
//
//   RunFiles files;
//   files.Reads("DATA", "credit.csv");
//   files.Writes("--bins", "./credit.csv");  // throws: --bins ./credit.csv would overwrite DATA.
#pragma once

#include <filesystem>
#include <map>
#include <string>

#include "workbench/system/file_identity.h"

namespace velmora {

class RunFiles {
 public:
  // name: how the command line calls the file.
  void Reads(const std::string& name, const std::string& path);
  // A data file, with the sidecar file that holds what its format cannot.
  void ReadsTable(const std::string& name, const std::string& path);
  // Throws UsageError when the run reads the file or writes another output there. Devices and pipes
  // take any number of outputs.
  void Writes(const std::string& name, const std::string& path);
  // A table with its sidecar file. Throws UsageError for a name that does not say how to write a
  // table, too.
  void WritesTable(const std::string& name, const std::string& path);

  // The name of the input with this identity; empty: none.
  std::string InputAt(const FileIdentity& identity) const;

 private:
  struct Use {
    std::string name;
    bool isInput;
  };
  std::map<FileIdentity, Use> uses_;
};

// Whether a path leads to something that is neither a file nor a folder, such as /dev/stdout or a
// pipe.
bool IsDevice(const std::filesystem::path& path);

// The content of a small file. Throws RunError with one sentence.
std::string ReadWholeFile(const std::string& path);

}  // namespace velmora
