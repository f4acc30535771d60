#include "workbench/host/case_reader.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <new>
#include <utility>

#include "workbench/data/table.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif
#if defined(__linux__)
#include <sys/mman.h>
#endif

namespace velmora {

namespace {

// A block of rows fits into a near cache where the cases are not too wide.
constexpr std::int64_t kBlockBytes = 128 * 1024;

constexpr std::size_t kTile = 8;  // columns turned at once: a cache line of each row

// Writes rows of eight values from eight columns. next: the eight columns whose values are asked for meanwhile, or
// null. Each column is a place of its own in memory, where no prefetcher of the machine's gets going in time.
void TurnTile(const double* const* columns, const double* const* next, std::size_t firstCase,
              std::size_t cases, double* rows, std::size_t stride) {
  const double* c[kTile];
  const double* n[kTile];
  for (std::size_t k = 0; k < kTile; ++k) {
    c[k] = columns[k] + firstCase;
    n[k] = (next == nullptr ? columns : next)[k] + firstCase;
  }
  std::size_t i = 0;
#if defined(__SSE2__)
  for (; i + 2 <= cases; i += 2) {
    double* const row = rows + i * stride;
    if (next != nullptr) {
      const std::size_t line = i & ~(kTile - 1);
      __builtin_prefetch(n[i % kTile] + line);
      __builtin_prefetch(n[i % kTile + 1] + line);
    }
    for (std::size_t k = 0; k < kTile; k += 2) {
      const __m128d a = _mm_loadu_pd(c[k] + i);
      const __m128d b = _mm_loadu_pd(c[k + 1] + i);
      _mm_storeu_pd(row + k, _mm_unpacklo_pd(a, b));
      _mm_storeu_pd(row + stride + k, _mm_unpackhi_pd(a, b));
    }
  }
#endif
  for (; i < cases; ++i) {
    for (std::size_t k = 0; k < kTile; ++k) rows[i * stride + k] = c[k][i];
  }
}

}  // namespace

void CaseReader::SetSource(CaseSource source) {
  source_ = std::move(source);
  list_.clear();
  listColumns_.clear();
  blockFirst_ = blockEnd_ = 0;
  lastCase_ = -1 - kFewestBlockCases;
}

bool CaseReader::TakeWeight(std::int64_t caseIndex, double* weight) const {
  *weight = source_.weights[caseIndex];
  return std::isfinite(*weight) && !IsMissing(*weight, source_.weightMissingCode);
}

bool CaseReader::IsSameList(const int* variableNumbers, int variableCount) const {
  return static_cast<std::size_t>(variableCount) == list_.size() &&
         (variableCount == 0 || std::memcmp(variableNumbers, list_.data(), sizeof(int) * list_.size()) == 0);
}

// False when there is no such variable.
bool CaseReader::SetList(const int* variableNumbers, int variableCount) {
  list_.clear();
  listColumns_.clear();
  blockFirst_ = blockEnd_ = 0;
  lastCase_ = -1 - kFewestBlockCases;
  for (int i = 0; i < variableCount; ++i) {
    const int number = variableNumbers[i];
    if (number < 1 || static_cast<std::size_t>(number) > source_.columns.size()) {
      listColumns_.clear();
      return false;
    }
    listColumns_.push_back(source_.columns[static_cast<std::size_t>(number) - 1]);
  }
  list_.assign(variableNumbers, variableNumbers + variableCount);
  // An odd number of cache lines from row to row: the rows of a tile fall into different sets of the caches.
  std::size_t lines = (list_.size() + kTile - 1) / kTile;
  lines += lines % 2 == 0 ? 1 : 0;
  stride_ = lines * kTile;
  blockCases_ = std::clamp(kBlockBytes / static_cast<std::int64_t>(stride_ * sizeof(double)),
                           kFewestBlockCases, kMostBlockCases);
  asksAhead_ = blockCases_ * static_cast<std::int64_t>(stride_ * sizeof(double)) <= 2 * kBlockBytes;
  Reserve(stride_ * static_cast<std::size_t>(blockCases_) * sizeof(double));
  rows_ = static_cast<double*>(memory_.get());
  return true;
}

// The rows of wide cases lie on as many pages as there are cases: large pages where the system has them.
void CaseReader::Reserve(std::size_t bytes) {
  if (bytes <= memoryBytes_) return;
  constexpr std::size_t kLargePage = std::size_t{2} << 20, kLine = 64;
  const std::size_t alignment = bytes >= kLargePage ? kLargePage : kLine;
  const std::size_t size = (bytes + alignment - 1) / alignment * alignment;
  memory_.reset();
  memoryBytes_ = 0;
  memory_.reset(std::aligned_alloc(alignment, size));
  if (!memory_) throw std::bad_alloc();
  memoryBytes_ = size;
#if defined(MADV_HUGEPAGE)
  if (alignment == kLargePage) madvise(memory_.get(), size, MADV_HUGEPAGE);  // only a wish
#endif
}

void CaseReader::ReadFromColumns(std::int64_t caseIndex, double* values) const {
  for (std::size_t i = 0; i < listColumns_.size(); ++i) values[i] = listColumns_[i][caseIndex];
}

void CaseReader::FillBlock(std::int64_t firstCase) {
  blockFirst_ = firstCase;
  blockEnd_ = std::min(source_.caseCount, firstCase + blockCases_);
  askedCase_ = blockEnd_;
  askedEnd_ = std::min(source_.caseCount, blockEnd_ + blockCases_);
  askedColumn_ = asksAhead_ && askedCase_ < askedEnd_ ? 0 : listColumns_.size();
  linesPerCase_ = listColumns_.size() / kTile + 1;
  const auto first = static_cast<std::size_t>(firstCase);
  const auto cases = static_cast<std::size_t>(blockEnd_ - firstCase);
  std::size_t column = 0;
  for (; column + kTile <= listColumns_.size(); column += kTile) {
    const bool hasNext = column + 2 * kTile <= listColumns_.size();
    const double* const* const next = asksAhead_ || !hasNext ? nullptr : listColumns_.data() + column + kTile;
    TurnTile(listColumns_.data() + column, next, first, cases, rows_ + column, stride_);
  }
  for (; column < listColumns_.size(); ++column) {
    const double* const values = listColumns_[column] + first;
    for (std::size_t i = 0; i < cases; ++i) rows_[i * stride_ + column] = values[i];
  }
}

void CaseReader::CopyRow(const double* row, double* values) {
  std::memcpy(values, row, sizeof(double) * list_.size());
  // Where a block fits into a near cache, the next one's values are asked for a few lines at a time.
  for (std::size_t k = 0; k < linesPerCase_ && askedColumn_ < listColumns_.size(); ++k) {
    __builtin_prefetch(listColumns_[askedColumn_] + askedCase_, 0, 2);
    askedCase_ += static_cast<std::int64_t>(kTile);
    if (askedCase_ >= askedEnd_) {
      askedCase_ = blockEnd_;
      ++askedColumn_;
    }
  }
}

}  // namespace velmora
