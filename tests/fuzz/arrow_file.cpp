// Arrow files and streams: what is read is a sound table, whatever the bytes are.
#include <string>
#include <vector>

#include "tests/fuzz/fuzz_support.h"
#include "tests/fuzz/memory_file.h"
#include "workbench/data/foreign_file.h"
#include "workbench/data/table_sink.h"
#include "workbench/data/unicode.h"

namespace velmora {

namespace {

void Run(std::string_view bytes) {
  ForeignFile file;
  file.path = "fuzz.arrow";
  file.openPath = fuzz::FileOf(bytes);
  file.extension = "arrow";
  const ReadOptions options;
  TableSink sink(file.path, options, bytes.size());
  ReadArrow(file, sink);
  Table table;
  std::vector<std::string> warnings;
  sink.MoveInto(table, warnings);
  for (const std::string& warning : warnings) fuzz::Require(IsCleanText(warning), "warnings are UTF-8");
  fuzz::RequireSound(table);
}

}  // namespace

}  // namespace velmora

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  return velmora::fuzz::Try(bytes, size, velmora::Run);
}
