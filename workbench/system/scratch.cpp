#include "workbench/system/scratch.h"

#include <array>
#include <atomic>
#include <cstdio>
#include <random>
#include <string>

#include "workbench/system/scratch_system.h"
#include "workbench/system/system.h"

namespace velmora {

namespace fs = std::filesystem;

namespace {

// The scratch of this process, in memory that a signal handler can read at any moment. Scratch
// beyond the table, or with a longer path, is removed by its destructor and by later runs only.
struct Held {
  std::atomic<int> state{0};  // 0: free, 1: being written, 2: valid
  ScratchLock lock = kNoLock;
  std::array<fs::path::value_type, 4096> path{};
};
std::array<Held, 32> heldByThisProcess;

int TakeSlot(const fs::path& path, ScratchLock lock) {
  const fs::path::string_type& text = path.native();
  for (std::size_t slot = 0; slot < heldByThisProcess.size(); ++slot) {
    Held& held = heldByThisProcess[slot];
    int expected = 0;
    if (text.size() >= held.path.size() || !held.state.compare_exchange_strong(expected, 1)) continue;
    text.copy(held.path.data(), text.size());
    held.path[text.size()] = 0;
    held.lock = lock;
    held.state = 2;
    return static_cast<int>(slot);
  }
  return -1;
}

std::string NamePrefix() {
  char text[32];
  std::snprintf(text, sizeof text, ".velmora-%08x-", MachineNumber());
  return text;
}

// Names are short and random, so they fit wherever the final name fits.
fs::path NewName() {
  static std::random_device random;
  return PathOf(NamePrefix() + std::to_string(random()));
}

// A folder with a scratch name of this machine.
bool IsScratch(const fs::path& path) {
  const std::string name = path.filename().string(), prefix = NamePrefix();
  if (!name.starts_with(prefix) || name.size() == prefix.size()) return false;
  if (name.find_first_not_of("0123456789", prefix.size()) != std::string::npos) return false;
  std::error_code error;
  return fs::is_directory(fs::symlink_status(path, error));
}

}  // namespace

void RemoveWithFiles(const fs::path& path) {
  std::error_code ignored;
  for (const fs::path& name : NamesIn(path, ignored)) fs::remove(path / name, ignored);
  fs::remove(path, ignored);
}

Scratch::Scratch(const fs::path& folder, std::error_code& error) {
  const fs::path absolute = AbsolutePath(folder);  // a script may change the current folder
  for (int attempt = 0; attempt < 100; ++attempt) {
    const fs::path path = absolute / NewName();
    error.clear();
    if (!MakeScratch(path, error)) {
      if (error == std::errc::file_exists) continue;
      return;
    }
    const ScratchLock lock = LockScratch(path);
    if (lock != kNoLock && !IsSameScratch(lock, path)) {  // another process has just removed it as stale
      UnlockScratch(lock);
      continue;
    }
    path_ = path;
    slot_ = TakeSlot(path, lock);
    if (slot_ < 0 && lock != kNoLock) UnlockScratch(lock);
    return;
  }
}

Scratch::~Scratch() {
  if (slot_ >= 0) {
    Held& held = heldByThisProcess[static_cast<std::size_t>(slot_)];
    const ScratchLock lock = held.lock;
    held.state = 0;
    if (lock != kNoLock) UnlockScratch(lock);
  }
  if (!path_.empty()) RemoveWithFiles(path_);
}

void RemoveStaleScratch(const fs::path& folder) {
  std::error_code ignored;
  for (const fs::path& name : NamesIn(folder, ignored)) {
    const fs::path path = folder / name;
    if (IsScratch(path)) RemoveStale(path);
  }
}

void RemoveOwnScratch() noexcept {
  for (Held& held : heldByThisProcess) {
    if (held.state != 2) continue;
    RemoveScratchInHandler(held.path.data(), held.lock);
  }
}

}  // namespace velmora
