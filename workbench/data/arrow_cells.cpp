#include "workbench/data/arrow_cells.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>

namespace velmora {
namespace {

double PartsOfSecond(char unit) {
  switch (unit) {
    case 'm':
      return 1e3;
    case 'u':
    case 'n':
      return 1e6;
    default:
      return 1;
  }
}

// d:19,10 or d:19,10,256
ArrowCellType DecimalType(std::string_view format) {
  constexpr int kBitsOfByte = 8;
  ArrowCellType type;
  int numbers[3] = {0, 0, 128};
  const char* at = format.data() + 2;
  const char* const end = format.data() + format.size();
  for (int& number : numbers) {
    const auto read = std::from_chars(at, end, number);
    if (read.ec != std::errc()) break;
    at = read.ptr < end ? read.ptr + 1 : end;
  }
  constexpr int kMostDecimals = 1000;  // far more than a number of 256 bits has
  if ((numbers[2] != 32 && numbers[2] != 64 && numbers[2] != 128 && numbers[2] != 256) ||
      std::abs(numbers[1]) > kMostDecimals)
    return type;
  type.cells = ArrowCells::kDecimal;
  type.decimals = numbers[1];
  type.bytes = numbers[2] / kBitsOfByte;
  return type;
}

struct TextView {
  std::int32_t length = 0;
  std::int32_t buffer = 0;
  std::int32_t offset = 0;

  static constexpr std::int32_t kLongestInPlace = 12;
  static constexpr std::int64_t kBytes = 16;

  TextView(const ArrowArray& array, std::int64_t i) {
    const auto* const view = BufferOf<std::byte>(array, 1) + kBytes * i;
    std::memcpy(&length, view, 4);
    std::memcpy(&buffer, view + 8, 4);
    std::memcpy(&offset, view + 12, 4);
  }
};

constexpr std::int64_t kFirstTextBuffer = 2;  // after the bits of validity and the views

}  // namespace

CellKind ArrowCellType::Kind() const {
  if (IsText()) return CellKind::kText;
  const bool counts = divisor == 1 && dateUnit == DateUnit::kNone;
  switch (cells) {
    case ArrowCells::kLeftOut:
      return CellKind::kLeftOut;
    case ArrowCells::kDecimal:
      return CellKind::kDigits;
    case ArrowCells::kInt64:
      return counts ? CellKind::kWhole : CellKind::kNumber;
    case ArrowCells::kUint64:
      return counts ? CellKind::kUnsigned : CellKind::kNumber;
    default:
      return CellKind::kNumber;
  }
}

ArrowCellType ArrowCellTypeOf(std::string_view format) {
  ArrowCellType type;
  if (format.size() == 1) {
    static constexpr std::string_view kFormats = "nbcCsSiIlLefgzuZU";
    static constexpr ArrowCells kTypes[] = {ArrowCells::kNull,   ArrowCells::kBool,   ArrowCells::kInt8,
                                            ArrowCells::kUint8,  ArrowCells::kInt16,  ArrowCells::kUint16,
                                            ArrowCells::kInt32,  ArrowCells::kUint32, ArrowCells::kInt64,
                                            ArrowCells::kUint64, ArrowCells::kHalf,   ArrowCells::kFloat,
                                            ArrowCells::kDouble, ArrowCells::kText32, ArrowCells::kText32,
                                            ArrowCells::kText64, ArrowCells::kText64};
    const std::size_t at = kFormats.find(format.front());
    if (at != std::string_view::npos) type.cells = kTypes[at];
  } else if (format == "vu" || format == "vz") {
    type.cells = ArrowCells::kTextView;
  } else if (format.starts_with("d:")) {
    type = DecimalType(format);
  } else if (format == "tdD") {
    type.cells = ArrowCells::kInt32;
    type.dateUnit = DateUnit::kDays;
  } else if (format == "tdm") {
    type.cells = ArrowCells::kInt64;
    type.dateUnit = DateUnit::kDays;
    type.divisor = 86400e3;
  } else if (format.starts_with("ts") && format.size() >= 3) {
    type.cells = ArrowCells::kInt64;
    type.dateUnit = DateUnit::kSeconds;
    type.divisor = PartsOfSecond(format[2]);
    type.nanoseconds = format[2] == 'n';
  } else if ((format.starts_with("tt") || format.starts_with("tD")) && format.size() == 3) {
    // Times of day and durations are numbers of seconds.
    const bool narrow = format == "tts" || format == "ttm";
    type.cells = narrow ? ArrowCells::kInt32 : ArrowCells::kInt64;
    type.divisor = PartsOfSecond(format[2]);
    type.nanoseconds = format[2] == 'n';
  }
  return type;
}

double HalfValue(std::uint16_t bits) {
  const int exponent = (bits >> 10) & 31;
  const int fraction = bits & 1023;
  const double magnitude = exponent == 31  ? (fraction == 0 ? INFINITY : NAN)
                           : exponent == 0 ? std::ldexp(fraction, -24)
                                           : std::ldexp(1024 + fraction, exponent - 25);
  return (bits & 0x8000) != 0 ? -magnitude : magnitude;
}

std::string DecimalText(const std::byte* bytes, int byteCount, int decimals) {
  constexpr int kMostWords = 8;
  std::uint32_t words[kMostWords] = {};
  const int wordCount = byteCount / 4;
  std::memcpy(words, bytes, static_cast<std::size_t>(byteCount));
  const bool negative = (words[wordCount - 1] >> 31) != 0;
  if (negative) {
    std::uint64_t carry = 1;
    for (int i = 0; i < wordCount; ++i) {
      carry += static_cast<std::uint32_t>(~words[i]);
      words[i] = static_cast<std::uint32_t>(carry);
      carry >>= 32;
    }
  }
  std::string digits;  // the last one first
  const auto isZero = [&] {
    return std::all_of(words, words + wordCount, [](std::uint32_t word) { return word == 0; });
  };
  while (!isZero()) {
    std::uint64_t rest = 0;
    for (int i = wordCount - 1; i >= 0; --i) {
      rest = (rest << 32) | words[i];
      words[i] = static_cast<std::uint32_t>(rest / 10);
      rest %= 10;
    }
    digits += static_cast<char>('0' + rest);
  }
  std::string text(digits.rbegin(), digits.rend());
  const auto places = static_cast<std::size_t>(decimals > 0 ? decimals : 0);
  if (text.size() <= places) text.insert(0, places + 1 - text.size(), '0');
  if (places > 0) text.insert(text.size() - places, ".");
  if (decimals < 0 && text != "0") text.append(static_cast<std::size_t>(-decimals), '0');
  return negative ? "-" + text : text;
}

std::int64_t ArrowColumn::DictionaryIndex(const ArrowArray& array, std::int64_t i) const {
  switch (indexType_.cells) {
    case ArrowCells::kInt8:
      return BufferOf<std::int8_t>(array, 1)[i];
    case ArrowCells::kUint8:
      return BufferOf<std::uint8_t>(array, 1)[i];
    case ArrowCells::kInt16:
      return BufferOf<std::int16_t>(array, 1)[i];
    case ArrowCells::kUint16:
      return BufferOf<std::uint16_t>(array, 1)[i];
    case ArrowCells::kInt32:
      return BufferOf<std::int32_t>(array, 1)[i];
    case ArrowCells::kUint32:
      return BufferOf<std::uint32_t>(array, 1)[i];
    default:
      return BufferOf<std::int64_t>(array, 1)[i];
  }
}

std::string_view ArrowColumn::ViewText(const ArrowArray& array, std::int64_t i) {
  const TextView view(array, i);
  const auto length = static_cast<std::size_t>(view.length);
  if (view.length <= TextView::kLongestInPlace)
    return {BufferOf<char>(array, 1) + TextView::kBytes * i + sizeof view.length, length};
  return {BufferOf<char>(array, kFirstTextBuffer + view.buffer) + view.offset, length};
}

bool ArrowColumn::ViewsFit(const ArrowArray& array) const {
  if (type_.cells != ArrowCells::kTextView) return true;
  const ArrowArray& texts = isDictionary_ ? *array.dictionary : array;
  const std::int64_t buffers = texts.n_buffers - kFirstTextBuffer - 1;  // the last one holds their sizes
  const auto* const sizes = BufferOf<std::int64_t>(texts, texts.n_buffers - 1);
  const std::uint8_t* const valid = ValidityOf(texts);
  for (std::int64_t i = texts.offset; i < texts.offset + texts.length; ++i) {
    if (valid != nullptr && !BitAt(valid, i)) continue;
    const TextView view(texts, i);
    const bool isInPlace = view.length >= 0 && view.length <= TextView::kLongestInPlace;
    if (isInPlace) continue;
    if (view.length < 0 || view.offset < 0 || view.buffer < 0 || view.buffer >= buffers ||
        std::int64_t{view.offset} + view.length > sizes[view.buffer])
      return false;
  }
  return true;
}

}  // namespace velmora
