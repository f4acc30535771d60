#include "workbench/session/case_blocks.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "workbench/data/table.h"

namespace velmora {

short CaseBlocks::Read(const CaseSource& source, int firstCaseNumber, int mostCases,
                       const int* variableNumbers, int variableCount, vlm::CaseBlock* block) {
  *block = {};
  if (firstCaseNumber < 1 || firstCaseNumber > source.caseCount || mostCases < 1) return vlm::kCaseStop;
  const std::int64_t first = firstCaseNumber - 1;
  const auto count = static_cast<std::size_t>(std::min<std::int64_t>(mostCases, source.caseCount - first));
  columns_.resize(static_cast<std::size_t>(variableCount));
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    const int number = variableNumbers[i];
    if (number < 1 || static_cast<std::size_t>(number) > source.columns.size()) return vlm::kCaseStop;
    columns_[i] = source.columns[static_cast<std::size_t>(number) - 1] + first;
  }
  block->caseCount = static_cast<int>(count);
  block->columns = columns_.data();
  if (source.weights != nullptr) block->weights = source.weights + first;
  if (source.selected == nullptr && source.weights == nullptr) return vlm::kCaseUse;
  const MissingRange missing(source.weightMissingCode);
  used_.assign(count, 1);
  for (std::size_t i = 0; i < count; ++i) {
    if (source.selected != nullptr && !source.selected->Contains(first + static_cast<std::int64_t>(i)))
      used_[i] = 0;
    if (source.weights != nullptr &&
        (!std::isfinite(block->weights[i]) || missing.Contains(block->weights[i])))
      used_[i] = 0;
  }
  block->used = used_.data();
  return vlm::kCaseUse;
}

}  // namespace velmora
