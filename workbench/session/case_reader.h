// Serves the cases of column-major data one by one. Reading a case from its columns touches a cache
// line for every value; so when cases are read in rising order, a block of them is transposed into
// tiles once and served from there. A tile holds eight variables, one cache line per case, so that
// both transposing and serving go through memory in order.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <vector>

#include "workbench/data/large_pages.h"
#include "workbench/language/selection.h"

namespace velmora {

// The source of the cases. Its owner keeps the columns in place while a reader uses them.
struct CaseSource {
  std::vector<const double*> columns;  // of variable 1, 2, ...; caseCount values each
  std::int64_t caseCount = 0;
  const CaseBitmap* selected = nullptr;  // null: all cases are used
  const double* weights = nullptr;       // null: not weighted
  double weightMissingCode = 0;
};

class CaseReader {
 public:
  // Replaces the source. To be called again whenever values, selection or weights have changed.
  void SetSource(CaseSource source);
  const CaseSource& Source() const { return source_; }

  // Reads a case as the contract's case reader does, and with its results: a case is skipped when
  // the selection leaves it out or its weight is missing or not finite; reading stops at a case or
  // variable that does not exist. A negative weight is passed on. Only the start of a new list
  // takes memory, and may throw bad_alloc.
  short Read(int caseNumber, const int* variableNumbers, int variableCount, double* values, int* weighted,
             double* weight) {
    if (caseNumber < 1 || caseNumber > source_.caseCount) return kStop;
    const std::int64_t caseIndex = caseNumber - 1;
    *weighted = source_.weights != nullptr ? 1 : 0;
    *weight = 1.0;
    if (source_.selected != nullptr && !source_.selected->Contains(caseIndex)) return kSkip;
    if (source_.weights != nullptr && !TakeWeight(caseIndex, weight)) return kSkip;
    // A list at the same address is compared again only now and then while case numbers rise.
    const bool continues = variableNumbers == listPlace_ && caseIndex > lastCase_ &&
                           caseIndex < comparedUpTo_ &&
                           static_cast<std::size_t>(variableCount) == list_.size();
    if (!continues) {
      if (!IsSameList(variableNumbers, variableCount) && !SetList(variableNumbers, variableCount))
        return kStop;
      listPlace_ = variableNumbers;
      comparedUpTo_ = caseIndex + kMostSkipped;
    }
    const bool isNext = caseIndex > lastCase_ && caseIndex <= lastCase_ + kMostSkipped;
    lastCase_ = caseIndex;
    if (!isNext) {
      ReadFromColumns(caseIndex, values + 1);
      return kUse;
    }
    if (caseIndex < blockFirst_ || caseIndex >= blockEnd_) FillBlock(caseIndex);
    CopyCase(caseIndex - blockFirst_, values + 1);
    return kUse;
  }

 private:
  enum : short { kUse = 0, kSkip = 1, kStop = 2 };
  // A case this far after the last one still belongs to a pass over all of them.
  static constexpr std::int64_t kMostSkipped = 128;

  bool TakeWeight(std::int64_t caseIndex, double* weight) const;
  bool IsSameList(const int* variableNumbers, int variableCount) const;
  void Reserve(std::size_t bytes);
  bool SetList(const int* variableNumbers, int variableCount);
  void ReadFromColumns(std::int64_t caseIndex, double* values) const;
  void FillBlock(std::int64_t firstCase);
  void CopyCase(std::int64_t caseOfBlock, double* values) const;

  CaseSource source_;
  std::vector<int> list_;
  const int* listPlace_ = nullptr;          // the caller's list
  std::int64_t comparedUpTo_ = 0;           // the case from which on it is compared again
  std::vector<const double*> listColumns_;  // in whole tiles
  std::unique_ptr<void, void (*)(void*)> memory_{nullptr, [](void* block) { FreeLarge(block); }};
  std::size_t memoryBytes_ = 0;
  double* tiles_ = nullptr;     // of eight variables each: [tile][case of the block][8]
  std::size_t tileStride_ = 0;  // doubles from tile to tile
  std::int64_t blockCases_ = 0;
  bool isNear_ = false;
  std::int64_t blockFirst_ = 0;  // cases in the block, from 0: blockFirst_ to blockEnd_ - 1
  std::int64_t blockEnd_ = 0;
  std::int64_t lastCase_ = -1 - kMostSkipped;
};

}  // namespace velmora
