// Serves the cases of column-major data in blocks of column pointers, so no value is copied.
#pragma once

#include <cstdint>
#include <vector>

#include "contract/engine_services.h"
#include "workbench/session/case_reader.h"

namespace velmora {

class CaseBlocks {
 public:
  // Reads the next block of a source, which must outlive the block. As IBlockReader::ReadBlock;
  // cases and weights are those of CaseReader::Read. May throw bad_alloc.
  short Read(const CaseSource& source, int firstCaseNumber, int mostCases, const int* variableNumbers,
             int variableCount, vlm::CaseBlock* block);

 private:
  std::vector<const double*> columns_;
  std::vector<std::uint8_t> used_;
};

}  // namespace velmora
