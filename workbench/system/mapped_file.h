// A file mapped into memory as doubles: reads come from the file, changes go to it, and the system
// may reclaim the memory at any time.
//
//   std::error_code error;
//   MappedFile file(folder / "values", error);
//   if (!error) std::ranges::sort(file.Values());
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <span>
#include <system_error>

namespace velmora {

// Makes a file of this many bytes and reserves the disk space for them. Their content is undefined.
// Sets error on failure.
void ReserveFile(const std::filesystem::path& path, std::uint64_t bytes, std::error_code& error);

class MappedFile {
 public:
  // Maps all of an existing file of doubles. On failure error gives the reason, and the object has
  // no values.
  MappedFile(const std::filesystem::path& path, std::error_code& error);
  ~MappedFile();
  MappedFile(const MappedFile&) = delete;
  MappedFile& operator=(const MappedFile&) = delete;

  [[nodiscard]] std::span<double> Values() const { return values_; }
  // Gives the memory back at once. Values keep their place and content; the next access reads the
  // file again, or the system's cache of it. Any thread may do so at any time.
  void Release() const noexcept;

 private:
  std::span<double> values_;
};

}  // namespace velmora
