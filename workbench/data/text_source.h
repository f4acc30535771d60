// The bytes of a text file, from its begin to its end.
//
//   TextSource source = OpenText("credit.csv");
//   const std::size_t count = source.read(buffer, size);
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

namespace velmora {

struct TextSource {
  // Fills the buffer from its begin as far as there is text; less than its size means the end.
  std::function<std::size_t(char* buffer, std::size_t size)> read;
  // Bytes of the file read so far, for the progress bar.
  std::function<std::int64_t()> fileBytes;
};

// Throws DataError, also while it is read, when the file cannot be read to its end.
[[nodiscard]] TextSource OpenText(const std::string& path);

}  // namespace velmora
