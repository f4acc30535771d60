// The protocol between velmora and velmora-read, the program that reads foreign files for it.
//
// They share a connection that keeps message boundaries and a few blocks of memory. velmora sends
// one request, then answers; velmora-read sends everything else. A block belongs to velmora-read
// until it is named in a message, and again after kFree. A block begins with its slices; the rest
// is the data that they describe (row_sink.h).
//
//   velmora       kRequest                    kColumns            kFree              kColumns
//   velmora-read            kBegin kAskChoice          kGrow kRows       kAskColumns          kRows ... kEnd
//
// Either kFailed from velmora-read or its death ends the reading.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <type_traits>

#include "workbench/data/foreign_file.h"

namespace velmora {

// Of velmora-read on POSIX systems.
inline constexpr int kSocketDescriptor = 3;
inline constexpr int kFileDescriptor = 4;
inline constexpr int kFirstBlockDescriptor = 5;
inline constexpr std::uint32_t kBlockCount = 4;
inline constexpr std::size_t kLongestMessage = 16384;
#ifdef _WIN32
inline constexpr char kReaderFile[] = "velmora-read.exe";
#else
inline constexpr char kReaderFile[] = "velmora-read";
#endif

enum class MessageType : std::uint32_t {
  kRequest,     // the text is a packed ReaderRequest
  kBegin,       // the block holds a packed ForeignHeader of size bytes
  kGrow,        // velmora-read needs a block of size bytes; the answer is kFree
  kRows,        // the block holds rowCount rows
  kProgress,    // fraction only
  kAskColumns,  // the rows have ended; the answer is kColumns
  kColumns,     // the block holds size column numbers: to deliver, or to deliver again as texts
  kEnd,         // the block holds packed ForeignDetails of size bytes
  kFailed,      // the text is a sentence for the user
  kFree,        // velmora-read may fill the block again, of size bytes in all
  kAskChoice,   // which columns to deliver; the answer is kColumns
};

struct Message {
  MessageType type = MessageType::kProgress;
  std::uint32_t block = 0;
  std::uint64_t size = 0;
  std::uint64_t sliceCount = 0;
  std::int64_t rowCount = 0;
  double fraction = 0;
  // Windows, in an answer: a new handle of the block for velmora-read, or 0 when it already has
  // one.
  std::uint64_t memory = 0;
};

struct ReaderRequest {
  std::string path;
  std::string address;  // of a source that is not a file
  std::string extension;
  int threads = 0;
  ReaderLimits limits;
  TablePart part;
  bool keepsUserMissing = false;
};

// Values end to end; texts and lists with their length first.
class Packer {
 public:
  template <class T>
  requires std::is_trivially_copyable_v<T>
  void Put(const T& value) { bytes_.append(reinterpret_cast<const char*>(&value), sizeof value); }
  void Put(const std::string& text) {
    Put(static_cast<std::uint64_t>(text.size()));
    bytes_ += text;
  }
  const std::string& Bytes() const { return bytes_; }

 private:
  std::string bytes_;
};

// Throws DataError where the bytes end too early.
class Unpacker {
 public:
  explicit Unpacker(std::string_view bytes) : bytes_(bytes) {}

  template <class T>
  requires std::is_trivially_copyable_v<T> T Take() {
    T value;
    std::memcpy(&value, Bytes(sizeof value).data(), sizeof value);
    return value;
  }
  std::string TakeText() { return std::string(Bytes(Take<std::uint64_t>())); }

 private:
  std::string_view Bytes(std::uint64_t count) {
    if (count > bytes_.size()) throw DataError("The reader of a data file has sent a damaged message.");
    const std::string_view taken = bytes_.substr(0, count);
    bytes_.remove_prefix(count);
    return taken;
  }

  std::string_view bytes_;
};

std::string Pack(const ReaderRequest& request);
std::string Pack(const ForeignHeader& header);
std::string Pack(const ForeignDetails& details);
ReaderRequest UnpackRequest(std::string_view bytes);
ForeignHeader UnpackHeader(std::string_view bytes);
ForeignDetails UnpackDetails(std::string_view bytes);

// velmora-read itself: serves the one request that comes. Returns the exit code.
int RunReaderProcess();

}  // namespace velmora
