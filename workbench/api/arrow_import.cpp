// Plain numbers stay where they are. Each other column is read over all batches in turn, a second
// time where its numbers turn out to need the digits of texts.
#include "workbench/api/arrow_import.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <span>
#include <string_view>

#include "workbench/cli/console.h"
#include "workbench/cli/progress_bar.h"
#include "workbench/data/column_builder.h"
#include "workbench/data/reader_parts.h"
#include "workbench/data/unicode.h"

namespace velmora {
namespace {

template <typename Value>
const Value* BufferOf(const ArrowArray& array, int index) {
  return index < array.n_buffers ? static_cast<const Value*>(array.buffers[index]) : nullptr;
}

bool BitAt(const std::uint8_t* bits, std::int64_t index) {
  return ((static_cast<unsigned>(bits[index / 8]) >> (index % 8)) & 1U) != 0;
}

// How the cells of a column are read.
enum class Cells {
  kLeftOut,
  kNull,
  kBool,
  kInt8,
  kUint8,
  kInt16,
  kUint16,
  kInt32,
  kUint32,
  kInt64,
  kUint64,
  kHalf,
  kFloat,
  kDouble,
  kText32,
  kText64,
  kTextView,
  kDecimal
};

struct CellType {
  Cells cells = Cells::kLeftOut;
  DateUnit dateUnit = DateUnit::kNone;
  double divisor = 1;  // of whole numbers that count parts of a unit
  int decimals = 0;    // of kDecimal
  int bytes = 0;       // of a kDecimal value
};

double PartsOfSecond(char unit) {
  switch (unit) {
    case 'm':
      return 1e3;
    case 'u':
      return 1e6;
    case 'n':
      return 1e9;
    default:
      return 1;
  }
}

// d:19,10 or d:19,10,256
CellType DecimalType(std::string_view format) {
  CellType type;
  int numbers[3] = {0, 0, 128};
  const char* at = format.data() + 2;
  const char* const end = format.data() + format.size();
  for (int& number : numbers) {
    const auto read = std::from_chars(at, end, number);
    if (read.ec != std::errc()) break;
    at = read.ptr < end ? read.ptr + 1 : end;
  }
  if (numbers[2] != 128) return type;
  type.cells = Cells::kDecimal;
  type.decimals = numbers[1];
  type.bytes = 16;
  return type;
}

CellType TypeOf(std::string_view format) {
  CellType type;
  if (format.size() == 1) {
    static constexpr std::string_view kFormats = "nbcCsSiIlLefgzuZU";
    static constexpr Cells kTypes[] = {
        Cells::kNull,   Cells::kBool,   Cells::kInt8,   Cells::kUint8,  Cells::kInt16, Cells::kUint16,
        Cells::kInt32,  Cells::kUint32, Cells::kInt64,  Cells::kUint64, Cells::kHalf,  Cells::kFloat,
        Cells::kDouble, Cells::kText32, Cells::kText32, Cells::kText64, Cells::kText64};
    const std::size_t at = kFormats.find(format.front());
    if (at != std::string_view::npos) type.cells = kTypes[at];
  } else if (format == "vu" || format == "vz") {
    type.cells = Cells::kTextView;
  } else if (format.starts_with("d:")) {
    type = DecimalType(format);
  } else if (format == "tdD") {
    type.cells = Cells::kInt32;
    type.dateUnit = DateUnit::kDays;
  } else if (format == "tdm") {
    type.cells = Cells::kInt64;
    type.dateUnit = DateUnit::kDays;
    type.divisor = 86400e3;
  } else if (format.starts_with("ts") && format.size() >= 3) {
    type.cells = Cells::kInt64;
    type.dateUnit = DateUnit::kSeconds;
    type.divisor = PartsOfSecond(format[2]);
  } else if ((format.starts_with("tt") || format.starts_with("tD")) && format.size() == 3) {
    // Times of day and durations are numbers of seconds.
    const bool narrow = format == "tts" || format == "ttm";
    type.cells = narrow ? Cells::kInt32 : Cells::kInt64;
    type.divisor = PartsOfSecond(format[2]);
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

// The digits of a 128-bit two's complement number with a decimal point.
std::string DecimalText(const std::byte* bytes, int decimals) {
  std::uint32_t words[4];
  std::memcpy(words, bytes, sizeof words);
  const bool negative = (words[3] >> 31) != 0;
  if (negative) {
    std::uint64_t carry = 1;
    for (std::uint32_t& word : words) {
      carry += static_cast<std::uint32_t>(~word);
      word = static_cast<std::uint32_t>(carry);
      carry >>= 32;
    }
  }
  std::string digits;  // the last one first
  while ((words[0] | words[1] | words[2] | words[3]) != 0) {
    std::uint64_t rest = 0;
    for (int i = 3; i >= 0; --i) {
      rest = (rest << 32) | words[i];
      words[i] = static_cast<std::uint32_t>(rest / 10);
      rest %= 10;
    }
    digits += static_cast<char>('0' + rest);
  }
  return (negative ? "-" : "") +
         std::string(digits.empty() ? "0" : std::string(digits.rbegin(), digits.rend())) + "e" +
         std::to_string(-decimals);
}

std::string_view ViewText(const ArrowArray& array, std::int64_t index) {
  const auto* const view = BufferOf<std::byte>(array, 1) + 16 * index;
  std::int32_t length = 0, buffer = 0, offset = 0;
  std::memcpy(&length, view, 4);
  if (length <= 12) return {reinterpret_cast<const char*>(view) + 4, static_cast<std::size_t>(length)};
  std::memcpy(&buffer, view + 8, 4);
  std::memcpy(&offset, view + 12, 4);
  return {BufferOf<char>(array, 2 + buffer) + offset, static_cast<std::size_t>(length)};
}

template <typename Offset>
std::string_view OffsetText(const ArrowArray& array, std::int64_t index) {
  const auto* const offsets = BufferOf<Offset>(array, 1);
  const Offset begin = offsets[index];
  if (offsets[index + 1] == begin) return {};
  return {BufferOf<char>(array, 2) + begin, static_cast<std::size_t>(offsets[index + 1] - begin)};
}

// Reads cells of one array into a builder.
class CellReader {
 public:
  CellReader(const ArrowArray& array, const CellType& type, bool asTexts, ColumnBuilder& builder)
      : array_(array),
        type_(type),
        asTexts_(asTexts),
        builder_(builder),
        valid_(BufferOf<std::uint8_t>(array, 0)) {
    if (array.null_count == 0) valid_ = nullptr;
  }

  // The cells from begin on, counted from the array's first buffer element.
  void AddRange(std::int64_t begin, std::int64_t count) {
    if (type_.cells == Cells::kDouble && valid_ == nullptr) {
      const double* const values = BufferOf<double>(array_, 1) + begin;
      for (std::int64_t i = 0; i < count; ++i) builder_.AddNumber(values[i]);
      return;
    }
    for (std::int64_t i = begin; i < begin + count && !builder_.NeedsTexts(); ++i) AddCell(i);
  }

  void AddCell(std::int64_t i) {
    if (type_.cells == Cells::kNull || (valid_ != nullptr && !BitAt(valid_, i))) return builder_.AddMissing();
    switch (type_.cells) {
      case Cells::kBool:
        return builder_.AddNumber(BitAt(BufferOf<std::uint8_t>(array_, 1), i) ? 1 : 0);
      case Cells::kInt8:
        return AddWhole<std::int8_t>(i);
      case Cells::kUint8:
        return AddWhole<std::uint8_t>(i);
      case Cells::kInt16:
        return AddWhole<std::int16_t>(i);
      case Cells::kUint16:
        return AddWhole<std::uint16_t>(i);
      case Cells::kInt32:
        return AddWhole<std::int32_t>(i);
      case Cells::kUint32:
        return AddWhole<std::uint32_t>(i);
      case Cells::kInt64:
        return AddWhole<std::int64_t>(i);
      case Cells::kUint64:
        return AddWhole<std::uint64_t>(i);
      case Cells::kHalf:
        return builder_.AddNumber(HalfValue(BufferOf<std::uint16_t>(array_, 1)[i]));
      case Cells::kFloat:
        return builder_.AddNumber(static_cast<double>(BufferOf<float>(array_, 1)[i]));
      case Cells::kDouble:
        return builder_.AddNumber(BufferOf<double>(array_, 1)[i]);
      case Cells::kText32:
        return AddText(OffsetText<std::int32_t>(array_, i));
      case Cells::kText64:
        return AddText(OffsetText<std::int64_t>(array_, i));
      case Cells::kTextView:
        return AddText(ViewText(array_, i));
      case Cells::kDecimal:
        return builder_.AddField(
            DecimalText(BufferOf<std::byte>(array_, 1) + type_.bytes * i, type_.decimals));
      case Cells::kNull:
      case Cells::kLeftOut:
        return builder_.AddMissing();
    }
  }

 private:
  // Beyond 2^53 a double must hold the very number, otherwise the column becomes text.
  template <typename Whole>
  void AddWhole(std::int64_t i) {
    const Whole cell = BufferOf<Whole>(array_, 1)[i];
    if (asTexts_) return builder_.AddText(std::to_string(cell));
    const auto value = static_cast<double>(cell);
    if (type_.divisor != 1) return builder_.AddNumber(value / type_.divisor);
    if (sizeof(Whole) < 8 || type_.dateUnit != DateUnit::kNone ||
        (value < 9.2e18 && static_cast<Whole>(value) == cell))
      return builder_.AddNumber(value);
    builder_.AddBigWhole();
  }

  void AddText(std::string_view text) {
    IsCleanText(text) ? builder_.AddText(text) : builder_.AddText(CleanText(text));
  }

  const ArrowArray& array_;
  const CellType& type_;
  bool asTexts_;
  ColumnBuilder& builder_;
  const std::uint8_t* valid_;
};

std::int64_t DictionaryIndex(const ArrowArray& array, Cells cells, std::int64_t i) {
  switch (cells) {
    case Cells::kInt8:
      return BufferOf<std::int8_t>(array, 1)[i];
    case Cells::kUint8:
      return BufferOf<std::uint8_t>(array, 1)[i];
    case Cells::kInt16:
      return BufferOf<std::int16_t>(array, 1)[i];
    case Cells::kUint16:
      return BufferOf<std::uint16_t>(array, 1)[i];
    case Cells::kInt32:
      return BufferOf<std::int32_t>(array, 1)[i];
    case Cells::kUint32:
      return BufferOf<std::uint32_t>(array, 1)[i];
    default:
      return BufferOf<std::int64_t>(array, 1)[i];
  }
}

bool IsText(Cells cells) {
  return cells == Cells::kText32 || cells == Cells::kText64 || cells == Cells::kTextView;
}

// One column of a table over all batches.
class ColumnSource {
 public:
  ColumnSource(const ArrowSchema& field, int index)
      : field_(field),
        index_(index),
        isDictionary_(field.dictionary != nullptr),
        indexType_(TypeOf(field.format)),
        type_(isDictionary_ ? TypeOf(field.dictionary->format) : indexType_) {}

  bool IsLeftOut() const {
    return type_.cells == Cells::kLeftOut || (isDictionary_ && indexType_.cells == Cells::kLeftOut);
  }

  void Read(const std::vector<ArrowArray>& batches, ColumnBuilder& builder) const {
    if (isDictionary_ && IsText(type_.cells)) builder.ForceText();
    ReadAll(batches, false, builder);
    if (!builder.NeedsTexts()) return;
    builder.RestartAsText();
    ReadAll(batches, true, builder);
  }

  // The cells where they lie, when nothing about them needs to change; otherwise none.
  std::span<const double> PlainNumbers(const std::vector<ArrowArray>& batches) const {
    if (isDictionary_ || type_.cells != Cells::kDouble || batches.size() != 1) return {};
    const ArrowArray& array = *batches.front().children[index_];
    if (array.null_count != 0 && BufferOf<std::uint8_t>(array, 0) != nullptr) return {};
    const auto* const buffer = BufferOf<double>(array, 1);
    if (reinterpret_cast<std::uintptr_t>(buffer) % alignof(double) != 0) return {};
    const std::span<const double> cells(buffer + array.offset + batches.front().offset,
                                        static_cast<std::size_t>(batches.front().length));
    const MissingRange missing(kMissing);
    const auto isPlain = [&](double cell) { return std::isfinite(cell) && !missing.Contains(cell); };
    return std::all_of(cells.begin(), cells.end(), isPlain) ? cells : std::span<const double>();
  }

  void Describe(Column& column) const {
    if (!column.fromText && type_.dateUnit != DateUnit::kNone) column.dateUnit = type_.dateUnit;
    if (isDictionary_) column.declaredMeasurement = Measurement::kCategorical;
    if (type_.cells != Cells::kBool) return;
    column.fromBoolean = true;
    column.labels = {{0, "false"}, {1, "true"}};
  }

 private:
  void ReadAll(const std::vector<ArrowArray>& batches, bool asTexts, ColumnBuilder& builder) const {
    for (const ArrowArray& batch : batches) {
      const ArrowArray& array = *batch.children[index_];
      const std::int64_t begin = array.offset + batch.offset;
      if (!isDictionary_) {
        CellReader(array, type_, asTexts, builder).AddRange(begin, batch.length);
        continue;
      }
      const std::uint8_t* const valid = array.null_count == 0 ? nullptr : BufferOf<std::uint8_t>(array, 0);
      CellReader values(*array.dictionary, type_, asTexts, builder);
      for (std::int64_t i = begin; i < begin + batch.length && !builder.NeedsTexts(); ++i) {
        if (valid != nullptr && !BitAt(valid, i)) {
          builder.AddMissing();
          continue;
        }
        const std::int64_t place = DictionaryIndex(array, indexType_.cells, i);
        if (place < 0 || place >= array.dictionary->length)
          throw DataError("Column " + std::string(field_.name == nullptr ? "" : field_.name) +
                          " refers to an entry that its dictionary does not have.");
        values.AddCell(array.dictionary->offset + place);
      }
    }
  }

  const ArrowSchema& field_;
  int index_;
  bool isDictionary_;
  CellType indexType_, type_;
};

}  // namespace

struct ArrowBatches::Held final : ValuesOwner {
  ~Held() override {
    for (ArrowArray& batch : batches) {
      if (batch.release != nullptr) batch.release(&batch);
    }
    if (schema.release != nullptr) schema.release(&schema);
  }

  ArrowSchema schema{};
  std::vector<ArrowArray> batches;
};

ArrowBatches::ArrowBatches(ArrowArrayStream& stream) : held_(std::make_shared<Held>()) {
  if (stream.release == nullptr) throw DataError("The Arrow stream has been released already.");
  ArrowArrayStream taken = stream;
  stream.release = nullptr;
  try {
    const auto check = [&](int code) {
      if (code == 0) return;
      const char* const text = taken.get_last_error(&taken);
      throw DataError("The Arrow stream cannot be read: " +
                      std::string(text != nullptr ? text : "it gives no reason") + ".");
    };
    check(taken.get_schema(&taken, &held_->schema));
    CheckSchema();
    for (;;) {
      // In its place from the start, so that a failure releases it.
      ArrowArray& batch = held_->batches.emplace_back();
      check(taken.get_next(&taken, &batch));
      if (batch.release == nullptr) break;
    }
    held_->batches.pop_back();  // the stream's end
  } catch (...) {
    taken.release(&taken);
    throw;
  }
  taken.release(&taken);
}

ArrowBatches::ArrowBatches(ArrowSchema& schema, ArrowArray& batch) : held_(std::make_shared<Held>()) {
  if (schema.release == nullptr || batch.release == nullptr)
    throw DataError("The Arrow schema or the batch has been released already.");
  held_->batches.reserve(1);
  held_->schema = schema;
  schema.release = nullptr;
  held_->batches.push_back(batch);
  batch.release = nullptr;
  CheckSchema();
}

void ArrowBatches::CheckSchema() const {
  if (held_->schema.format == nullptr || std::string_view(held_->schema.format) != "+s")
    throw DataError("The Arrow data are one column, not a table; pass record batches.");
}

std::int64_t ArrowBatches::RowCount() const {
  std::int64_t rows = 0;
  for (const ArrowArray& batch : held_->batches) rows += batch.length;
  return rows;
}

Table ArrowBatches::MakeTable(const std::vector<std::string>& missingTexts,
                              std::vector<std::string>& notices) const {
  std::vector<std::string> names;
  for (std::int64_t i = 0; i < held_->schema.n_children; ++i) {
    const char* const name = held_->schema.children[i]->name;
    names.push_back(CleanText(name == nullptr ? "" : name));
  }
  if (names.empty()) throw DataError("The table has no columns.");
  SettleNames(kTableName, names, notices);
  Table table;
  for (const ArrowArray& batch : held_->batches) {
    if (batch.null_count != 0 && BufferOf<std::uint8_t>(batch, 0) != nullptr)
      throw DataError("The Arrow data hold rows that are null as a whole.");
    if (batch.n_children != held_->schema.n_children)
      throw DataError("A batch of the Arrow data has " + std::to_string(batch.n_children) +
                      " columns where the schema has " + std::to_string(held_->schema.n_children) + ".");
    table.caseCount += batch.length;
  }
  if (table.caseCount == 0) throw DataError("The table has columns but no rows.");
  std::vector<ColumnNote> notes;
  ProgressBar bar;
  bar.Start("Reading the table");
  for (std::size_t i = 0; i < names.size(); ++i) {
    StopIfInterrupted();
    bar.Update(static_cast<double>(i) / static_cast<double>(names.size()));
    const auto index = static_cast<int>(i);
    const ColumnSource source(*held_->schema.children[i], index);
    if (source.IsLeftOut()) {
      notes.push_back(
          {ColumnNoteKind::kLeftOut, names[i], "Columns that no variable can hold are left out", ""});
      continue;
    }
    Column column;
    if (const std::span<const double> numbers = source.PlainNumbers(held_->batches); !numbers.empty()) {
      column.name = names[i];
      column.values = ColumnValues(numbers, held_);
    } else {
      ColumnBuilder builder(names[i], index + 1, false, &missingTexts);
      builder.Reserve(table.caseCount);
      source.Read(held_->batches, builder);
      column = builder.Finish(notes);
    }
    source.Describe(column);
    table.columns.push_back(std::move(column));
  }
  AppendSentences(notes, kTableName, notices);
  if (table.columns.empty()) throw DataError("The table has no column of numbers or texts.");
  return table;
}

}  // namespace velmora
