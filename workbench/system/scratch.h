// Scratch files and folders: where a run writes what it moves into place at the end. They carry a
// name of their own, ".velmora-HOST-NUMBER", and are locked as long as their process lives, so that
// a later run can tell what a killed one left behind.
//
//   RemoveStaleScratch(folder);
//   Scratch scratch(folder, Scratch::kFolder, error);
//   ... write files into scratch.Path(), move them away ...       // the destructor removes what is left
#pragma once

#include <filesystem>
#include <system_error>

namespace velmora {

class Scratch {
 public:
  enum Kind { kFile, kFolder };

  // Makes it in folder, which must exist. error tells why not; the object then has an empty path.
  Scratch(const std::filesystem::path& folder, Kind kind, std::error_code& error);
  ~Scratch();
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;

  [[nodiscard]] const std::filesystem::path& Path() const { return path_; }
  // Gives up the lock; call it before a scratch file is moved into place. The destructor then
  // removes only what still has the scratch name.
  void Unlock();

 private:
  std::filesystem::path path_;
  Kind kind_;
  int slot_ = -1;  // in the table of what this process holds
};

// Removes the scratch of processes that are gone from folder. Leaves alone what another machine
// made, what is locked, and everything with another name.
void RemoveStaleScratch(const std::filesystem::path& folder);

// Removes all scratch of this process. Safe in a signal handler that ends the process afterwards.
void RemoveOwnScratch() noexcept;

}  // namespace velmora
