#include "workbench/c_library/utf8_files.h"

#include <fcntl.h>
#include <io.h>
#include <share.h>
#include <sys/stat.h>

#include <cerrno>
#include <exception>
#include <filesystem>
#include <random>
#include <string>

#include "workbench/system/system.h"

std::FILE* fopen_utf8(const char* path, const char* mode) {
  try {
    return velmora::OpenFile(velmora::PathOf(path), mode);
  } catch (const std::exception&) {
    errno = ENOMEM;
    return nullptr;
  }
}

std::FILE* tmpfile_of_user() {
  try {
    const std::filesystem::path folder = std::filesystem::temp_directory_path();
    std::random_device random;
    int file = -1;
    do {
      const std::string name = "velmora-" + std::to_string(random()) + "-" + std::to_string(random());
      _wsopen_s(&file, (folder / name).c_str(),
                _O_RDWR | _O_CREAT | _O_EXCL | _O_BINARY | _O_TEMPORARY | _O_SHORT_LIVED | _O_NOINHERIT,
                _SH_DENYNO, _S_IREAD | _S_IWRITE);
    } while (file < 0 && errno == EEXIST);
    if (file < 0) return nullptr;
    std::FILE* const stream = _fdopen(file, "w+b");
    if (stream == nullptr) _close(file);
    return stream;
  } catch (const std::exception&) {
    errno = EIO;
    return nullptr;
  }
}
