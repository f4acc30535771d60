#include "workbench/stats/sorted_order.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <stdexcept>

#include "base/vector_dispatch.h"
#include "workbench/stats/missing.h"

namespace velmora::stats {
namespace {

// Digits of one counting pass: as wide as possible while the places written to stay in the caches.
constexpr int kWideDigitBits = 11;
constexpr int kNarrowDigitBits = 8;
constexpr std::size_t kManyCases = 400000;  // with more cases digits are narrow
constexpr int kMaxPasses = 4;
constexpr std::size_t kDigitCount = std::size_t{1} << kWideDigitBits;
constexpr std::size_t kInsertionRun = 32;  // runs up to this length are sorted by insertion
constexpr std::size_t kRadixRun = 2048;    // runs from this length on by counting passes
constexpr std::size_t kMovesPerCase = 4;   // insertion ends above this many moves per case
// interleaved counters hide the latency of repeated increments
constexpr int kTables = 4;

double ValueOfImage(std::int64_t image) {
  constexpr std::uint64_t kSignBit = std::uint64_t{1} << 63;
  return std::bit_cast<double>(image >= 0 ? static_cast<std::uint64_t>(image)
                                          : kSignBit | (0 - static_cast<std::uint64_t>(image)));
}

struct Survey {
  std::int64_t minimum = std::numeric_limits<std::int64_t>::max();
  std::int64_t maximum = std::numeric_limits<std::int64_t>::min();
  bool absent = false;  // some value is missing or NaN
};

VELMORA_INLINE Survey SurveyBody(const double* values, std::size_t count, std::int64_t missingFirst,
                                 std::uint64_t missingWidth) {
  std::int64_t minimum = std::numeric_limits<std::int64_t>::max();
  std::int64_t maximum = std::numeric_limits<std::int64_t>::min();
  std::int64_t absent = 0;
  for (std::size_t i = 0; i < count; ++i) {
    const std::int64_t image = OrderedBits(values[i]);
    minimum = image < minimum ? image : minimum;
    maximum = image > maximum ? image : maximum;
    absent |=
        static_cast<std::uint64_t>(image) - static_cast<std::uint64_t>(missingFirst) < missingWidth ? 1 : 0;
  }
  Survey survey;
  survey.minimum = minimum;
  survey.maximum = maximum;
  survey.absent = absent != 0 || minimum < -kInfinityImage || maximum > kInfinityImage;
  return survey;
}

VELMORA_DISPATCH(Survey, SurveyValues,
                 (const double* values, std::size_t count, std::int64_t missingFirst,
                  std::uint64_t missingWidth),
                 SurveyBody, (values, count, missingFirst, missingWidth))

// Rounds to a whole number below 2^51 by adding and subtracting 1.5 x 2^52.
inline double Rounded(double value) {
  constexpr double kRounder = 6755399441055744.0;
  return (value + kRounder) - kRounder;
}

// True when every value is a whole number divided by scale: such values and numbers map to each
// other.
VELMORA_INLINE bool AreMultiplesBody(const double* values, std::size_t count, double scale) {
  constexpr std::size_t kBlock = 512;
  for (std::size_t first = 0; first < count; first += kBlock) {
    const std::size_t end = std::min(count, first + kBlock);
    std::int64_t others = 0;
    for (std::size_t i = first; i < end; ++i)
      others |= Rounded(values[i] * scale) / scale != values[i] ? 1 : 0;
    if (others != 0) return false;
  }
  return true;
}
VELMORA_DISPATCH(bool, AreMultiples, (const double* values, std::size_t count, double scale),
                 AreMultiplesBody, (values, count, scale))

// 1, 10, 100, ... when the column has that many decimals at most; 0 when it has more.
double DecimalScale(const double* values, std::size_t count, double minimum, double maximum) {
  constexpr double kLargest = 0x1p48;  // neighbours below it are more than the tolerance apart
  for (double scale = 1; scale <= 10000; scale *= 10) {
    if (!(minimum * scale > -kLargest && maximum * scale < kLargest)) return 0;
    if (AreMultiples(values, count, scale)) return scale;
  }
  return 0;
}

// The cases to sort: all of the column, or those listed in kept.
struct Cases {
  const double* column;
  const std::uint32_t* kept;  // null: case i is i
  const double* values;       // of the cases to sort
  std::size_t count;
};

template <bool kAll>
std::uint32_t CaseAt(const Cases& cases, std::size_t i) {
  if constexpr (kAll) return static_cast<std::uint32_t>(i);
  return cases.kept[i];
}

void StoreStarts(const std::int32_t* starts, std::size_t distinct, std::size_t count, SortedOrder& order) {
  order.starts.resize(distinct + 1);  // at once, because room for one more would double the memory
  std::copy_n(starts, distinct, order.starts.begin());
  order.starts.back() = static_cast<std::int32_t>(count);
}

// Keys below range, in any order.
template <bool kAll, class KeyOf>
void CountKeys(const Cases& cases, std::size_t range, KeyOf keyOf, SortScratch& scratch, SortedOrder& order) {
  std::uint32_t* counts = scratch.counts.Reserve(range * (kTables + 1));
  std::fill_n(counts, range * kTables, 0u);
  std::size_t i = 0;
  for (; i + kTables <= cases.count; i += kTables)
    for (std::size_t t = 0; t < kTables; ++t) ++counts[std::size_t{keyOf(i + t)} * kTables + t];
  for (; i < cases.count; ++i) ++counts[std::size_t{keyOf(i)} * kTables];

  std::uint32_t* next = counts + range * kTables;
  std::int32_t* starts = scratch.starts.Reserve(cases.count + 1);
  std::uint32_t position = 0;
  std::size_t distinct = 0;
  for (std::size_t slot = 0; slot < range; ++slot) {
    const std::uint32_t* c = counts + slot * kTables;
    const std::uint32_t inSlot = c[0] + c[1] + c[2] + c[3];
    next[slot] = position;
    if (inSlot == 0) continue;
    starts[distinct++] = static_cast<std::int32_t>(position);
    position += inSlot;
  }
  std::uint32_t* out = order.cases.data();
  for (i = 0; i < cases.count; ++i) out[next[keyOf(i)]++] = CaseAt<kAll>(cases, i);
  StoreStarts(starts, distinct, cases.count, order);
}

// Replaces the digit counts of one pass by first positions. False when all have the same digit.
bool PositionsOf(std::uint32_t* counts, std::size_t digits, std::size_t count) {
  std::uint32_t position = 0;
  bool moves = true;
  for (std::size_t d = 0; d < digits; ++d) {
    const std::uint32_t here = counts[d];
    moves &= here != count;
    counts[d] = position;
    position += here;
  }
  return moves;
}

struct DigitPlan {
  int passes;
  int bits;  // of one digit

  DigitPlan(int keyBits, std::size_t count) {
    const int widest = count < kManyCases ? kWideDigitBits : kNarrowDigitBits;
    passes = std::max(1, (keyBits + widest - 1) / widest);
    bits = std::max(1, (keyBits + passes - 1) / passes);
  }
  std::uint32_t Mask() const { return (1u << bits) - 1; }
};

// Counts the digits of keyOf(0) .. keyOf(count - 1), one table of kDigitCount per pass.
template <int kPasses, class KeyOf>
void CountDigitsOf(const DigitPlan& plan, std::uint32_t* counts, std::size_t count, KeyOf keyOf) {
  const std::uint32_t mask = plan.Mask();
  for (std::size_t i = 0; i < count; ++i) {
    std::uint32_t key = keyOf(i);
    for (std::size_t pass = 0; pass < kPasses; ++pass, key >>= plan.bits)
      ++counts[pass * kDigitCount + (key & mask)];
  }
}

template <class KeyOf>
void CountDigits(const DigitPlan& plan, std::uint32_t* counts, std::size_t count, KeyOf keyOf) {
  std::fill_n(counts, kMaxPasses * kDigitCount, 0u);
  if (plan.passes == 1) return CountDigitsOf<1>(plan, counts, count, keyOf);
  if (plan.passes == 2) return CountDigitsOf<2>(plan, counts, count, keyOf);
  if (plan.passes == 3) return CountDigitsOf<3>(plan, counts, count, keyOf);
  CountDigitsOf<4>(plan, counts, count, keyOf);
}

// Sorts pairs (key << 32 | case) by key, stably, in counting passes from digit `pass` on, whose
// counts are given. Returns the array with the sorted pairs: from or to.
std::uint64_t* ScatterPasses(const DigitPlan& plan, int pass, std::uint32_t* counts, std::uint64_t* from,
                             std::uint64_t* to, std::size_t count) {
  for (; pass < plan.passes; ++pass) {
    std::uint32_t* positions = counts + static_cast<std::size_t>(pass) * kDigitCount;
    if (!PositionsOf(positions, std::size_t{1} << plan.bits, count)) continue;
    const int shift = 32 + pass * plan.bits;
    const std::uint32_t mask = plan.Mask();
    for (std::size_t i = 0; i < count; ++i) {
      const std::uint64_t pair = from[i];
      to[positions[static_cast<std::uint32_t>(pair >> shift) & mask]++] = pair;
    }
    std::swap(from, to);
  }
  return from;
}

void SortPairsByRadix(std::uint64_t* pairs, std::uint64_t* spare, std::uint32_t* counts, std::size_t count) {
  const DigitPlan plan(32, count);
  CountDigits(plan, counts, count, [&](std::size_t i) { return static_cast<std::uint32_t>(pairs[i] >> 32); });
  const std::uint64_t* sorted = ScatterPasses(plan, 0, counts, pairs, spare, count);
  if (sorted != pairs) std::copy_n(sorted, count, pairs);
}

// Sorts a run of pairs with equal top bits by their low bits.
struct RunSorter {
  const double* column;
  std::int64_t minimum;
  std::uint64_t lowMask;
  std::uint64_t* spare;
  std::uint32_t* counts;

  void operator()(std::uint64_t* run, std::size_t length) const {
    for (std::size_t i = 0; i < length; ++i) {
      const auto caseIndex = static_cast<std::uint32_t>(run[i]);
      const auto offset =
          static_cast<std::uint64_t>(OrderedBits(column[caseIndex])) - static_cast<std::uint64_t>(minimum);
      run[i] = (offset & lowMask) << 32 | caseIndex;
    }
    if (length >= kRadixRun) {
      SortPairsByRadix(run, spare, counts, length);
    } else if (length > kInsertionRun) {
      std::sort(run, run + length);
    } else {
      for (std::size_t i = 1; i < length; ++i) {
        const std::uint64_t pair = run[i];
        std::size_t j = i;
        for (; j > 0 && run[j - 1] > pair; --j) run[j] = run[j - 1];
        run[j] = pair;
      }
    }
  }
};

constexpr std::uint32_t KeyOf(std::uint64_t pair) { return static_cast<std::uint32_t>(pair >> 32); }

// The keys hold whole values: keys at most `nearest` apart are one value.
std::size_t EmitExact(const std::uint64_t* pairs, std::size_t count, std::uint32_t nearest,
                      std::uint32_t* cases, std::int32_t* starts) {
  std::size_t distinct = 1;
  starts[0] = 0;
  cases[0] = static_cast<std::uint32_t>(pairs[0]);
  std::uint32_t previous = KeyOf(pairs[0]);
  for (std::size_t i = 1; i < count; ++i) {
    const std::uint32_t key = KeyOf(pairs[i]);
    // The first case of a value keeps this entry; that of a repeated value is overwritten by the
    // next.
    starts[distinct] = static_cast<std::int32_t>(i);
    distinct += key - previous > nearest ? 1 : 0;
    previous = key;
    cases[i] = static_cast<std::uint32_t>(pairs[i]);
  }
  return distinct;
}

// Few pairs have equal or nearly equal top bits: the column is read for those runs only. nearKeys:
// keys further apart than this belong to values that differ by more than the tolerance.
std::size_t EmitRuns(std::uint64_t* pairs, std::size_t count, std::uint32_t nearKeys,
                     const RunSorter& sortRun, std::uint32_t* cases, std::int32_t* starts) {
  constexpr auto kTolerance = static_cast<std::uint32_t>(kUlpTolerance);
  std::size_t distinct = 0;
  std::uint32_t previousKey = 0;
  for (std::size_t i = 0; i < count;) {
    const std::uint32_t key = KeyOf(pairs[i]);
    const std::size_t begin = i;
    std::size_t end = i + 1;
    while (end < count && KeyOf(pairs[end]) == key) ++end;
    if (end > begin + 1) sortRun(pairs + begin, end - begin);
    cases[begin] = static_cast<std::uint32_t>(pairs[begin]);
    const bool follows =
        begin > 0 && key - previousKey <= nearKeys &&
        OrderedBits(sortRun.column[cases[begin]]) - OrderedBits(sortRun.column[cases[begin - 1]]) <=
            kUlpTolerance;
    if (!follows) starts[distinct++] = static_cast<std::int32_t>(begin);
    for (++i; i < end; ++i) {  // the keys of a sorted run are low bits
      cases[i] = static_cast<std::uint32_t>(pairs[i]);
      if (KeyOf(pairs[i]) - KeyOf(pairs[i - 1]) > kTolerance)
        starts[distinct++] = static_cast<std::int32_t>(i);
    }
    previousKey = key;
  }
  return distinct;
}

// Many pairs share their top bits, most of them equal values: the ordered bits are fetched for all,
// without a branch on their values, and the few in the wrong place are inserted. Returns 0 when
// that takes too many moves.
std::size_t EmitFetched(const std::uint64_t* pairs, std::size_t count, const double* column,
                        std::uint64_t* images, std::uint32_t* cases, std::int32_t* starts) {
  for (std::size_t i = 0; i < count; ++i) {
    const auto caseIndex = static_cast<std::uint32_t>(pairs[i]);
    cases[i] = caseIndex;
    images[i] = static_cast<std::uint64_t>(OrderedBits(column[caseIndex])) ^ (std::uint64_t{1} << 63);
  }
  std::size_t moves = 0;
  for (std::size_t i = 1; i < count; ++i) {
    const std::uint64_t image = images[i];
    if (images[i - 1] <= image) continue;
    const std::uint32_t caseIndex = cases[i];
    std::size_t j = i;
    for (; j > 0 && images[j - 1] > image; --j) {
      images[j] = images[j - 1];
      cases[j] = cases[j - 1];
    }
    images[j] = image;
    cases[j] = caseIndex;
    moves += i - j;
    if (moves > kMovesPerCase * count) return 0;
  }
  std::size_t distinct = 1;
  starts[0] = 0;
  for (std::size_t i = 1; i < count; ++i) {
    starts[distinct] = static_cast<std::int32_t>(i);
    distinct += images[i] - images[i - 1] > static_cast<std::uint64_t>(kUlpTolerance) ? 1 : 0;
  }
  return distinct;
}

VELMORA_INLINE std::size_t RepeatedKeysBody(const std::uint64_t* pairs, std::size_t count) {
  std::size_t repeated = 0;
  for (std::size_t i = 1; i < count; ++i) repeated += (pairs[i] ^ pairs[i - 1]) >> 32 == 0 ? 1 : 0;
  return repeated;
}
VELMORA_DISPATCH(std::size_t, RepeatedKeys, (const std::uint64_t* pairs, std::size_t count), RepeatedKeysBody,
                 (pairs, count))

// How keys are made from ordered bits: which low bits they drop, and the value from which they
// count.
struct KeyPlan {
  std::int64_t minimum = 0;
  int bits = 0;     // of the largest key
  int dropped = 0;  // low ordered bits that are not in the key
  // keys of whole values (dropped 0) at most this far apart are one value
  std::uint32_t nearest = 0;
};

template <bool kAll, class KeyOf>
void SortByKeys(const Cases& cases, const KeyPlan& keys, KeyOf keyOf, SortScratch& scratch,
                SortedOrder& order) {
  const std::size_t count = cases.count;
  const DigitPlan plan(keys.bits, count);
  const std::uint32_t mask = plan.Mask();
  std::uint64_t* pairs = scratch.pairs[0].Reserve(count);
  std::uint64_t* spare = scratch.pairs[1].Reserve(count);
  std::uint32_t* counts = scratch.counts.Reserve(kMaxPasses * kDigitCount);
  CountDigits(plan, counts, count, keyOf);
  PositionsOf(counts, kDigitCount, count);
  for (std::size_t i = 0; i < count; ++i) {
    const std::uint32_t key = keyOf(i);
    pairs[counts[key & mask]++] = std::uint64_t{key} << 32 | CaseAt<kAll>(cases, i);
  }
  std::uint64_t* sorted = ScatterPasses(plan, 1, counts, pairs, spare, count);
  if (sorted != pairs) std::swap(pairs, spare);

  std::int32_t* starts = scratch.starts.Reserve(count + 1);
  std::uint32_t* out = order.cases.data();
  std::size_t distinct = 0;
  if (keys.dropped == 0) {
    distinct = EmitExact(pairs, count, keys.nearest, out, starts);
  } else {
    if (RepeatedKeys(pairs, count) > count / 16)
      distinct = EmitFetched(pairs, count, cases.column, spare, out, starts);
    if (distinct == 0) {
      const RunSorter sortRun{cases.column, keys.minimum, (std::uint64_t{1} << keys.dropped) - 1, spare,
                              counts};
      const std::uint32_t nearKeys = static_cast<std::uint32_t>(kUlpTolerance >> keys.dropped) + 1;
      distinct = EmitRuns(pairs, count, nearKeys, sortRun, out, starts);
    }
  }
  StoreStarts(starts, distinct, count, order);
}

template <bool kAll>
void SortCases(const Cases& cases, const Survey& survey, SortScratch& scratch, SortedOrder& order) {
  const double* values = cases.values;
  const double minimum = ValueOfImage(survey.minimum);
  const double maximum = ValueOfImage(survey.maximum);
  const double scale = DecimalScale(values, cases.count, minimum, maximum);
  if (scale != 0) {
    const double first = Rounded(minimum * scale);
    const double range = Rounded(maximum * scale) - first + 1;
    const auto keyOf = [=](std::size_t i) {
      return static_cast<std::uint32_t>(static_cast<std::int64_t>(Rounded(values[i] * scale) - first));
    };
    if (range <= static_cast<double>(std::max<std::size_t>(cases.count / 4, 256)))
      return CountKeys<kAll>(cases, static_cast<std::size_t>(range), keyOf, scratch, order);
    if (range <= 0x1p32) {
      KeyPlan keys;
      keys.bits = std::bit_width(static_cast<std::uint64_t>(range - 1));
      return SortByKeys<kAll>(cases, keys, keyOf, scratch, order);
    }
  }
  KeyPlan keys;
  keys.minimum = survey.minimum;
  const auto from = static_cast<std::uint64_t>(survey.minimum);
  keys.bits = std::bit_width((static_cast<std::uint64_t>(survey.maximum) - from) | 1);
  keys.dropped = std::max(0, keys.bits - 32);
  keys.nearest = static_cast<std::uint32_t>(kUlpTolerance);
  keys.bits -= keys.dropped;
  const int dropped = keys.dropped;
  SortByKeys<kAll>(
      cases, keys,
      [=](std::size_t i) {
        return static_cast<std::uint32_t>((static_cast<std::uint64_t>(OrderedBits(values[i])) - from) >>
                                          dropped);
      },
      scratch, order);
}

// The ordered bits of the largest doubles are next to those of the infinities, but their values are
// not.
void SeparateInfinities(std::span<const double> column, SortedOrder& order) {
  std::vector<std::int32_t> starts;
  for (std::size_t d = 0; d < order.DistinctCount(); ++d) {
    const auto begin = static_cast<std::size_t>(order.starts[d]);
    const auto end = static_cast<std::size_t>(order.starts[d + 1]);
    for (std::size_t i = begin; i < end; ++i) {
      const bool changes =
          i > begin && std::isinf(column[order.cases[i]]) != std::isinf(column[order.cases[i - 1]]);
      if (i == begin || changes) starts.push_back(static_cast<std::int32_t>(i));
    }
  }
  starts.push_back(order.starts.back());
  order.starts.assign(starts.begin(), starts.end());
}

}  // namespace

void SortColumn(std::span<const double> column, double missingCode, std::span<const std::uint8_t> selected,
                SortScratch& scratch, SortedOrder& order) {
  if (column.size() > static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max()) - 1)
    throw std::length_error("a column of more than 2147483646 cases cannot be sorted");
  const MissingBits missing(missingCode);
  Survey survey;
  if (selected.empty()) survey = SurveyValues(column.data(), column.size(), missing.first, missing.width);
  Cases cases{column.data(), nullptr, column.data(), column.size()};
  if (!selected.empty() || survey.absent) {
    std::uint32_t* kept = scratch.kept.Reserve(column.size() + 1);
    double* values = scratch.values.Reserve(column.size() + 1);
    std::size_t count = 0;
    for (std::size_t i = 0; i < column.size(); ++i) {
      kept[count] = static_cast<std::uint32_t>(i);
      values[count] = column[i];
      count += (selected.empty() || selected[i] != 0) && !missing.Absent(column[i]) ? 1 : 0;
    }
    survey = SurveyValues(values, count, 1, 0);
    cases = {column.data(), kept, values, count};
  }
  order.cases.resize(cases.count);
  order.starts.clear();
  if (cases.count == 0) return;
  if (cases.kept == nullptr)
    SortCases<true>(cases, survey, scratch, order);
  else
    SortCases<false>(cases, survey, scratch, order);
  if (survey.minimum == -kInfinityImage || survey.maximum == kInfinityImage)
    SeparateInfinities(column, order);
}

void FilterOrder(const SortedOrder& order, std::span<const std::uint8_t> marked, SortedOrder& filtered) {
  filtered.cases.resize(order.cases.size());
  filtered.starts.resize(order.starts.size());
  std::size_t count = 0;
  std::size_t distinct = 0;
  for (std::size_t d = 0; d < order.DistinctCount(); ++d) {
    const std::size_t before = count;
    for (auto i = static_cast<std::size_t>(order.starts[d]);
         i < static_cast<std::size_t>(order.starts[d + 1]); ++i) {
      filtered.cases[count] = order.cases[i];
      count += marked[order.cases[i]] != 0 ? 1 : 0;
    }
    filtered.starts[distinct] = static_cast<std::int32_t>(before);
    distinct += count != before ? 1 : 0;
  }
  filtered.cases.resize(count);
  if (!filtered.starts.empty()) {
    filtered.starts[distinct] = static_cast<std::int32_t>(count);
    filtered.starts.resize(distinct == 0 ? 0 : distinct + 1);
  }
}

}  // namespace velmora::stats
