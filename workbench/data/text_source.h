// The bytes of a text file as UTF-8, from beginning to end. Files packed by gzip or zstd are
// unpacked on the way, known by their first bytes.
//
//   TextEncoding encoding = TextEncoding::kDetect;
//   TextSource source = OpenText("credit.csv.gz", encoding);
//   const std::size_t count = source.read(buffer, size);
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "workbench/data/text_format.h"

namespace velmora {

struct TextSource {
  // Fills the buffer from its begin as far as there is text; less than its size means the end.
  std::function<std::size_t(char* buffer, std::size_t size)> read;
  // Bytes of the file read so far, for the progress bar.
  std::function<std::int64_t()> fileBytes;
};

// Throws DataError, also while it is read, when the file cannot be read to its end. An encoding
// that is to be detected is set to UTF-16 or UTF-8; whether bytes are UTF-8 is not checked.
[[nodiscard]] TextSource OpenText(const std::string& path, TextEncoding& encoding);

// Whether a file that is not UTF-8 could be Windows-1252: more bytes are not UTF-8 than belong to
// valid characters beyond ASCII, each of them is a character in Windows-1252, and the file does not
// end within a character.
[[nodiscard]] bool CouldBeWindows1252(const std::string& path);

// Unpacked bytes. start: the first bytes of the file. Returns the source itself when it is not a
// known archive. Throws DataError where this build cannot unpack them.
[[nodiscard]] TextSource Unpacked(TextSource source, std::string_view start, const std::string& path);

}  // namespace velmora
