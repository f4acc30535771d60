// How a text file is written, as specified by the user: options of every reader of delimited text.
#pragma once

#include <cstdint>

namespace velmora {

// kDetect: UTF-8, or UTF-16 where a byte-order mark or every other byte says so, or Windows-1252
// where bytes are not UTF-8.
enum class TextEncoding : std::uint8_t { kDetect, kUtf8, kUtf16Le, kUtf16Be, kWindows1252 };

// What to do with a record whose number of fields differs from the number of columns: refuse the
// file, add missing cells and drop what is beyond the columns, or leave the record out.
enum class RaggedRecords : std::uint8_t { kError, kPad, kSkip };

struct TextFormat {
  TextEncoding encoding = TextEncoding::kDetect;
  bool hasHeader = true;  // without one, variables are called v1, v2, ...
  RaggedRecords ragged = RaggedRecords::kError;
};

}  // namespace velmora
