// The functions of the operating system that the workbench needs beyond the language's library: one
// header, one source file per system. Texts and paths are UTF-8 on every system.
//
//   std::FILE* file = OpenFile(PathOf(name), "rb");
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

namespace velmora {

// A path from its text. Texts become paths through this function only, since the library takes
// narrow texts to be in the locale's encoding on some systems; path.string() gives UTF-8
// everywhere.
[[nodiscard]] inline std::filesystem::path PathOf(std::string_view text) {
  return std::filesystem::path(std::u8string(text.begin(), text.end()));
}

// std::filesystem's absolute and lexically_normal, also for "\\server\share\file", whose begin the
// library takes for a folder of the current drive. Where there is no answer, the path unchanged.
[[nodiscard]] std::filesystem::path AbsolutePath(const std::filesystem::path& path);
[[nodiscard]] std::filesystem::path NormalPath(const std::filesystem::path& path);

// The names in a folder, in no order; empty, with the reason in error, when it cannot be read. The
// library's iterator reads another folder where a path is longer than 260 characters.
[[nodiscard]] std::vector<std::filesystem::path> NamesIn(const std::filesystem::path& folder,
                                                         std::error_code& error);

// The arguments after the program's name.
[[nodiscard]] std::vector<std::string> CommandLineArguments(int argumentCount, char** arguments);
// Empty when it is not set.
[[nodiscard]] std::string EnvironmentVariable(const char* name);
[[nodiscard]] unsigned ProcessNumber();
// The file of the running program and its folder; empty when the system does not say.
[[nodiscard]] std::filesystem::path ExecutablePath();
[[nodiscard]] std::filesystem::path ExecutableFolder();
// The folder of the program or shared library that contains this code.
[[nodiscard]] std::filesystem::path LibraryFolder();
// Bytes of memory that programs can still have, 0 when the system does not say.
[[nodiscard]] std::uint64_t AvailableMemory();

// fopen, for a path in UTF-8.
[[nodiscard]] std::FILE* OpenFile(const std::filesystem::path& path, const char* mode);
// Another name of an open file, in ASCII whatever its path is; empty where the system has none.
[[nodiscard]] std::string NameOfOpenFile(std::FILE* file);
// Writes buffered data and waits until they are on the disk. Returns 0 or errno.
[[nodiscard]] int FlushToDisk(std::FILE* file);
// Waits until the bytes of a closed file are on the disk. Where a system cannot, nothing happens.
void FlushFileToDisk(const std::filesystem::path& path) noexcept;
// Waits until the names in a folder are on the disk, so that a renamed file survives a power
// failure. Where a system or its file system cannot, nothing happens.
void FlushFolderToDisk(const std::filesystem::path& folder) noexcept;

// Memory aligned to a power of two; null when there is none. Released by FreeAligned only.
[[nodiscard]] void* AllocateAligned(std::size_t alignment, std::size_t byteCount) noexcept;
void FreeAligned(void* memory) noexcept;
// Asks for huge pages under the block; a system without them leaves it as it is.
void AdviseHugePages(void* memory, std::size_t byteCount) noexcept;

// The analysis module's file name on this system.
inline constexpr char kModuleFile[] =
#ifdef _WIN32
    "vlmfsl.dll";
#else
    "libvlmfsl.so";
#endif
// Loads a library at run time; its symbols stay private. Null, with the reason in error, when it
// cannot be loaded.
[[nodiscard]] void* LoadSharedLibrary(const std::filesystem::path& path, std::string& error);
[[nodiscard]] void* FindFunction(void* library, const char* name);
void UnloadSharedLibrary(void* library);
// Copies a file into memory that has a path until the process ends, so that a library can be loaded
// a second time with variables of its own. Empty, with the reason in error, where that cannot be.
[[nodiscard]] std::string CopyIntoMemory(const std::filesystem::path& path, std::string& error);

}  // namespace velmora
