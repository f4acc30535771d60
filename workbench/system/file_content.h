// Small files (options, scripts, saved bins), read as a whole.
#pragma once

#include <filesystem>
#include <string>

namespace velmora {

// The bytes of a file. Throws std::system_error with the reason when it cannot be opened or read;
// a folder is std::errc::is_a_directory on every system.
[[nodiscard]] std::string FileContent(const std::filesystem::path& path);

}  // namespace velmora
