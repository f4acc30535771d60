#include "workbench/data/arrow_batch.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <map>

#include "workbench/data/arrow_cells.h"

namespace velmora {

namespace {

// The members of the union Type in Arrow's Schema.fbs.
enum class TypeId : std::uint8_t {
  kNull = 1,
  kInt,
  kFloat,
  kBinary,
  kUtf8,
  kBool,
  kDecimal,
  kDate,
  kTime,
  kTimestamp,
  kInterval,
  kList,
  kStruct,
  kUnion,
  kFixedBinary,
  kFixedList,
  kMap,
  kDuration,
  kLargeBinary,
  kLargeUtf8,
  kLargeList,
  kRunEndEncoded,
  kBinaryView,
  kUtf8View,
  kListView,
  kLargeListView
};

std::string IntFormat(const FlatTable& type) {
  const bool isSigned = type.Scalar<std::uint8_t>(1, 0) != 0;
  switch (type.Scalar<std::int32_t>(0, 0)) {
    case 8:
      return isSigned ? "c" : "C";
    case 16:
      return isSigned ? "s" : "S";
    case 32:
      return isSigned ? "i" : "I";
    case 64:
      return isSigned ? "l" : "L";
    default:
      return {};
  }
}

// s, m, u or n
std::string Unit(const FlatTable& type, std::int16_t otherwise) {
  static constexpr std::string_view kUnits = "smun";
  const auto unit = type.Scalar<std::int16_t>(0, otherwise);
  return unit < 0 || unit > 3 ? "" : std::string(kUnits.substr(static_cast<std::size_t>(unit), 1));
}

// The format of a type that a variable can hold; empty for any other.
std::string FormatOf(TypeId id, const FlatTable& type) {
  constexpr std::int16_t kMilliseconds = 1;
  switch (id) {
    case TypeId::kNull:
      return "n";
    case TypeId::kInt:
      return IntFormat(type);
    case TypeId::kFloat: {
      static constexpr std::string_view kWidths = "efg";
      const auto width = type.Scalar<std::int16_t>(0, 0);
      return width < 0 || width > 2 ? "" : std::string(kWidths.substr(static_cast<std::size_t>(width), 1));
    }
    case TypeId::kBinary:
      return "z";
    case TypeId::kUtf8:
      return "u";
    case TypeId::kBool:
      return "b";
    case TypeId::kDecimal:
      return "d:" + std::to_string(type.Scalar<std::int32_t>(0, 0)) + "," +
             std::to_string(type.Scalar<std::int32_t>(1, 0)) + "," +
             std::to_string(type.Scalar<std::int32_t>(2, 128));
    case TypeId::kDate:
      return type.Scalar<std::int16_t>(0, kMilliseconds) == 0 ? "tdD" : "tdm";
    case TypeId::kTime:
      return "tt" + Unit(type, kMilliseconds);
    case TypeId::kTimestamp:
      return "ts" + Unit(type, 0) + ":";
    case TypeId::kDuration:
      return "tD" + Unit(type, kMilliseconds);
    case TypeId::kLargeBinary:
      return "Z";
    case TypeId::kLargeUtf8:
      return "U";
    case TypeId::kBinaryView:
      return "vz";
    case TypeId::kUtf8View:
      return "vu";
    default:
      return {};
  }
}

// The buffers of a field in a batch, as "Buffer listing for each layout" of Arrow's columnar format
// counts them.
int BufferCount(TypeId id, const FlatTable& type, int metadataVersion) {
  constexpr int kUnionsWithValidity = 3;  // V4 and older
  switch (id) {
    case TypeId::kNull:
    case TypeId::kRunEndEncoded:
      return 0;
    case TypeId::kStruct:
    case TypeId::kFixedList:
      return 1;
    case TypeId::kUnion: {
      const bool isDense = type.Scalar<std::int16_t>(0, 0) == 1;
      return 1 + (isDense ? 1 : 0) + (metadataVersion <= kUnionsWithValidity ? 1 : 0);
    }
    case TypeId::kBinary:
    case TypeId::kUtf8:
    case TypeId::kLargeBinary:
    case TypeId::kLargeUtf8:
    case TypeId::kListView:
    case TypeId::kLargeListView:
      return 3;
    default:
      return 2;
  }
}

ArrowField ReadField(const FlatTable& field, int metadataVersion, int depth) {
  constexpr int kDeepest = 64;
  if (depth > kDeepest) throw ArrowError("its columns are nested too deep");
  const auto id = static_cast<TypeId>(field.Scalar<std::uint8_t>(2, 0));
  const FlatTable type = field.Table(3);
  ArrowField read;
  read.name = field.Text(0);
  read.format = FormatOf(id, type);
  read.isView = id == TypeId::kBinaryView || id == TypeId::kUtf8View;
  read.bufferCount = BufferCount(id, type, metadataVersion);
  const FlatVector children = field.Vector(5);
  for (std::size_t i = 0; i < children.Size(); ++i)
    read.children.push_back(ReadField(children.Table(i), metadataVersion, depth + 1));
  if (field.Has(4)) {
    const FlatTable dictionary = field.Table(4);
    read.dictionary = dictionary.Scalar<std::int64_t>(0, 0);
    read.indexFormat = dictionary.Has(1) ? IntFormat(dictionary.Table(1)) : "i";
    if (read.indexFormat.empty()) throw ArrowError("a dictionary has indices of an unknown type");
  }
  return read;
}

// Bytes per cell: of its value, or for texts of its offset or view. 0: less than one byte.
std::int64_t CellBytes(const ArrowCellType& type) {
  switch (type.cells) {
    case ArrowCells::kNull:
    case ArrowCells::kBool:
    case ArrowCells::kLeftOut:
      return 0;
    case ArrowCells::kInt8:
    case ArrowCells::kUint8:
      return 1;
    case ArrowCells::kInt16:
    case ArrowCells::kUint16:
    case ArrowCells::kHalf:
      return 2;
    case ArrowCells::kInt32:
    case ArrowCells::kUint32:
    case ArrowCells::kFloat:
    case ArrowCells::kText32:
      return 4;
    case ArrowCells::kInt64:
    case ArrowCells::kUint64:
    case ArrowCells::kDouble:
    case ArrowCells::kText64:
      return 8;
    case ArrowCells::kTextView:
      return 16;
    case ArrowCells::kDecimal:
      return type.bytes;
  }
  return 0;
}

template <class Offset>
bool OffsetsFit(std::span<const std::byte> bytes, std::int64_t count, std::size_t textBytes) {
  const std::span<const Offset> offsets(reinterpret_cast<const Offset*>(bytes.data()),
                                        static_cast<std::size_t>(count) + 1);
  return offsets.front() >= 0 && std::is_sorted(offsets.begin(), offsets.end()) &&
         static_cast<std::uint64_t>(offsets.back()) <= textBytes;
}

}  // namespace

ArrowSchemaInfo::ArrowSchemaInfo(const FlatTable& schema, int metadataVersion) {
  if (schema.Scalar<std::int16_t>(0, 0) != 0)
    throw ArrowError("its numbers are in the byte order of other machines");
  const FlatVector fields = schema.Vector(1);
  for (std::size_t i = 0; i < fields.Size(); ++i)
    fields_.push_back(ReadField(fields.Table(i), metadataVersion, 0));
  std::map<std::int64_t, std::string> entries;  // the format of the entries of each dictionary
  for (const ArrowField& field : fields_) {
    if (!field.IsDictionary() || field.format.empty()) continue;
    if (entries.emplace(field.dictionary, field.format).first->second != field.format)
      throw ArrowError("two of its columns use one dictionary as different types");
  }
}

// Takes the nodes and buffers of a batch in their order, field by field.
class ArrowBatchReader {
 public:
  ArrowBatchReader(const FlatTable& batch, const ArrowBody& body)
      : body_(body),
        rowCount_(batch.Scalar<std::int64_t>(0, 0)),
        nodes_(batch.Vector(1)),
        buffers_(batch.Vector(2)),
        views_(batch.Vector(4)),
        isPacked_(batch.Has(3)) {
    if (rowCount_ < 0 || rowCount_ > std::numeric_limits<std::int64_t>::max() / 64) Fail();
    if (isPacked_) codec_ = static_cast<ArrowCodec>(batch.Table(3).Scalar<std::int8_t>(0, 0));
  }

  void Skip(const ArrowField& field) {
    ++node_;
    if (field.IsDictionary()) {
      buffer_ += 2;
      return;
    }
    buffer_ += static_cast<std::size_t>(field.bufferCount) + ViewBuffers(field);
    for (const ArrowField& child : field.children) Skip(child);
  }

  // format: of the cells, or of the indices of a dictionary.
  std::shared_ptr<ArrowColumnArray> Read(const ArrowField& field, const std::string& format) {
    auto column = std::make_shared<ArrowColumnArray>();
    column->body_ = body_.memory;
    const ArrowCellType type = ArrowCellTypeOf(format);
    column->array_.length = Length();
    column->array_.null_count = nodes_.Part<std::int64_t>(node_++, kNodeBytes, kNullsPlace);
    const std::int64_t count = column->array_.length;
    if (type.cells != ArrowCells::kNull) {
      const auto bits = TakeBuffer(*column);
      if (column->array_.null_count != 0 && !bits.empty()) Require(bits, (count + 7) / 8);
      column->buffers_.push_back(bits.empty() ? nullptr : bits.data());
      if (bits.empty()) column->array_.null_count = 0;
      TakeCells(type, field, count, *column);
    }
    column->array_.n_buffers = static_cast<std::int64_t>(column->buffers_.size());
    column->array_.buffers = column->buffers_.data();
    return column;
  }

  static void SetDictionary(ArrowColumnArray& column, const std::shared_ptr<ArrowColumnArray>& entries) {
    column.dictionary_ = entries;
    column.array_.dictionary = &entries->array_;
  }

  [[noreturn]] static void Fail() { throw ArrowError("a batch does not fit its description"); }

 private:
  static constexpr std::size_t kNodeBytes = 16;  // length, nulls
  static constexpr std::size_t kNullsPlace = 8;
  static constexpr std::size_t kBufferBytes = 16;  // place, length

  std::int64_t Length() const {
    const auto length = nodes_.Part<std::int64_t>(node_, kNodeBytes, 0);
    if (length != rowCount_) Fail();
    return length;
  }

  std::size_t ViewBuffers(const ArrowField& field) {
    if (!field.isView) return 0;
    const auto count = views_.Part<std::int64_t>(view_++, sizeof(std::int64_t), 0);
    if (count < 0 || static_cast<std::uint64_t>(count) > buffers_.Size()) Fail();
    return static_cast<std::size_t>(count);
  }

  static void Require(std::span<const std::byte> bytes, std::int64_t wanted) {
    if (static_cast<std::int64_t>(bytes.size()) < wanted) Fail();
  }

  void TakeCells(const ArrowCellType& type, const ArrowField& field, std::int64_t count,
                 ArrowColumnArray& column) {
    const auto cells = TakeBuffer(column);
    column.buffers_.push_back(cells.data());
    if (type.cells == ArrowCells::kText32 || type.cells == ArrowCells::kText64) {
      const auto texts = TakeBuffer(column);
      column.buffers_.push_back(texts.data());
      if (count == 0) return;
      Require(cells, (count + 1) * CellBytes(type));
      if (!(type.cells == ArrowCells::kText32 ? OffsetsFit<std::int32_t>(cells, count, texts.size())
                                              : OffsetsFit<std::int64_t>(cells, count, texts.size())))
        Fail();
      return;
    }
    Require(cells, type.cells == ArrowCells::kBool ? (count + 7) / 8 : count * CellBytes(type));
    if (type.cells != ArrowCells::kTextView) return;
    for (std::size_t left = ViewBuffers(field); left > 0; --left) {
      const auto texts = TakeBuffer(column);
      column.buffers_.push_back(texts.data());
      column.sizes_.push_back(static_cast<std::int64_t>(texts.size()));
    }
    column.buffers_.push_back(column.sizes_.data());
  }

  // The next buffer, unpacked and aligned for numbers.
  std::span<const std::byte> TakeBuffer(ArrowColumnArray& column) {
    const auto place = buffers_.Part<std::int64_t>(buffer_, kBufferBytes, 0);
    const auto length = buffers_.Part<std::int64_t>(buffer_++, kBufferBytes, kNullsPlace);
    if (place < 0 || length < 0 || static_cast<std::uint64_t>(place) > body_.size ||
        static_cast<std::uint64_t>(length) > body_.size - static_cast<std::size_t>(place))
      Fail();
    std::span<const std::byte> bytes(body_.memory.get() + place, static_cast<std::size_t>(length));
    if (!isPacked_ || bytes.empty()) return Aligned(bytes, column);
    const auto unpackedBytes = FlatTable::ValueAt<std::int64_t>(bytes, 0);
    bytes = bytes.subspan(sizeof unpackedBytes);
    constexpr std::int64_t kNotPacked = -1;
    if (unpackedBytes == kNotPacked) return Aligned(bytes, column);
    // A zstd block of four bytes or more unpacks to at most 2^17 bytes; LZ4 unpacks to far fewer.
    constexpr std::int64_t kMostPerByte = std::int64_t{1} << 16;
    if (unpackedBytes < 0 || unpackedBytes / kMostPerByte > static_cast<std::int64_t>(bytes.size())) Fail();
    const std::span<std::byte> unpacked = Own(static_cast<std::size_t>(unpackedBytes), column);
    UnpackArrowBuffer(codec_, bytes, unpacked);
    return unpacked;
  }

  static std::span<std::byte> Own(std::size_t size, ArrowColumnArray& column) {
    std::unique_ptr<std::byte[]>& owned =
        column.unpacked_.emplace_back(std::make_unique_for_overwrite<std::byte[]>(size));
    return {owned.get(), size};
  }

  static std::span<const std::byte> Aligned(std::span<const std::byte> bytes, ArrowColumnArray& column) {
    constexpr std::size_t kAlignment = 8;
    if (reinterpret_cast<std::uintptr_t>(bytes.data()) % kAlignment == 0) return bytes;
    const std::span<std::byte> copy = Own(bytes.size(), column);
    std::copy(bytes.begin(), bytes.end(), copy.begin());
    return copy;
  }

  const ArrowBody& body_;
  std::int64_t rowCount_;
  FlatVector nodes_, buffers_, views_;
  bool isPacked_;
  ArrowCodec codec_ = ArrowCodec::kLz4;
  std::size_t node_ = 0, buffer_ = 0, view_ = 0;
};

namespace {

// The field whose entries are in the dictionary; null when no variable can hold them.
const ArrowField* FieldOfDictionary(const ArrowSchemaInfo& schema, std::int64_t dictionary) {
  const auto isIt = [&](const ArrowField& field) {
    return field.IsDictionary() && field.dictionary == dictionary && !field.format.empty();
  };
  const auto found = std::find_if(schema.Fields().begin(), schema.Fields().end(), isIt);
  return found == schema.Fields().end() ? nullptr : &*found;
}

}  // namespace

std::vector<std::shared_ptr<ArrowColumnArray>> ReadArrowBatch(const ArrowSchemaInfo& schema,
                                                              const ArrowDictionaries& dictionaries,
                                                              const FlatTable& batch, const ArrowBody& body,
                                                              const std::vector<bool>& wanted) {
  ArrowBatchReader reader(batch, body);
  std::vector<std::shared_ptr<ArrowColumnArray>> columns(schema.Fields().size());
  for (std::size_t i = 0; i < columns.size(); ++i) {
    const ArrowField& field = schema.Fields()[i];
    if (!wanted[i]) {
      reader.Skip(field);
      continue;
    }
    columns[i] = reader.Read(field, field.IsDictionary() ? field.indexFormat : field.format);
    if (!field.IsDictionary()) continue;
    const auto entries = dictionaries.find(field.dictionary);
    if (entries == dictionaries.end()) throw ArrowError("the dictionary of a column is missing");
    ArrowBatchReader::SetDictionary(*columns[i], entries->second);
  }
  return columns;
}

void TakeArrowDictionary(const ArrowSchemaInfo& schema, const FlatTable& batch, const ArrowBody& body,
                         ArrowDictionaries& dictionaries) {
  const auto id = batch.Scalar<std::int64_t>(0, 0);
  const ArrowField* const field = FieldOfDictionary(schema, id);
  if (field == nullptr) return;
  const bool isMore = batch.Scalar<std::uint8_t>(2, 0) != 0;
  const auto before = dictionaries.find(id);
  if (isMore && before != dictionaries.end() && before->second->Array().length > 0)
    throw ArrowError("one of its dictionaries comes in parts, which are not read");
  dictionaries[id] = ArrowBatchReader(batch.Table(1), body).Read(*field, field->format);
}

}  // namespace velmora
