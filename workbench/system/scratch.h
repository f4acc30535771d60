// Scratch folders: a run writes its outputs into them and moves these into place at the end. They
// are called ".velmora-HOST-NUMBER" and are locked as long as their process lives, so that a later
// run recognises those of a killed one.
//
//   RemoveStaleScratch(folder);
//   Scratch scratch(folder, error);
//   ... write files into scratch.Path(), move them away ...   // the destructor removes the rest
#pragma once

#include <filesystem>
#include <system_error>

namespace velmora {

class Scratch {
 public:
  // Makes it in folder, which must exist. On failure error gives the reason, and the object has an
  // empty path.
  Scratch(const std::filesystem::path& folder, std::error_code& error);
  ~Scratch();
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;

  [[nodiscard]] const std::filesystem::path& Path() const { return path_; }

 private:
  std::filesystem::path path_;
  int slot_ = -1;  // in the table of this process's scratch
};

// Where scratch may be larger than memory: TMPDIR, or the system's folder for large temporary files.
[[nodiscard]] std::filesystem::path LargeScratchFolder();

// Removes the scratch of processes that are gone from folder. Leaves alone scratch of other
// machines, locked scratch, and everything with another name.
void RemoveStaleScratch(const std::filesystem::path& folder);

// Removes all scratch of this process. Safe in a signal handler that ends the process afterwards.
void RemoveOwnScratch() noexcept;

}  // namespace velmora
