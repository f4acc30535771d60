// Text files that stand complete or not at all.
#pragma once

#include <string>
#include <string_view>

namespace vlmfsl {

// Writes text to the file, in place of what it held. Returns false when that cannot be done: a file that was there
// is then as it was, and no part of the text remains. path: UTF-8.
[[nodiscard]] bool WriteTextFile(const std::string& path, std::string_view text);

// A name as one part of a file name: characters that some file system refuses become '_'.
[[nodiscard]] std::string FileNamePart(std::string_view name);

// The path without the extension (with its dot, ASCII letters in either case) at its end.
[[nodiscard]] std::string WithoutExtension(std::string_view path, std::string_view extension);

}  // namespace vlmfsl
