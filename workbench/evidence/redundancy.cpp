#include "workbench/evidence/redundancy.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <numeric>

#include "base/vector_dispatch.h"

#if VELMORA_VECTOR_DISPATCH
#include <immintrin.h>
#endif

namespace velmora::evidence {
namespace {

constexpr std::uint32_t kNoPlace = 0xFFFFFFFF;
constexpr std::size_t kWordBits = 64;
// How many words of a bin are counted at a time, so that those of two predictors stay in the
// nearest cache.
constexpr std::size_t kBlockWords = 256;
// A table of more cells than this is counted case by case.
constexpr std::size_t kMostPackedCells = 80;

std::size_t CommonBits(const std::uint64_t* a, const std::uint64_t* b, std::size_t words) {
  std::size_t count = 0;
  for (std::size_t w = 0; w < words; ++w) count += static_cast<std::size_t>(std::popcount(a[w] & b[w]));
  return count;
}

#if VELMORA_VECTOR_DISPATCH
__attribute__((target("popcnt"))) std::size_t CommonBitsByInstruction(const std::uint64_t* a,
                                                                      const std::uint64_t* b,
                                                                      std::size_t words) {
  std::size_t count = 0;
  for (std::size_t w = 0; w < words; ++w)
    count += static_cast<std::size_t>(__builtin_popcountll(a[w] & b[w]));
  return count;
}

__attribute__((target("avx512f,avx512vpopcntdq"))) std::size_t CommonBitsOfVectors(const std::uint64_t* a,
                                                                                   const std::uint64_t* b,
                                                                                   std::size_t words) {
  constexpr std::size_t kWords = 8;
  __m512i sums = _mm512_setzero_si512();
  for (; words >= kWords; words -= kWords, a += kWords, b += kWords)
    sums = _mm512_add_epi64(
        sums, _mm512_popcnt_epi64(_mm512_and_si512(_mm512_loadu_si512(a), _mm512_loadu_si512(b))));
  const auto rest = static_cast<__mmask8>((1U << words) - 1);
  sums = _mm512_add_epi64(sums, _mm512_popcnt_epi64(_mm512_and_si512(_mm512_maskz_loadu_epi64(rest, a),
                                                                     _mm512_maskz_loadu_epi64(rest, b))));
  std::size_t counts[kWords];
  _mm512_storeu_si512(counts, sums);
  return std::accumulate(std::begin(counts), std::end(counts), std::size_t{0});
}

// Every processor with wide vectors has an instruction that counts the bits of a word; some have
// one for eight words.
const auto commonBits = [] {
  const vlm::VectorWidth widest = vlm::WidestVector();
  if (widest == vlm::VectorWidth::kAvx512 && __builtin_cpu_supports("avx512vpopcntdq"))
    return CommonBitsOfVectors;
  return widest >= vlm::VectorWidth::kAvx2 ? CommonBitsByInstruction : CommonBits;
}();
#else
const auto commonBits = CommonBits;
#endif

// The sum n and the margins of a table of counts (row by row), and how many rows and columns have
// cases.
struct Margins {
  Margins(const std::vector<double>& cells, std::size_t columnCount)
      : rows(cells.size() / columnCount), columns(columnCount) {
    for (std::size_t i = 0; i < cells.size(); ++i) {
      rows[i / columnCount] += cells[i];
      columns[i % columnCount] += cells[i];
      total += cells[i];
    }
    const auto filled = [](const std::vector<double>& sums) {
      return static_cast<double>(std::count_if(sums.begin(), sums.end(), [](double sum) { return sum > 0; }));
    };
    rowCount = filled(rows);
    columnCountFilled = filled(columns);
  }

  std::vector<double> rows, columns;
  double total = 0, rowCount = 0, columnCountFilled = 0;
};

double CorrectedV(const std::vector<double>& cells, std::size_t columnCount) {
  const Margins margins(cells, columnCount);
  const double n = margins.total, r = margins.rowCount, c = margins.columnCountFilled;
  if (n < 2 || r < 2 || c < 2) return 0;
  double ratio = 0;  // sum of n_ij^2 / (n_i n_j) = 1 + Chi-square / n
  for (std::size_t i = 0; i < cells.size(); ++i) {
    if (cells[i] > 0)
      ratio += cells[i] * cells[i] / (margins.rows[i / columnCount] * margins.columns[i % columnCount]);
  }
  const double square = ratio - 1 - (r - 1) * (c - 1) / (n - 1);
  const double smaller = std::min(r - 1 - (r - 1) * (r - 1) / (n - 1), c - 1 - (c - 1) * (c - 1) / (n - 1));
  return square > 0 && smaller > 0 ? std::min(1.0, std::sqrt(square / smaller)) : 0;
}

// n times the mutual information of rows and columns, in nats, and its expectation if they are
// independent.
struct Information {
  double found = 0, byChance = 0;
};

Information InformationOf(const std::vector<double>& cells, std::size_t columnCount) {
  const Margins margins(cells, columnCount);
  Information information;
  if (!(margins.total > 0)) return information;
  for (std::size_t i = 0; i < cells.size(); ++i) {
    if (!(cells[i] > 0)) continue;
    const double expected = margins.rows[i / columnCount] * margins.columns[i % columnCount] / margins.total;
    information.found += cells[i] * std::log(cells[i] / expected);
  }
  information.byChance = (margins.rowCount - 1) * (margins.columnCountFilled - 1) / 2;
  return information;
}

// The information of a predictor about the class.
double Relevance(const BinTables& tables, std::size_t predictor) {
  const std::vector<std::uint32_t>& counts = tables.Bins(predictor);
  const Information information = InformationOf({counts.begin(), counts.end()}, tables.ClassCount());
  return std::max(0.0, information.found - information.byChance);
}

// The same among cases that are alike in another predictor.
double AddedTo(const BinTables& tables, std::size_t predictor, std::size_t other) {
  const std::size_t first = std::max(predictor, other), second = std::min(predictor, other);
  const std::vector<std::uint32_t>& cells = tables.Cells(first, second);
  const std::size_t classes = tables.ClassCount(), secondBins = tables.BinCount(second);
  const std::size_t own = tables.BinCount(predictor), others = tables.BinCount(other);
  double found = 0, byChance = 0;
  std::vector<double> table(own * classes);
  for (std::size_t given = 0; given < others; ++given) {
    for (std::size_t bin = 0; bin < own; ++bin) {
      const std::size_t row = predictor == first ? bin : given, column = predictor == first ? given : bin;
      for (std::size_t c = 0; c < classes; ++c)
        table[bin * classes + c] = cells[(row * secondBins + column) * classes + c];
    }
    const Information information = InformationOf(table, classes);
    found += information.found;
    if (information.byChance > 0) byChance += information.byChance;
  }
  return std::max(0.0, found - byChance);
}

}  // namespace

BinTables::BinTables(std::span<const std::uint8_t> classOf, std::size_t classCount)
    : classCount_(classCount) {
  std::vector<std::size_t> sizes(classCount);
  for (const std::uint8_t c : classOf) {
    if (c != kNone) ++sizes[c];
  }
  // Each class begins with a new word.
  for (const std::size_t size : sizes) {
    firstWord_.push_back(wordCount_);
    wordCount_ += (size + kWordBits - 1) / kWordBits;
  }
  firstWord_.push_back(wordCount_);
  std::vector<std::size_t> next;
  for (std::size_t c = 0; c < classCount; ++c) next.push_back(firstWord_[c] * kWordBits);
  placeOf_.reserve(classOf.size());
  for (const std::uint8_t c : classOf)
    placeOf_.push_back(c == kNone ? kNoPlace : static_cast<std::uint32_t>(next[c]++));
}

void BinTables::Add(std::span<const std::uint8_t> binOf, std::size_t binCount) {
  Predictor& one = predictors_.emplace_back();
  one.binCount = binCount;
  one.binOf.assign(wordCount_ * kWordBits, kNone);
  one.bits.assign(binCount * wordCount_, 0);
  for (std::size_t i = 0; i < binOf.size(); ++i) {
    const std::uint32_t place = placeOf_[i];
    if (place == kNoPlace) continue;
    one.binOf[place] = binOf[i];
    if (binOf[i] == kNone) {
      one.isComplete = false;
    } else {
      one.bits[binOf[i] * wordCount_ + place / kWordBits] |= std::uint64_t{1} << (place % kWordBits);
    }
  }
  one.counts.resize(binCount * classCount_);
  for (std::size_t bin = 0; bin < binCount; ++bin) {
    for (std::size_t c = 0; c < classCount_; ++c) {
      const std::uint64_t* const words = &one.bits[bin * wordCount_];
      one.counts[bin * classCount_ + c] = static_cast<std::uint32_t>(
          commonBits(words + firstWord_[c], words + firstWord_[c], firstWord_[c + 1] - firstWord_[c]));
    }
  }
}

bool BinTables::Count(WorkerPool& pool, const WorkerPool::Progress& progress) {
  cells_.assign(Size() * (std::max<std::size_t>(Size(), 1) - 1) / 2, {});
  // The last predictors have the longest rows, so they are counted first.
  return pool.Run(
      Size(),
      [&](std::size_t task, int) {
        const std::size_t first = Size() - 1 - task;
        for (std::size_t second = 0; second < first && !pool.IsStopping(); ++second)
          CountPair(predictors_[first], predictors_[second], cells_[first * (first - 1) / 2 + second]);
      },
      progress);
}

void BinTables::CountPair(const Predictor& first, const Predictor& second,
                          std::vector<std::uint32_t>& cells) const {
  cells.assign(first.binCount * second.binCount * classCount_, 0);
  if (first.binCount * second.binCount <= kMostPackedCells) return CountBits(first, second, cells);
  for (std::size_t c = 0; c < classCount_; ++c) {
    for (std::size_t i = firstWord_[c] * kWordBits; i < firstWord_[c + 1] * kWordBits; ++i) {
      if (first.binOf[i] != kNone && second.binOf[i] != kNone)
        ++cells[(std::size_t{first.binOf[i]} * second.binCount + second.binOf[i]) * classCount_ + c];
    }
  }
}

void BinTables::CountBits(const Predictor& first, const Predictor& second,
                          std::vector<std::uint32_t>& cells) const {
  // Where every case has a bin, the last row and column follow from the margins.
  const bool complete = first.isComplete && second.isComplete && first.binCount > 0 && second.binCount > 0;
  const std::size_t rows = first.binCount - (complete ? 1 : 0),
                    columns = second.binCount - (complete ? 1 : 0);
  const auto at = [&](std::size_t row, std::size_t column, std::size_t c) -> std::uint32_t& {
    return cells[(row * second.binCount + column) * classCount_ + c];
  };
  for (std::size_t c = 0; c < classCount_; ++c) {
    for (std::size_t begin = firstWord_[c]; begin < firstWord_[c + 1]; begin += kBlockWords) {
      const std::size_t words = std::min(kBlockWords, firstWord_[c + 1] - begin);
      for (std::size_t row = 0; row < rows; ++row) {
        const std::uint64_t* const a = &first.bits[row * wordCount_ + begin];
        for (std::size_t column = 0; column < columns; ++column)
          at(row, column, c) +=
              static_cast<std::uint32_t>(commonBits(a, &second.bits[column * wordCount_ + begin], words));
      }
    }
    if (!complete) continue;
    for (std::size_t row = 0; row < rows; ++row) {
      std::uint32_t left = first.counts[row * classCount_ + c];
      for (std::size_t column = 0; column < columns; ++column) left -= at(row, column, c);
      at(row, columns, c) = left;
    }
    for (std::size_t column = 0; column < second.binCount; ++column) {
      std::uint32_t left = second.counts[column * classCount_ + c];
      for (std::size_t row = 0; row < rows; ++row) left -= at(row, column, c);
      at(rows, column, c) = left;
    }
  }
}

std::vector<double> Associations(const BinTables& tables) {
  const std::size_t size = tables.Size(), classes = tables.ClassCount();
  std::vector<double> v(size * size, 1.0);
  std::vector<double> cells;
  for (std::size_t i = 1; i < size; ++i) {
    for (std::size_t j = 0; j < i; ++j) {
      const std::vector<std::uint32_t>& byClass = tables.Cells(i, j);
      cells.assign(byClass.size() / classes, 0.0);
      for (std::size_t cell = 0; cell < byClass.size(); ++cell) cells[cell / classes] += byClass[cell];
      v[i * size + j] = v[j * size + i] = CorrectedV(cells, tables.BinCount(j));
    }
  }
  return v;
}

std::vector<Likeness> Cluster(const std::vector<double>& v, std::size_t count, double from) {
  std::vector<Likeness> alike(count);
  std::vector<std::size_t> leaders;
  for (std::size_t i = 0; i < count; ++i) {
    std::size_t nearest = leaders.size();
    for (std::size_t c = 0; c < leaders.size(); ++c) {
      const double here = v[i * count + leaders[c]];
      if (here >= from && (nearest == leaders.size() || here > v[i * count + leaders[nearest]])) nearest = c;
    }
    alike[i].cluster = static_cast<int>(nearest);
    if (nearest == leaders.size()) {
      leaders.push_back(i);
    } else {
      alike[i].sameAs = static_cast<int>(leaders[nearest]);
      alike[i].v = v[i * count + leaders[nearest]];
    }
  }
  return alike;
}

std::vector<Step> OrderOfAdding(const BinTables& tables) {
  const std::size_t size = tables.Size();
  std::vector<double> relevance(size), left(size);
  for (std::size_t i = 0; i < size; ++i) left[i] = relevance[i] = Relevance(tables, i);
  std::vector<Step> steps;
  std::vector<bool> taken(size);
  while (steps.size() < size) {
    // Among predictors that are equal but for rounding, the most relevant one, then the first.
    constexpr double kEqual = 1 + 1e-9;
    std::size_t best = size;
    for (std::size_t i = 0; i < size; ++i) {
      if (taken[i]) continue;
      const bool more = best == size || left[i] > left[best] * kEqual;
      if (more || (left[i] * kEqual >= left[best] && relevance[i] > relevance[best] * kEqual)) best = i;
    }
    taken[best] = true;
    steps.push_back({best, relevance[best] > 0 ? left[best] / relevance[best] : 0});
    for (std::size_t i = 0; i < size; ++i) {
      if (!taken[i] && left[i] > 0) left[i] = std::min(left[i], AddedTo(tables, i, best));
    }
  }
  return steps;
}

}  // namespace velmora::evidence
