// A file in memory, for targets that read files by their names.
#pragma once

#include <unistd.h>

#include <string>
#include <string_view>

#include <sys/mman.h>

#include "tests/fuzz/fuzz_support.h"

namespace velmora::fuzz {

// The name of the file, whose contents each call replaces.
inline const std::string& FileOf(std::string_view bytes) {
  static const int descriptor = memfd_create("fuzz", MFD_CLOEXEC);
  static const std::string path = "/proc/self/fd/" + std::to_string(descriptor);
  Require(ftruncate(descriptor, 0) == 0, "the file can be emptied");
  const ssize_t written = pwrite(descriptor, bytes.data(), bytes.size(), 0);
  Require(written == static_cast<ssize_t>(bytes.size()), "the file can be written");
  return path;
}

}  // namespace velmora::fuzz
