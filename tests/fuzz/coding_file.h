// Shared by the fuzz targets of coding files: the file is parsed, compiled for a table and run.
#pragma once

#include <string>
#include <vector>

#include "tests/fuzz/fuzz_support.h"
#include "workbench/bins/coding_program.h"

namespace velmora::fuzz {

inline void RunCodingFile(const std::string& file) {
  const auto parsed = ParseCodingFile(file, "fuzz.txt");
  std::vector<std::string> notices;
  CodingProgram program(parsed, SampleTable(), notices);
  const std::vector<Column> columns = program.Run({});
  Require(columns.size() == program.TargetNames().size(), "there is a column per target");
  for (const Column& column : columns)
    Require(static_cast<std::int64_t>(column.values.size()) == SampleTable().caseCount,
            "a column has a cell per case");
}

}  // namespace velmora::fuzz
