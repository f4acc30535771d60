// The memory that its control groups leave to a process: containers and batch systems set limits by
// them.
#pragma once

#include <cstdint>
#include <filesystem>

namespace velmora {

// Bytes that the process can still have under the limits of its groups and all groups around them;
// the largest number where there is no limit. Memory that caches files does not count, since the
// system can reclaim it. groups: the file that lists the groups of the process; root: the folder of
// all groups, of version 2 or of version 1 with its folder "memory".
[[nodiscard]] std::uint64_t MemoryOfControlGroups(const std::filesystem::path& groups,
                                                  const std::filesystem::path& root);

}  // namespace velmora
