#include "workbench/host/case_reader.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <new>
#include <utility>

#include "workbench/data/table.h"

#if defined(__x86_64__) && (!defined(_WIN32) || defined(VELMORA_UNALIGNED_VECTOR_MOVES))
#define VELMORA_TURNS_BY_FOUR 1
#include <immintrin.h>
#elif defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace velmora {

namespace {

// A block fits into a near cache where the cases are not too wide.
constexpr std::int64_t kBlockBytes = 64 * 1024;

constexpr std::size_t kTile = 8;  // columns turned at once: a cache line of each row

// Eight columns to be turned into cases, and the eight whose values are asked for meanwhile: each column is a place of
// its own in memory, where no prefetcher of the machine's gets going in time.
struct Tile {
  const double* columns[kTile];  // at the block's first case
  const double* next[kTile];
  bool asksAhead;
  double* rows;  // kTile values a case

  void AskAhead(std::size_t i, std::size_t k, std::size_t count) const {
    for (std::size_t last = k + count; asksAhead && k < last; ++k) __builtin_prefetch(next[k] + i);
  }
};

using TurnTile = std::size_t(const Tile& tile, std::size_t cases);

// The cases are turned in groups; returns how many of them make whole groups.
std::size_t TurnByTwo(const Tile& tile, std::size_t cases) {
  std::size_t i = 0;
#if defined(__SSE2__)
  for (; i + 2 <= cases; i += 2) {
    double* const row = tile.rows + i * kTile;
    tile.AskAhead(i & ~(kTile - 1), i % kTile, 2);
    for (std::size_t k = 0; k < kTile; k += 2) {
      const __m128d a = _mm_loadu_pd(tile.columns[k] + i);
      const __m128d b = _mm_loadu_pd(tile.columns[k + 1] + i);
      _mm_storeu_pd(row + k, _mm_unpacklo_pd(a, b));
      _mm_storeu_pd(row + kTile + k, _mm_unpackhi_pd(a, b));
    }
  }
#endif
  return i;
}

#if defined(VELMORA_TURNS_BY_FOUR)
__attribute__((target("avx2"))) std::size_t TurnByFour(const Tile& tile, std::size_t cases) {
  std::size_t i = 0;
  double* row = tile.rows;
  for (; i + 4 <= cases; i += 4, row += 4 * kTile) {
    tile.AskAhead(i & ~(kTile - 1), i % kTile, 4);
    for (std::size_t k = 0; k < kTile; k += 4) {
      const __m256d a = _mm256_loadu_pd(tile.columns[k] + i), b = _mm256_loadu_pd(tile.columns[k + 1] + i);
      const __m256d c = _mm256_loadu_pd(tile.columns[k + 2] + i),
                    d = _mm256_loadu_pd(tile.columns[k + 3] + i);
      const __m256d ab02 = _mm256_unpacklo_pd(a, b), ab13 = _mm256_unpackhi_pd(a, b);
      const __m256d cd02 = _mm256_unpacklo_pd(c, d), cd13 = _mm256_unpackhi_pd(c, d);
      _mm256_storeu_pd(row + k, _mm256_permute2f128_pd(ab02, cd02, 0x20));
      _mm256_storeu_pd(row + kTile + k, _mm256_permute2f128_pd(ab13, cd13, 0x20));
      _mm256_storeu_pd(row + 2 * kTile + k, _mm256_permute2f128_pd(ab02, cd02, 0x31));
      _mm256_storeu_pd(row + 3 * kTile + k, _mm256_permute2f128_pd(ab13, cd13, 0x31));
    }
  }
  return i;
}

TurnTile* const turnTile = __builtin_cpu_supports("avx2") != 0 ? TurnByFour : TurnByTwo;
#else
TurnTile* const turnTile = TurnByTwo;
#endif

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
  const std::size_t tiles = (list_.size() + kTile - 1) / kTile;
  const auto caseBytes = static_cast<std::int64_t>(std::max<std::size_t>(tiles, 1) * kTile * sizeof(double));
  blockCases_ = std::clamp(kBlockBytes / caseBytes, kFewestBlockCases, kMostBlockCases);
  // One line more: the lines of a case fall into different sets of the caches.
  tileStride_ = (static_cast<std::size_t>(blockCases_) + 1) * kTile;
  asksAhead_ = blockCases_ * caseBytes <= 2 * kBlockBytes;
  Reserve(tileStride_ * tiles * sizeof(double));
  tiles_ = static_cast<double*>(memory_.get());
  return true;
}

// The tiles of wide cases lie on many pages: large ones where the system has them.
void CaseReader::Reserve(std::size_t bytes) {
  if (bytes <= memoryBytes_) return;
  memory_.reset();
  memoryBytes_ = 0;
  memory_.reset(AllocateLarge(bytes));
  if (!memory_) throw std::bad_alloc();
  memoryBytes_ = bytes;
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
  const std::size_t columns = listColumns_.size();
  for (std::size_t column = 0; column < columns; column += kTile) {
    // Columns that the last tile lacks are the first one's again; what a row holds behind its values is of no meaning.
    Tile tile{};
    const auto columnAt = [&](std::size_t at) { return listColumns_[at < columns ? at : 0] + first; };
    for (std::size_t k = 0; k < kTile; ++k) {
      tile.columns[k] = columnAt(column + k);
      tile.next[k] = columnAt(column + kTile + k);
    }
    tile.asksAhead = !asksAhead_ && column + kTile < columns;
    tile.rows = tiles_ + column / kTile * tileStride_;
    for (std::size_t i = turnTile(tile, cases); i < cases; ++i) {
      for (std::size_t k = 0; k < kTile; ++k) tile.rows[i * kTile + k] = tile.columns[k][i];
    }
  }
}

void CaseReader::CopyCase(std::int64_t caseOfBlock, double* values) {
  const double* from = tiles_ + static_cast<std::size_t>(caseOfBlock) * kTile;
  const std::size_t count = list_.size();
  std::size_t i = 0;
  for (; i + kTile <= count; i += kTile, from += tileStride_) {
    std::memcpy(values + i, from, kTile * sizeof(double));
  }
  for (std::size_t k = 0; i < count; ++i, ++k) values[i] = from[k];
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
