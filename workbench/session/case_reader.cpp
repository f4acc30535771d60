#include "workbench/session/case_reader.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <new>
#include <utility>

#include "base/vector_dispatch.h"
#include "workbench/data/table.h"

#if VELMORA_VECTOR_DISPATCH
#include <immintrin.h>
#elif defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace velmora {

namespace {

constexpr std::size_t kTile = 8;  // columns transposed at once: a cache line of each row

// Blocks of few columns stay in the nearest cache: they are short, and later values of the same
// columns are prefetched.
constexpr std::size_t kNearTiles = 8;
constexpr std::int64_t kNearCases = 16;
constexpr std::int64_t kNearAhead = 64;
// Others stay in a middle cache while the cases are not too wide. They are longer, because each
// column is on pages of its own, whose addresses take time to translate.
constexpr std::int64_t kFarBytes = 512 * 1024;
constexpr std::int64_t kFewestFarCases = 128;
constexpr std::int64_t kMostFarCases = 256;

// Eight columns to be transposed into cases, and eight whose values are prefetched meanwhile: each
// column is in a different place in memory, and the prefetchers of the processor start too late
// there.
struct Tile {
  const double* const* columns;
  std::size_t first;  // case, from 0
  const double* const* prefetched;
  std::size_t firstPrefetched;
  double* rows;  // kTile values per case

  const double* At(std::size_t column, std::size_t i) const { return columns[column] + first + i; }
  void Prefetch(std::size_t i) const {
    constexpr int kMiddleCache = 2;
    for (std::size_t k = 0; k < kTile; ++k) {
      __builtin_prefetch(prefetched[k] + firstPrefetched + i, 0, kMiddleCache);
    }
  }
};

using TransposeTile = std::size_t(const Tile& tile, std::size_t cases);
using CopyCaseLines = void(const double* from, std::size_t stride, std::size_t count, double* to);

// Transposes two cases at a time; returns how many of them make pairs.
std::size_t TransposeTwoColumns(const Tile& tile, std::size_t cases) {
  std::size_t i = 0;
#if defined(__SSE2__)
  for (; i + 2 <= cases; i += 2) {
    double* const row = tile.rows + i * kTile;
    if (i % kTile == 0) tile.Prefetch(i);
    for (std::size_t k = 0; k < kTile; k += 2) {
      const __m128d a = _mm_loadu_pd(tile.At(k, i));
      const __m128d b = _mm_loadu_pd(tile.At(k + 1, i));
      _mm_storeu_pd(row + k, _mm_unpacklo_pd(a, b));
      _mm_storeu_pd(row + kTile + k, _mm_unpackhi_pd(a, b));
    }
  }
#endif
  return i;
}

// Copies a case: count values, from lines that are stride doubles apart.
void CopyLines(const double* from, std::size_t stride, std::size_t count, double* to) {
  for (; count >= kTile; count -= kTile, from += stride, to += kTile)
    std::memcpy(to, from, kTile * sizeof(double));
  for (std::size_t k = 0; k < count; ++k) to[k] = from[k];
}

#if VELMORA_VECTOR_DISPATCH
// A vector takes two cases of one column and two of the next but one, which leaves a single
// exchange.
__attribute__((target("avx2"))) std::size_t TransposeFourColumns(const Tile& tile, std::size_t cases) {
  std::size_t i = 0;
  double* row = tile.rows;
  for (; i + 2 <= cases; i += 2, row += 2 * kTile) {
    if (i % kTile == 0) tile.Prefetch(i);
    for (std::size_t k = 0; k < kTile; k += 4) {
      const __m256d even = _mm256_insertf128_pd(_mm256_castpd128_pd256(_mm_loadu_pd(tile.At(k, i))),
                                                _mm_loadu_pd(tile.At(k + 2, i)), 1);
      const __m256d odd = _mm256_insertf128_pd(_mm256_castpd128_pd256(_mm_loadu_pd(tile.At(k + 1, i))),
                                               _mm_loadu_pd(tile.At(k + 3, i)), 1);
      _mm256_storeu_pd(row + k, _mm256_unpacklo_pd(even, odd));
      _mm256_storeu_pd(row + kTile + k, _mm256_unpackhi_pd(even, odd));
    }
  }
  return i;
}

__attribute__((target("avx2"))) void CopyWideLines(const double* from, std::size_t stride, std::size_t count,
                                                   double* to) {
  for (; count >= kTile; count -= kTile, from += stride, to += kTile) {
    const __m256d low = _mm256_loadu_pd(from), high = _mm256_loadu_pd(from + 4);
    _mm256_storeu_pd(to, low);
    _mm256_storeu_pd(to + 4, high);
  }
  if (count == 0) return;
  // Of the last line only what belongs to the case is written.
  static constexpr std::int64_t kMask[2 * kTile] = {-1, -1, -1, -1, -1, -1, -1, -1};
  const auto* const mask = reinterpret_cast<const __m256i*>(kMask + kTile - count);
  _mm256_maskstore_pd(to, _mm256_loadu_si256(mask), _mm256_loadu_pd(from));
  _mm256_maskstore_pd(to + 4, _mm256_loadu_si256(mask + 1), _mm256_loadu_pd(from + 4));
}

const bool kHasAvx2 = vlm::WidestVector() >= vlm::VectorWidth::kAvx2;
TransposeTile* const transposeTile = kHasAvx2 ? TransposeFourColumns : TransposeTwoColumns;
CopyCaseLines* const copyCase = kHasAvx2 ? CopyWideLines : CopyLines;
#else
TransposeTile* const transposeTile = TransposeTwoColumns;
CopyCaseLines* const copyCase = CopyLines;
#endif

}  // namespace

void CaseReader::SetSource(CaseSource source) {
  source_ = std::move(source);
  list_.clear();
  listColumns_.clear();
  blockFirst_ = blockEnd_ = 0;
  lastCase_ = -1 - kMostSkipped;
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
  lastCase_ = -1 - kMostSkipped;
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
  isNear_ = tiles <= kNearTiles;
  blockCases_ = isNear_ ? kNearCases : std::clamp(kFarBytes / caseBytes, kFewestFarCases, kMostFarCases);
  // The last tile is padded with the last column and followed by a further tile of it, which can be
  // prefetched. The entries of a row after its values have no meaning.
  if (tiles > 0) listColumns_.resize((tiles + 1) * kTile, listColumns_.back());
  // One more line, so that the lines of a case fall into different sets of the caches.
  tileStride_ = (static_cast<std::size_t>(blockCases_) + 1) * kTile;
  Reserve(tileStride_ * tiles * sizeof(double));
  tiles_ = static_cast<double*>(memory_.get());
  return true;
}

// The tiles of wide cases take many pages: large ones where the system has them.
void CaseReader::Reserve(std::size_t bytes) {
  if (bytes <= memoryBytes_) return;
  memory_.reset();
  memoryBytes_ = 0;
  memory_.reset(AllocateLarge(bytes));
  if (!memory_) throw std::bad_alloc();
  memoryBytes_ = bytes;
}

void CaseReader::ReadFromColumns(std::int64_t caseIndex, double* values) const {
  for (std::size_t i = 0; i < list_.size(); ++i) values[i] = listColumns_[i][caseIndex];
}

void CaseReader::FillBlock(std::int64_t firstCase) {
  blockFirst_ = firstCase;
  blockEnd_ = std::min(source_.caseCount, firstCase + blockCases_);
  const auto first = static_cast<std::size_t>(firstCase);
  const auto cases = static_cast<std::size_t>(blockEnd_ - firstCase);
  const auto ahead = static_cast<std::size_t>(std::min(kNearAhead, source_.caseCount - blockEnd_));
  Tile tile{listColumns_.data(), first, nullptr, isNear_ ? first + ahead : first, tiles_};
  for (std::size_t left = list_.size(); left > 0; left -= std::min(left, kTile)) {
    tile.prefetched = isNear_ ? tile.columns : tile.columns + kTile;
    for (std::size_t i = transposeTile(tile, cases); i < cases; ++i) {
      for (std::size_t k = 0; k < kTile; ++k) tile.rows[i * kTile + k] = *tile.At(k, i);
    }
    tile.columns += kTile;
    tile.rows += tileStride_;
  }
}

void CaseReader::CopyCase(std::int64_t caseOfBlock, double* values) const {
  copyCase(tiles_ + static_cast<std::size_t>(caseOfBlock) * kTile, tileStride_, list_.size(), values);
}

}  // namespace velmora
