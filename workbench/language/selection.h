// Which cases of a table an analysis sees.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "workbench/language/expression.h"

namespace velmora {

// A case is used when inclusion (if there is one) is true for it and exclusion (if there is one) is
// not. A missing result neither includes nor excludes. Blank texts are no condition; disabled,
// every case is used.
struct CaseSelection {
  std::string inclusion;
  std::string exclusion;
  bool enabled = true;
};

// One bit per case.
class CaseBitmap {
 public:
  explicit CaseBitmap(std::int64_t caseCount = 0, bool included = true);
  std::int64_t CaseCount() const { return caseCount_; }
  std::int64_t IncludedCount() const { return includedCount_; }
  // caseIndex from 0.
  bool Contains(std::int64_t caseIndex) const {
    return ((words_[static_cast<std::size_t>(caseIndex >> 6)] >> (caseIndex & 63)) & 1U) != 0;
  }
  void Set(std::int64_t caseIndex, bool included);

 private:
  std::vector<std::uint64_t> words_;
  std::int64_t caseCount_;
  std::int64_t includedCount_;
};

// Throws DataError for a condition at fault.
CaseBitmap SelectCases(const Table& table, const CaseSelection& selection);

}  // namespace velmora
