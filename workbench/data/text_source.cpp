#include "workbench/data/text_source.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "workbench/data/errors.h"
#include "workbench/system/system.h"

namespace velmora {

namespace {

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

}  // namespace

TextSource OpenText(const std::string& path) {
  const std::shared_ptr<std::FILE> file(OpenFile(PathOf(path), "rb"), CloseFile());
  if (!file) throw DataError("Cannot open " + path + " for reading: " + std::strerror(errno) + ".");
  std::setvbuf(file.get(), nullptr, _IONBF, 0);  // blocks are read, so a buffer would only copy them
  const auto count = std::make_shared<std::int64_t>(0);
  return {[file, path, count](char* buffer, std::size_t size) {
            const std::size_t got = std::fread(buffer, 1, size, file.get());
            if (std::ferror(file.get())) throw DataError("Cannot read " + path + " to its end.");
            *count += static_cast<std::int64_t>(got);
            return got;
          },
          [count] { return *count; }};
}

}  // namespace velmora
