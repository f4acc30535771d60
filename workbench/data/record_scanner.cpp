// A field of a column of numbers is read once, from its first digit to the delimiter. Anything else
// is scanned again by ScanField, the general way, and left to the column's builder.
#include "workbench/data/record_scanner.h"

#include <fast_float/fast_float.h>

#include <algorithm>
#include <bit>
#include <cstring>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

#include "base/trim_blanks.h"
#include "workbench/data/table.h"
#include "workbench/data/unicode.h"

namespace velmora {

namespace {

constexpr std::uint64_t kExactWhole = std::uint64_t{1} << 53;
constexpr int kMostDigits = 19;  // that 64 bits take
// Powers of ten that doubles hold exactly.
constexpr std::array<double, 23> kPowersOfTen = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                                 1e8,  1e9,  1e10, 1e11, 1e12, 1e13, 1e14, 1e15,
                                                 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

bool CouldBePartOfNumber(char c) {
  return IsDigit(c) || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '+' || c == '-' || c == '.';
}

double AsCell(FieldPlace place) { return std::bit_cast<double>(place); }

}  // namespace

struct RecordScanner::Cursor {
  const char* text;
  std::size_t end;
  bool isLast;
  std::size_t at = 0;
  std::int64_t line = 1;  // of the block
  std::int64_t Record(const TextBlock& block) const { return block.recordCount + 1; }
};

std::string_view TextBlock::Text(FieldPlace place, std::string& scratch) const {
  const std::string_view raw(bytes.data() + place.begin, place.length);
  if (place.escaped == 0) return raw;
  scratch.clear();
  for (std::size_t i = 0; i < raw.size(); ++i) {
    scratch += raw[i];
    if (raw[i] == '"') ++i;
  }
  return scratch;
}

RecordScanner::RecordScanner(char delimiter, std::size_t columnCount, RaggedRecords ragged,
                             std::vector<double> doubtful)
    : delimiter_(delimiter),
      columnCount_(columnCount),
      ragged_(ragged),
      doubtful_(std::move(doubtful)),
      numbersAtOnce_(!CouldBePartOfNumber(delimiter)) {
  classes_['\0'] = kNul;
  classes_[' '] = kBlank;
  classes_['\n'] = kLineFeed;
  classes_['\r'] = kReturn;
  classes_['"'] = kQuote;
  classes_[static_cast<unsigned char>(delimiter)] = kDelimiter;
  for (const char c : {'\n', '\r', delimiter}) endsField_[static_cast<unsigned char>(c)] = true;
}

// The place after a field that is empty or a plain number; null for any other field, which is left
// to ScanField and ParseField.
inline const char* RecordScanner::ReadNumber(const char* at, const char* end, bool isLast, char decimalMark,
                                             double& value) const {
  if (at == end) return nullptr;
  if (EndsField(*at)) {
    value = kMissing;
    return at;
  }
  const auto endsHere = [&](const char* place) { return place == end ? isLast : EndsField(*place); };
  const char* p = at;
  const bool negative = *p == '-';
  p += negative ? 1 : 0;
  const char* const first = p;
  std::uint64_t digits = 0;
  for (; p != end && IsDigit(*p); ++p) digits = digits * 10 + static_cast<std::uint64_t>(*p - '0');
  const auto wholeDigits = p - first;
  std::ptrdiff_t fractionDigits = 0;
  const bool hasMark = p != end && decimalMark != 0 && *p == decimalMark;
  if (hasMark) {
    const char* const fraction = ++p;
    for (; p != end && IsDigit(*p); ++p) digits = digits * 10 + static_cast<std::uint64_t>(*p - '0');
    fractionDigits = p - fraction;
  } else if (wholeDigits > 1 && *first == '0') {
    return nullptr;  // a code, or a number with an exponent
  }
  const auto count = wholeDigits + fractionDigits;
  if (count == 0) return nullptr;
  const bool isShort = count <= kMostDigits && digits <= kExactWhole;
  if (isShort && endsHere(p)) {
    // Both are exact, so that their quotient is the nearest double. fractionDigits is at most 19.
    const double magnitude =
        static_cast<double>(digits) / kPowersOfTen[static_cast<std::size_t>(fractionDigits)];
    value = negative ? -magnitude : magnitude;
    return p;
  }
  const bool hasExponent = p != end && (*p == 'e' || *p == 'E');
  if (!hasExponent && (!hasMark || !endsHere(p))) return nullptr;
  const fast_float::parse_options options{fast_float::chars_format::general,
                                          decimalMark != 0 ? decimalMark : '.'};
  const auto result = fast_float::from_chars_advanced(at, end, value, options);
  const bool isPlain =
      result.ec == std::errc() && endsHere(result.ptr) && value > -1.69e308 && value < 1.69e308;
  return isPlain ? result.ptr : nullptr;
}

// Leaves the cursor on the delimiter, the line end or the end of the text. False when the field may
// go on, or is damaged.
bool RecordScanner::ScanField(Cursor& cursor, TextBlock& block, FieldPlace& place) const {
  const char* const text = cursor.text;
  const std::size_t end = cursor.end;
  std::size_t& at = cursor.at;
  const auto kindOf = [&](std::size_t here) { return ClassOf(text[here]); };
  const auto fail = [&](TextDamage damage, std::int64_t line) {
    block.damage = damage;
    block.damagedAt = {cursor.Record(block), line};
    return false;
  };
  const auto placeOf = [](std::size_t begin, std::size_t stop, bool escaped) {
    return FieldPlace{static_cast<std::uint32_t>(begin),
                      static_cast<std::uint32_t>(stop - begin) & 0x7FFFFFFFU, escaped ? 1U : 0U};
  };
  const std::size_t start = at;
  while (at < end && kindOf(at) == kBlank) ++at;
  if (at == end || kindOf(at) != kQuote) {
    while (at < end && (kindOf(at) == kPlain || kindOf(at) == kBlank || kindOf(at) == kQuote)) ++at;
    if (at < end && kindOf(at) == kNul) return fail(TextDamage::kNul, cursor.line);
    place = placeOf(start, at, false);
    return at < end || cursor.isLast;
  }
  const std::int64_t openedOn = cursor.line;
  const std::size_t begin = ++at;
  bool escaped = false;
  for (;; ++at) {
    while (at < end && (kindOf(at) == kPlain || kindOf(at) == kDelimiter || kindOf(at) == kBlank)) ++at;
    if (at == end) return cursor.isLast ? fail(TextDamage::kOpenQuote, openedOn) : false;
    const Class kind = kindOf(at);
    if (kind == kNul) return fail(TextDamage::kNul, cursor.line);
    if (kind == kReturn || (kind == kLineFeed && text[at - 1] != '\r')) ++cursor.line;
    if (kind != kQuote) continue;
    if (at + 1 == end && !cursor.isLast) return false;
    if (at + 1 == end || text[at + 1] != '"') break;
    escaped = true;
    ++at;
  }
  place = placeOf(begin, at, escaped);
  ++at;
  while (at < end && kindOf(at) == kBlank) ++at;
  if (at == end) return cursor.isLast;
  return EndsField(text[at]) || fail(TextDamage::kTextAfterQuote, cursor.line);
}

#ifdef __SSE2__
// Counts bits without the instruction for it, which not every processor has:
// std::popcount would call a function.
constexpr std::size_t CountBits16(unsigned bits) {
  bits -= (bits >> 1) & 0x5555U;
  bits = (bits & 0x3333U) + ((bits >> 2) & 0x3333U);
  bits = (bits + (bits >> 4)) & 0x0F0FU;
  return (bits + (bits >> 8)) & 0x1FU;
}
static_assert(CountBits16(0xFFFFU) == 16 && CountBits16(0xA001U) == 3 && CountBits16(0) == 0);
#endif

// Skips up to count plain fields with the delimiters after them, a vector of bytes at a time, and
// leaves the cursor at the beginning of a field. Returns how many; if there are fewer than count,
// the next field is left to ScanField.
std::size_t RecordScanner::SkipFields(Cursor& cursor, [[maybe_unused]] std::size_t count) const {
  std::size_t skipped = 0;
#ifdef __SSE2__
  const __m128i delimiter = _mm_set1_epi8(delimiter_);
  const __m128i quote = _mm_set1_epi8('"');
  const __m128i lineFeed = _mm_set1_epi8('\n');
  const __m128i carriageReturn = _mm_set1_epi8('\r');
  for (std::size_t at = cursor.at; at + 16 <= cursor.end; at += 16) {
    const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(cursor.text + at));
    const auto maskOf = [&](__m128i c) {
      return static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(bytes, c)));
    };
    unsigned ends = maskOf(delimiter);
    const unsigned special =
        (maskOf(quote) | maskOf(lineFeed) | maskOf(carriageReturn) | maskOf(_mm_setzero_si128())) & ~ends;
    // Only those before the first special byte.
    if (special != 0) ends &= (special & (~special + 1)) - 1;
    const std::size_t found = CountBits16(ends);
    if (skipped + found >= count) {
      for (; skipped + 1 < count; ++skipped) ends &= ends - 1;
      cursor.at = at + static_cast<std::size_t>(std::countr_zero(ends)) + 1;
      return count;
    }
    skipped += found;
    if (ends != 0) cursor.at = at + static_cast<std::size_t>(std::bit_width(ends));
    if (special != 0) return skipped;
  }
#else
  static_cast<void>(cursor);
#endif
  return skipped;
}

// Moves the cursor past the line end. False when its second half may belong to the next block.
bool RecordScanner::ScanLineEnd(Cursor& cursor, TextBlock& block) const {
  if (cursor.at == cursor.end) return true;
  if (cursor.text[cursor.at] == '\r') {
    if (cursor.at + 1 == cursor.end && !cursor.isLast) return false;
    ++cursor.at;
    if (cursor.at == cursor.end || cursor.text[cursor.at] != '\n') {
      if (block.loneReturn.row == 0) block.loneReturn = {cursor.Record(block), cursor.line};
      return true;
    }
  }
  ++block.lineFeeds;
  ++cursor.at;
  return true;
}

// One record or blank line. False when its end is not in the block or it is damaged.
bool RecordScanner::ScanRecord(Cursor& cursor, TextBlock& block, std::span<const ColumnPlan> plans) const {
  const char* const end = cursor.text + cursor.end;
  const Class first = ClassOf(cursor.text[cursor.at]);
  if ((first == kLineFeed || first == kReturn) && columnCount_ != 1) {
    if (!ScanLineEnd(cursor, block)) return false;
    ++cursor.line;
    return true;
  }
  const std::size_t firstOther = block.others.size();
  double* cell = block.cells.get() + block.rowCount;
  std::size_t column = 0;
  std::uint32_t slot = 0;
  for (;; ++column, ++cursor.at) {
    if (column < columnCount_ && plans[column].skipRun > 1)
      column += SkipFields(cursor, plans[column].skipRun - 1);
    const ColumnUse use = column < columnCount_ ? plans[column].use : ColumnUse::kSkip;
    const char* next = nullptr;
    if (use == ColumnUse::kNumbers && numbersAtOnce_)
      next = ReadNumber(cursor.text + cursor.at, end, cursor.isLast, plans[column].decimalMark, *cell);
    if (next != nullptr && !doubtful_.empty() && IsDoubtful(*cell)) next = nullptr;
    if (next != nullptr) {
      cursor.at = static_cast<std::size_t>(next - cursor.text);
    } else {
      FieldPlace place;
      if (!ScanField(cursor, block, place)) {
        block.others.resize(firstOther);
        return false;
      }
      if (use == ColumnUse::kTexts) *cell = AsCell(place);
      if (use == ColumnUse::kNumbers)
        block.others.push_back({static_cast<std::uint32_t>(block.rowCount), slot, place});
    }
    if (use != ColumnUse::kSkip) {
      cell += block.stride;
      ++slot;
    }
    if (cursor.at == cursor.end || ClassOf(cursor.text[cursor.at]) != kDelimiter) break;
  }
  if (!ScanLineEnd(cursor, block)) {
    block.others.resize(firstOther);
    return false;
  }
  if (column + 1 == columnCount_)
    ++block.rowCount;
  else
    SettleFieldCount(cursor, block, plans, column + 1, firstOther);
  if (block.damage != TextDamage::kNone) return false;
  ++block.recordCount;
  ++cursor.line;
  return true;
}

void RecordScanner::SettleFieldCount(const Cursor& cursor, TextBlock& block,
                                     std::span<const ColumnPlan> plans, std::size_t count,
                                     std::size_t firstOther) const {
  const TextPosition here{cursor.Record(block), cursor.line};
  if (ragged_ == RaggedRecords::kError) {
    block.damage = TextDamage::kFieldCount;
    block.damagedAt = here;
    block.damagedFieldCount = count;
    return;
  }
  if (block.raggedCount++ == 0) block.firstRagged = here;
  if (ragged_ == RaggedRecords::kSkip) {
    block.others.resize(firstOther);
    return;
  }
  std::size_t slot = 0;
  for (std::size_t column = 0; column < columnCount_; ++column) {
    if (plans[column].use == ColumnUse::kSkip) continue;
    double& cell = block.cells[slot * block.stride + static_cast<std::size_t>(block.rowCount)];
    if (column >= count) cell = plans[column].use == ColumnUse::kTexts ? AsCell({}) : kMissing;
    ++slot;
  }
  ++block.rowCount;
}

void SetSkipRuns(std::span<ColumnPlan> plans) {
  std::uint32_t run = 0;
  for (std::size_t i = plans.size(); i-- > 0;) {
    run = plans[i].use == ColumnUse::kSkip ? run + 1 : 0;
    plans[i].skipRun = run;
  }
}

void RecordScanner::Scan(TextBlock& block, std::span<const ColumnPlan> plans) const {
  const auto slots = static_cast<std::size_t>(std::count_if(
      plans.begin(), plans.end(), [](const ColumnPlan& plan) { return plan.use != ColumnUse::kSkip; }));
  const auto isLineEnd = [](char c) { return c == '\n' || c == '\r'; };
  // Every record but the last of the file has at least one line end.
  block.stride =
      static_cast<std::size_t>(std::count_if(block.bytes.begin(), block.bytes.end(), isLineEnd)) + 1;
  if (block.cellCapacity < slots * block.stride) {
    block.cellCapacity = slots * block.stride;
    block.cells = std::make_unique_for_overwrite<double[]>(block.cellCapacity);
  }
  block.others.clear();
  block.rowCount = block.recordCount = block.raggedCount = block.lineFeeds = block.lineCount = 0;
  block.firstRagged = block.loneReturn = block.damagedAt = {};
  block.damage = TextDamage::kNone;
  block.scanned = 0;
  Cursor cursor{block.bytes.data(), block.bytes.size(), block.isLast};
  while (cursor.at < cursor.end && ScanRecord(cursor, block, plans)) {
    block.scanned = cursor.at;
    block.lineCount = cursor.line - 1;
  }
  CheckEncoding(block);
  if (block.damage != TextDamage::kNone) return;
  // Sorts by slot; within a slot they are already in the order of the rows.
  block.otherBegin.assign(slots + 1, 0);
  for (const TextBlock::OtherField& other : block.others) ++block.otherBegin[other.slot + 1];
  for (std::size_t slot = 0; slot < slots; ++slot) block.otherBegin[slot + 1] += block.otherBegin[slot];
  if (slots < 2 || block.others.empty()) return;
  std::vector<std::uint32_t> next(block.otherBegin.begin(), block.otherBegin.end() - 1);
  std::vector<TextBlock::OtherField> sorted(block.others.size());
  for (const TextBlock::OtherField& other : block.others) sorted[next[other.slot]++] = other;
  block.others.swap(sorted);
}

// Damage that comes first in the file is reported first, wherever blocks begin.
void RecordScanner::CheckEncoding(TextBlock& block) const {
  const std::size_t bad = FirstByteBeyondUtf8({block.bytes.data(), block.scanned});
  if (bad == std::string_view::npos) return;
  // The record that holds the byte, and the line.
  const std::vector<ColumnPlan> plans(columnCount_, {ColumnUse::kSkip, 0, 0});
  Cursor cursor{block.bytes.data(), block.bytes.size(), block.isLast};
  block.rowCount = block.recordCount = block.raggedCount = 0;
  block.damage = TextDamage::kNone;
  while (ScanRecord(cursor, block, plans) && cursor.at <= bad) {
  }
  block.damage = TextDamage::kEncoding;
  block.damagedAt = {block.recordCount, 1};
  for (std::size_t i = 0; i < bad; ++i)
    if (block.bytes[i] == '\n' || (block.bytes[i] == '\r' && block.bytes[i + 1] != '\n'))
      ++block.damagedAt.line;
}

std::optional<HeaderRecord> RecordScanner::ScanHeader(TextBlock& block) const {
  Cursor cursor{block.bytes.data(), block.bytes.size(), block.isLast};
  block.recordCount = 0;
  block.damage = TextDamage::kNone;
  block.loneReturn = {};
  block.lineFeeds = 0;
  const auto isLineEnd = [&] { return cursor.text[cursor.at] == '\n' || cursor.text[cursor.at] == '\r'; };
  for (; cursor.at < cursor.end && isLineEnd(); ++cursor.line)
    if (!ScanLineEnd(cursor, block)) return std::nullopt;
  if (cursor.at == cursor.end) return std::nullopt;
  HeaderRecord header;
  for (;; ++cursor.at) {
    FieldPlace place;
    const std::size_t start = cursor.at;
    if (!ScanField(cursor, block, place)) return std::nullopt;
    std::string scratch;
    std::string_view name = block.Text(place, scratch);
    const bool quoted = place.begin > start && block.bytes[place.begin - 1] == '"';
    if (!quoted) name = vlm::TrimBlanks(name);
    header.names.emplace_back(name);
    if (cursor.at == cursor.end || ClassOf(cursor.text[cursor.at]) != kDelimiter) break;
  }
  if (!ScanLineEnd(cursor, block)) return std::nullopt;
  header.end = cursor.at;
  header.lineCount = cursor.line;
  const std::size_t bad = FirstByteBeyondUtf8({block.bytes.data(), header.end});
  if (bad == std::string_view::npos) return header;
  block.damage = TextDamage::kEncoding;
  block.damagedAt = {1, 1};
  for (std::size_t i = 0; i < bad; ++i)
    if (block.bytes[i] == '\n' || (block.bytes[i] == '\r' && block.bytes[i + 1] != '\n'))
      ++block.damagedAt.line;
  return std::nullopt;
}

}  // namespace velmora
