// Has velmora-read read a file, and takes the rows out of the shared blocks while it fills the next
// ones.
#include <algorithm>
#include <cstring>
#include <fstream>
#include <system_error>

#include "workbench/data/reader_peer.h"
#include "workbench/data/table_sink.h"
#include "workbench/system/system.h"

namespace velmora {

namespace {

class ReaderProcess {
 public:
  ReaderProcess(const ForeignFile& source, const ReaderLimits& limits)
      : path_(source.path), peer_(source, limits) {
    Message message;
    message.type = MessageType::kRequest;
    peer_.Send(message, Pack(ReaderRequest{source.path, source.openPath, source.extension, source.threads,
                                           limits, source.part, source.keepsUserMissing}));
  }

  // Hands over everything that the process sends.
  void Run(TableSink& sink) {
    double fraction = 0;
    for (;;) {
      const bool hasMessage = peer_.Wait();
      if (!sink.Progress(fraction)) throw Cancelled();
      if (!hasMessage) continue;
      std::string text;
      const Message message = peer_.Receive(text);
      fraction = message.fraction;
      switch (message.type) {
        case MessageType::kProgress:
          break;
        case MessageType::kGrow:
          CheckBlock(message);
          peer_.Grow(message.block, message.size);
          Free(message.block);
          break;
        case MessageType::kBegin:
          sink.Begin(UnpackHeader(Packed(message)));
          Free(message.block);
          break;
        case MessageType::kRows:
          TakeRows(message, sink);
          Free(message.block);
          break;
        case MessageType::kAskChoice:
          AnswerColumns(sink.ColumnsToRead());
          break;
        case MessageType::kAskColumns:
          AnswerColumns(sink.ColumnsToRepeat());
          break;
        case MessageType::kEnd:
          return sink.End(UnpackDetails(Packed(message)));
        case MessageType::kFailed:
          throw DataError(text);
        default:
          throw Damaged();
      }
    }
  }

 private:
  DataError Damaged() const {
    return DataError("Cannot read " + path_ + ": the file is damaged, and its reader has lost track of it.");
  }

  void CheckBlock(const Message& message) const {
    if (message.block >= kBlockCount) throw Damaged();
  }

  void Free(std::uint32_t block) {
    Message message;
    message.type = MessageType::kFree;
    message.block = block;
    message.size = peer_.Block(block).size();
    peer_.Send(message);
  }

  // The block of a message, which holds its size.
  std::span<std::byte> BytesOf(const Message& message) const {
    CheckBlock(message);
    const std::span<std::byte> bytes = peer_.Block(message.block);
    if (message.size > bytes.size()) throw Damaged();
    return bytes;
  }

  std::string Packed(const Message& message) const {
    return {reinterpret_cast<const char*>(BytesOf(message).data()), message.size};
  }

  void TakeRows(const Message& message, TableSink& sink) const {
    const std::span<std::byte> bytes = BytesOf(message);
    if (message.sliceCount > message.size / sizeof(ColumnSlice)) throw Damaged();
    std::vector<ColumnSlice> slices(message.sliceCount);
    if (!slices.empty()) std::memcpy(slices.data(), bytes.data(), slices.size() * sizeof(ColumnSlice));
    sink.Take(bytes.subspan(message.size), slices, message.rowCount);
  }

  void AnswerColumns(const std::vector<std::size_t>& columns) {
    const std::vector<std::uint64_t> numbers(columns.begin(), columns.end());
    peer_.Grow(0, numbers.size() * sizeof(std::uint64_t) + 1);
    if (!numbers.empty())
      std::memcpy(peer_.Block(0).data(), numbers.data(), numbers.size() * sizeof(std::uint64_t));
    Message message;
    message.type = MessageType::kColumns;
    message.size = numbers.size();
    peer_.Send(message);
  }

  const std::string& path_;
  ReaderPeer peer_;
};

// How deeply the lists and objects of a JSON text are nested.
std::uint64_t NestingDepth(const std::string& path) {
  std::ifstream file(PathOf(path), std::ios::binary);
  std::vector<char> bytes(std::size_t{1} << 16);
  std::uint64_t depth = 0, deepest = 0;
  bool isText = false, isEscaped = false;
  while (file.read(bytes.data(), static_cast<std::streamsize>(bytes.size())), file.gcount() > 0) {
    for (const char c : std::span(bytes).first(static_cast<std::size_t>(file.gcount()))) {
      if (isText) {
        isText = isEscaped || c != '"';
        isEscaped = !isEscaped && c == '\\';
      } else if (c == '"') {
        isText = true;
      } else if (c == '[' || c == '{') {
        deepest = std::max(deepest, ++depth);
      } else if ((c == ']' || c == '}') && depth > 0) {
        --depth;
      }
    }
  }
  return deepest;
}

// Throws when the reader probably crashed because the file is nested too deeply.
void RefuseDeepNesting(const ForeignFile& file) {
  constexpr std::uint64_t kDeepest = 1000;  // far below what a stack holds
  if (file.extension != "json" && file.extension != "jsonl" && file.extension != "ndjson") return;
  const std::uint64_t depth = NestingDepth(file.openPath);
  if (depth > kDeepest)
    throw DataError("Cannot read " + file.path + ": its values are nested " + std::to_string(depth) +
                    " deep, more than can be read.");
}

}  // namespace

std::filesystem::path FindReader() {
  std::error_code error;
  for (const std::filesystem::path& folder : {LibraryFolder(), ExecutableFolder()}) {
    if (folder.empty()) continue;  // never from the current folder
    for (const std::filesystem::path& place : {folder, folder.parent_path(), folder.parent_path() / "bin"})
      if (std::filesystem::is_regular_file(place / kReaderFile, error)) return place / kReaderFile;
  }
  return {};
}

void ReadForeignFile(const ForeignFile& file, const ReadOptions& options, const ReaderLimits& limits,
                     Table& table, std::vector<std::string>& warnings) {
  TableSink sink(file.path, options, FileBytes(file));
  try {
    ReaderProcess(file, limits).Run(sink);
  } catch (const ReaderCrashed&) {
    RefuseDeepNesting(file);
    throw;
  } catch (const std::system_error& error) {
    throw DataError("Cannot read " + file.path + ": " + error.code().message() + ".");
  }
  sink.MoveInto(table, warnings);
}

}  // namespace velmora
