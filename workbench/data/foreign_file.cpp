#include "workbench/data/foreign_file.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "workbench/system/system.h"

namespace velmora {

namespace {

using Reader = void (*)(const ForeignFile& file, RowSink& sink);

struct Format {
  std::string_view extension;
  Reader read;
};

constexpr std::array<Format, 10> kFormats = {{{"parquet", ReadParquet},
                                              {"json", ReadJson},
                                              {"jsonl", ReadJson},
                                              {"ndjson", ReadJson},
                                              {"sav", ReadStatFile},
                                              {"zsav", ReadStatFile},
                                              {"por", ReadStatFile},
                                              {"sas7bdat", ReadStatFile},
                                              {"xpt", ReadStatFile},
                                              {"dta", ReadStatFile}}};

const Format* FindFormat(std::string_view extension) {
  const auto* const found = std::find_if(kFormats.begin(), kFormats.end(),
                                         [&](const Format& format) { return format.extension == extension; });
  return found == kFormats.end() ? nullptr : found;
}

}  // namespace

bool IsForeignExtension(const std::string& extension) { return FindFormat(extension) != nullptr; }

void RunForeignReader(const ForeignFile& file, RowSink& sink) {
  FindFormat(file.extension)->read(file, sink);
}

ReaderLimits LimitsFor(std::uint64_t fileBytes) {
  // DuckDB keeps about one row group per thread, ReadStat one row; a file of any size is read in a
  // fixed multiple of its own. What is beyond that, or beyond the machine, is damage.
  constexpr std::uint64_t kSmallest = std::uint64_t{4} << 30;
  constexpr std::uint64_t kPerByte = 16;
  constexpr std::uint64_t kIdleSeconds = 60;
  constexpr std::uint64_t kBytesPerSecond = std::uint64_t{4} << 20;
  ReaderLimits limits;
  limits.memoryBytes = kSmallest + kPerByte * fileBytes;
  if (const std::uint64_t available = AvailableMemory(); available > 0)
    limits.memoryBytes = std::min(limits.memoryBytes, available);
  limits.idleCpuSeconds = kIdleSeconds + fileBytes / kBytesPerSecond;
  return limits;
}

}  // namespace velmora
