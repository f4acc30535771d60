// Rules scripts: parsed, compiled for a table and run.
#include <string>
#include <vector>

#include "tests/fuzz/fuzz_support.h"
#include "workbench/bins/coding_program.h"

namespace velmora {

namespace {

void Run(std::string_view text) {
  // What a recode file or a file of bins begins with is another target.
  const std::string file = "If( " + std::string(text);
  const auto parsed = ParseCodingFile(file, "fuzz.txt");
  std::vector<std::string> notices;
  CodingProgram program(parsed, fuzz::SampleTable(), notices);
  const std::vector<Column> columns = program.Run({});
  fuzz::Require(columns.size() == program.TargetNames().size(), "there is a column per target");
  for (const Column& column : columns)
    fuzz::Require(static_cast<std::int64_t>(column.values.size()) == fuzz::SampleTable().caseCount,
                  "a column has a cell per case");
}

}  // namespace

}  // namespace velmora

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  return velmora::fuzz::Try(bytes, size, velmora::Run);
}
