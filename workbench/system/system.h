// What the workbench asks of the operating system beyond the language's library: one header, one source file a
// system. Texts and paths are UTF-8 on every system.
#pragma once

#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

namespace velmora {

// A path from its text. Texts go into paths through this function only, since the library reads narrow texts in the
// locale's encoding on some systems; path.string() gives UTF-8 everywhere.
[[nodiscard]] inline std::filesystem::path PathOf(std::string_view text) {
  return std::filesystem::path(std::u8string(text.begin(), text.end()));
}

// The library's functions of these names, also for "\\server\share\file", whose beginning it takes for a folder of the
// present drive. Where there is no answer, the path as it stands.
[[nodiscard]] std::filesystem::path AbsolutePath(const std::filesystem::path& path);
[[nodiscard]] std::filesystem::path NormalPath(const std::filesystem::path& path);

// Names of what stands in a folder, in no order; empty, and why, when it cannot be read. The library's iterator reads
// another folder where a path is longer than 260 characters.
[[nodiscard]] std::vector<std::filesystem::path> NamesIn(const std::filesystem::path& folder,
                                                         std::error_code& error);

// The words behind the program's name.
[[nodiscard]] std::vector<std::string> CommandLineArguments(int argumentCount, char** arguments);
// Empty when it is not set.
[[nodiscard]] std::string EnvironmentVariable(const char* name);
[[nodiscard]] unsigned ProcessNumber();
// File of the running program and its folder, empty when the system does not tell.
[[nodiscard]] std::filesystem::path ExecutablePath();
[[nodiscard]] std::filesystem::path ExecutableFolder();

// As fopen, for a path in UTF-8.
[[nodiscard]] std::FILE* OpenFile(const std::filesystem::path& path, const char* mode);
// Writes what is buffered and has it reach the disk. Returns 0 or errno.
[[nodiscard]] int FlushToDisk(std::FILE* file);

// Memory aligned to a power of two; null when there is none. Goes back through FreeAligned only.
[[nodiscard]] void* AllocateAligned(std::size_t alignment, std::size_t byteCount) noexcept;
void FreeAligned(void* memory) noexcept;
// Wishes for large pages under the block; a system without them leaves it as it is.
void AdviseHugePages(void* memory, std::size_t byteCount) noexcept;

// The analysis module's file name on this system.
inline constexpr char kModuleFile[] =
#ifdef _WIN32
    "vlmfsl.dll";
#else
    "libvlmfsl.so";
#endif
// A library loaded at run time, with its own symbols to itself. Null, and why, when it cannot be loaded.
[[nodiscard]] void* LoadSharedLibrary(const std::filesystem::path& path, std::string& error);
[[nodiscard]] void* FindFunction(void* library, const char* name);
void UnloadSharedLibrary(void* library);

}  // namespace velmora
