// Arrow IPC. A stream is read from the front, message by message; a file (.feather is one, too) by
// its footer, which says where the messages are.
#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string_view>

#include "workbench/data/arrow_batch.h"
#include "workbench/data/arrow_cells.h"
#include "workbench/data/foreign_file.h"
#include "workbench/data/row_blocks.h"
#include "workbench/system/system.h"

namespace velmora {

namespace {

constexpr std::string_view kFileMark = "ARROW1";

// The members of the union MessageHeader in Arrow's Message.fbs.
enum class MessageKind : std::uint8_t { kNone, kSchema, kDictionary, kBatch };

// A message: its description and the place of its body.
struct ArrowMessage {
  std::vector<std::byte> description;
  std::int64_t body = 0;
  std::int64_t bodyBytes = 0;

  FlatTable Root() const { return FlatTable::Root(description); }
  int Version() const { return Root().Scalar<std::int16_t>(0, 0); }
  MessageKind Kind() const { return static_cast<MessageKind>(Root().Scalar<std::uint8_t>(1, 0)); }
  FlatTable Header() const { return Root().Table(2); }
  std::int64_t End() const { return body + bodyBytes; }
};

// The bytes of the file. Its functions throw ArrowError.
class ArrowBytes {
 public:
  explicit ArrowBytes(const std::string& openPath)
      : file_(PathOf(openPath), std::ios::binary),
        size_(static_cast<std::int64_t>(std::filesystem::file_size(PathOf(openPath)))) {
    if (!file_) throw ArrowError("it cannot be opened");
  }

  std::int64_t Size() const { return size_; }

  void Read(std::int64_t place, void* bytes, std::int64_t count) {
    if (place < 0 || count < 0 || place > size_ || count > size_ - place)
      throw ArrowError("it is cut short, or no Arrow file");
    file_.clear();
    file_.seekg(place);
    file_.read(static_cast<char*>(bytes), count);
    if (file_.gcount() != count) throw ArrowError("it cannot be read to its end");
  }

  // Returns false at the end of a stream. marked: whether an end marker was read.
  bool ReadMessage(std::int64_t place, ArrowMessage& message, bool& marked) {
    constexpr std::int32_t kContinuation = -1;
    marked = false;
    if (place == size_) return false;
    std::int32_t length = 0;
    Read(place, &length, sizeof length);
    place += sizeof length;
    if (length == kContinuation) {
      Read(place, &length, sizeof length);
      place += sizeof length;
    }
    if (length == 0) {
      marked = true;
      return false;
    }
    if (length < 0 || length > size_ - place) throw ArrowError("it is cut short, or no Arrow file");
    message.description.resize(static_cast<std::size_t>(length));
    Read(place, message.description.data(), length);
    message.body = place + length;
    message.bodyBytes = message.Root().Scalar<std::int64_t>(3, 0);
    if (message.bodyBytes < 0 || message.bodyBytes > size_ - message.body)
      throw ArrowError("it is cut short, or no Arrow file");
    return true;
  }

  ArrowBody ReadBody(const ArrowMessage& message) {
    ArrowBody body;
    body.size = static_cast<std::size_t>(message.bodyBytes);
    body.memory = std::shared_ptr<std::byte[]>(new std::byte[body.size]);
    Read(message.body, body.memory.get(), message.bodyBytes);
    return body;
  }

 private:
  std::ifstream file_;
  std::int64_t size_;
};

// The footer of a file: its schema and where its messages are.
class ArrowFooter {
 public:
  // Throws ArrowError when the file does not end with one.
  explicit ArrowFooter(ArrowBytes& bytes) {
    std::int32_t length = 0;
    std::array<char, kFileMark.size()> mark{};
    constexpr auto kTail = static_cast<std::int64_t>(sizeof length + kFileMark.size());
    const std::int64_t tail = bytes.Size() - kTail;
    if (tail >= static_cast<std::int64_t>(kFileMark.size())) {
      bytes.Read(tail, &length, sizeof length);
      bytes.Read(tail + static_cast<std::int64_t>(sizeof length), mark.data(), kFileMark.size());
    }
    if (std::string_view(mark.data(), mark.size()) != kFileMark || length <= 0 || length > tail)
      throw ArrowError("it is not whole, since it does not end as an Arrow file does");
    description_.resize(static_cast<std::size_t>(length));
    bytes.Read(tail - length, description_.data(), length);
  }

  int Version() const { return Root().Scalar<std::int16_t>(0, 0); }
  FlatTable Schema() const { return Root().Table(1); }
  // The places of the messages, those of dictionaries first.
  std::vector<std::int64_t> Messages() const {
    constexpr std::size_t kBlockBytes = 24;
    std::vector<std::int64_t> places;
    for (const std::size_t list : {2, 3}) {
      const FlatVector blocks = Root().Vector(list);
      for (std::size_t i = 0; i < blocks.Size(); ++i)
        places.push_back(blocks.Part<std::int64_t>(i, kBlockBytes, 0));
    }
    return places;
  }

 private:
  FlatTable Root() const { return FlatTable::Root(description_); }

  std::vector<std::byte> description_;
};

// Puts the cells of a column into the blocks of rows.
struct BlockCells {
  RowBlocks& blocks;
  std::size_t column;
  bool asTexts;

  static constexpr bool HasEnough() { return false; }
  void AddMissing() { blocks.AddMissing(column); }
  void AddNumber(double value) { blocks.AddNumber(column, value); }
  void AddDigits(std::string_view digits) { blocks.AddText(column, digits); }
  void AddText(std::string_view text) { blocks.AddText(column, text); }
  template <class Whole>
  void AddWhole(Whole cell) {
    if (asTexts) return blocks.AddText(column, std::to_string(cell));
    blocks.AddWhole(column, std::bit_cast<std::int64_t>(cell));
  }
};

class ArrowReader {
 public:
  ArrowReader(const ForeignFile& file, RowSink& sink) : file_(file), sink_(sink), bytes_(file.openPath) {}

  void Read() {
    const ArrowSchemaInfo schema = ReadSchema();
    const ForeignHeader header = Describe(schema);
    if (header.columns.empty()) throw ArrowError("it has no columns");
    RowBlocks blocks(file_.path, header, sink_);
    std::vector<bool> wanted(header.columns.size(), false);
    const auto want = [&](const std::vector<std::size_t>& columns) {
      std::fill(wanted.begin(), wanted.end(), false);
      for (const std::size_t i : columns) wanted[i] = true;
    };
    const std::vector<std::size_t> chosen = sink_.ColumnsToRead();
    blocks.Choose(chosen);
    want(chosen);
    Deliver(schema, wanted, false, blocks);
    ForeignDetails details;
    if (!hasEnd_)
      details.warnings.push_back(file_.path + " has no end-of-stream marker: rows may be missing.");
    const std::vector<std::size_t> again = sink_.ColumnsToRepeat();
    blocks.Repeat(again);
    want(again);
    if (!again.empty()) Deliver(schema, wanted, true, blocks);
    sink_.End(details);
  }

 private:
  ArrowSchemaInfo ReadSchema() {
    std::array<char, kFileMark.size()> mark{};
    bytes_.Read(0, mark.data(), std::min<std::int64_t>(bytes_.Size(), kFileMark.size()));
    const std::string_view start(mark.data(), mark.size());
    if (start.starts_with("FEA1"))
      throw ArrowError(
          "it is a Feather file of version 1; write it again with a program that writes version 2");
    if (start == kFileMark) {
      const ArrowFooter footer(bytes_);
      places_ = footer.Messages();
      isFile_ = true;
      return {footer.Schema(), footer.Version()};
    }
    ArrowMessage message;
    bool marked = false;
    if (!bytes_.ReadMessage(0, message, marked) || message.Kind() != MessageKind::kSchema)
      throw ArrowError("it does not begin with a description of its columns");
    begin_ = message.End();
    return {message.Header(), message.Version()};
  }

  ForeignHeader Describe(const ArrowSchemaInfo& schema) {
    ForeignHeader header;
    for (const ArrowField& field : schema.Fields()) {
      const ArrowColumn& source = columns_.emplace_back(field.name, field.format, field.indexFormat);
      ForeignColumn column;
      column.name = source.Name();
      if (!source.IsLeftOut()) column.kind = source.Type().Kind();
      column.dateUnit = source.Type().dateUnit;
      column.boolean = source.Type().cells == ArrowCells::kBool;
      if (source.IsDictionary()) column.declared = Measurement::kCategorical;
      header.columns.push_back(std::move(column));
    }
    return header;
  }

  void Deliver(const ArrowSchemaInfo& schema, const std::vector<bool>& wanted, bool asTexts,
               RowBlocks& blocks) {
    ArrowDictionaries dictionaries;
    ArrowMessage message;
    bool marked = false;
    const auto take = [&] {
      const auto fraction = static_cast<double>(message.End()) / static_cast<double>(bytes_.Size());
      if (!sink_.Progress(fraction)) throw Cancelled();
      if (message.Kind() == MessageKind::kDictionary)
        return TakeArrowDictionary(schema, message.Header(), bytes_.ReadBody(message), dictionaries);
      if (message.Kind() != MessageKind::kBatch)
        throw ArrowError("one of its messages is of an unknown kind");
      const FlatTable batch = message.Header();
      const auto columns = ReadArrowBatch(schema, dictionaries, batch, bytes_.ReadBody(message), wanted);
      DeliverRows(columns, batch.Scalar<std::int64_t>(0, 0), asTexts, fraction, blocks);
    };
    for (const std::int64_t place : places_) {
      if (!bytes_.ReadMessage(place, message, marked)) throw ArrowError("its footer does not fit it");
      take();
    }
    if (!isFile_) {
      for (std::int64_t place = begin_; bytes_.ReadMessage(place, message, marked); place = message.End())
        take();
      hasEnd_ = marked;
    }
    blocks.Flush(1);
  }

  void DeliverRows(const std::vector<std::shared_ptr<ArrowColumnArray>>& columns, std::int64_t rowCount,
                   bool asTexts, double fraction, RowBlocks& blocks) {
    for (std::size_t i = 0; i < columns.size(); ++i)
      if (columns[i] != nullptr && !columns_[i].ViewsFit(columns[i]->Array()))
        throw ArrowError("it is damaged, since a text of column " + columns_[i].Name() +
                         " does not lie within it");
    for (std::int64_t first = 0; first < rowCount;) {
      const std::int64_t count = std::min(rowCount - first, blocks.RowsLeft());
      for (std::size_t i = 0; i < columns.size(); ++i) {
        if (columns[i] == nullptr) continue;
        BlockCells cells{blocks, i, asTexts};
        if (!columns_[i].Read(columns[i]->Array(), first, count, cells))
          throw ArrowError("it is damaged, since column " + columns_[i].Name() +
                           " refers to an entry that its dictionary does not have");
      }
      blocks.EndRows(count, fraction);
      first += count;
    }
  }

  const ForeignFile& file_;
  RowSink& sink_;
  ArrowBytes bytes_;
  std::vector<ArrowColumn> columns_;
  bool isFile_ = false;
  std::vector<std::int64_t> places_;  // of a file's messages
  std::int64_t begin_ = 0;            // where a stream's messages after the schema begin
  bool hasEnd_ = true;
};

}  // namespace

void ReadArrow(const ForeignFile& file, RowSink& sink) {
  const auto fail = [&](const std::string& reason) {
    throw DataError("Cannot read " + file.path + ": " + reason + ".");
  };
  try {
    ArrowReader(file, sink).Read();
  } catch (const FlatBufferError& error) {
    fail("it is damaged, or no Arrow file (" + std::string(error.what()) + ")");
  } catch (const ArrowError& error) {
    fail(error.what());
  }
}

}  // namespace velmora
