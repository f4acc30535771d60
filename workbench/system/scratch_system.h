// The system's part of scratch folders: one source file per system.
#pragma once

#include <cstdint>
#include <filesystem>
#include <system_error>

#include "workbench/system/scratch.h"

namespace velmora {

using ScratchLock = std::intptr_t;
inline constexpr ScratchLock kNoLock = -1;

// Makes the folder. Returns false, with the reason in error, when it exists or cannot be made.
[[nodiscard]] bool MakeScratch(const std::filesystem::path& path, std::error_code& error);
// Locks it for this process. kNoLock: another process has it, or the file system has no locks.
[[nodiscard]] ScratchLock LockScratch(const std::filesystem::path& path);
// False when path is no longer the locked folder: another process removed it before the lock was
// taken.
[[nodiscard]] bool IsSameScratch(ScratchLock lock, const std::filesystem::path& path);
void UnlockScratch(ScratchLock lock);
// Removes a folder with the files in it; the folder stays if it contains anything else.
void RemoveWithFiles(const std::filesystem::path& path);
// The same when no process has it locked.
void RemoveStale(const std::filesystem::path& path);
// The same for a folder that this process has locked. Safe in a signal handler; path ends with 0.
void RemoveScratchInHandler(const std::filesystem::path::value_type* path, ScratchLock lock) noexcept;
// A number of this machine: locks of other machines cannot be seen from here.
[[nodiscard]] std::uint32_t MachineNumber();

}  // namespace velmora
