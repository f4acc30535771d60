#include "workbench/host/case_reader.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>

#include "workbench/data/table.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace velmora {

namespace {

// A block of rows fits into a near cache where the cases are not too wide.
constexpr std::int64_t kBlockBytes = 256 * 1024;

constexpr std::size_t kTile = 8;  // columns turned at once: a cache line of each row

// Writes rows of eight values from eight columns. next: the eight columns that follow, whose values are asked for
// meanwhile: each column is a place of its own in memory, where no prefetcher of the machine's gets going in time.
void TurnTile(const double* const* columns, const double* const* next, std::size_t firstCase,
              std::size_t cases, double* rows, std::size_t stride) {
  const double* c[kTile];
  const double* n[kTile];
  for (std::size_t k = 0; k < kTile; ++k) {
    c[k] = columns[k] + firstCase;
    n[k] = next[k] + firstCase;
  }
  std::size_t i = 0;
#if defined(__SSE2__)
  for (; i + 2 <= cases; i += 2) {
    double* const row = rows + i * stride;
    __builtin_prefetch(n[i % kTile] + (i & ~(kTile - 1)));
    __builtin_prefetch(n[i % kTile + 1] + (i & ~(kTile - 1)));
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
  const std::size_t needed = stride_ * static_cast<std::size_t>(blockCases_) + kTile;
  if (memory_.size() < needed) memory_.resize(needed);
  const auto address = reinterpret_cast<std::uintptr_t>(memory_.data());
  rows_ = memory_.data() + (64 - address % 64) % 64 / sizeof(double);
  return true;
}

void CaseReader::ReadFromColumns(std::int64_t caseIndex, double* values) const {
  for (std::size_t i = 0; i < listColumns_.size(); ++i) values[i] = listColumns_[i][caseIndex];
}

void CaseReader::FillBlock(std::int64_t firstCase) {
  blockFirst_ = firstCase;
  blockEnd_ = std::min(source_.caseCount, firstCase + blockCases_);
  const auto first = static_cast<std::size_t>(firstCase);
  const auto cases = static_cast<std::size_t>(blockEnd_ - firstCase);
  std::size_t column = 0;
  for (; column + kTile <= listColumns_.size(); column += kTile) {
    const std::size_t next = column + 2 * kTile <= listColumns_.size() ? column + kTile : 0;
    TurnTile(listColumns_.data() + column, listColumns_.data() + next, first, cases, rows_ + column, stride_);
  }
  for (; column < listColumns_.size(); ++column) {
    const double* const values = listColumns_[column] + first;
    for (std::size_t i = 0; i < cases; ++i) rows_[i * stride_ + column] = values[i];
  }
}

void CaseReader::CopyRow(const double* row, double* values) const {
  std::memcpy(values, row, sizeof(double) * list_.size());
}

}  // namespace velmora
