// velmora-read: takes one request, runs the reader and fills the shared blocks with its rows.
#include <algorithm>
#include <array>
#include <chrono>
#include <cstring>
#include <new>

#include "workbench/data/reader_channel.h"

namespace velmora {

namespace channel {

namespace {

class ChannelSink : public RowSink {
 public:
  explicit ChannelSink(std::uint64_t idleCpuSeconds) : idleCpuSeconds_(idleCpuSeconds) {
    GrantProcessorTime(idleCpuSeconds_);
  }

  void Begin(const ForeignHeader& header) override {
    columnCount_ = header.columns.size();
    SendPacked(MessageType::kBegin, Pack(header));
  }

  std::byte* Buffer(std::uint64_t byteCount) override {
    slicesSize_ = BlockLayout().Add(0) + (columnCount_ * sizeof(ColumnSlice) + 63) / 64 * 64;
    return TakeBlock(slicesSize_ + byteCount) + slicesSize_;
  }

  void Deliver(std::span<const ColumnSlice> slices, std::int64_t rowCount, double fraction) override {
    std::memcpy(blocks_[current_].Memory(), slices.data(), slices.size_bytes());
    free_[current_] = false;
    Message message;
    message.type = MessageType::kRows;
    message.block = current_;
    message.size = slicesSize_;
    message.sliceCount = slices.size();
    message.rowCount = rowCount;
    message.fraction = fraction;
    Send(message);
    GrantProcessorTime(idleCpuSeconds_);
  }

  // Readers call this far more often than the display changes.
  bool Progress(double fraction) override {
    const auto now = std::chrono::steady_clock::now();
    if (now - lastProgress_ < std::chrono::milliseconds(50)) return true;
    lastProgress_ = now;
    Message message;
    message.fraction = fraction;
    Send(message);
    // The same fraction again does not count as progress.
    if (fraction > furthest_) GrantProcessorTime(idleCpuSeconds_);
    furthest_ = std::max(furthest_, fraction);
    return true;
  }

  std::vector<std::size_t> ColumnsToRead() override { return Ask(MessageType::kAskChoice); }

  std::vector<std::size_t> ColumnsToRepeat() override { return Ask(MessageType::kAskColumns); }

  void End(const ForeignDetails& details) override { SendPacked(MessageType::kEnd, Pack(details)); }

 private:
  // Column numbers.
  std::vector<std::size_t> Ask(MessageType question) {
    Message message;
    message.type = question;
    Send(message);
    for (;;) {
      const Message answer = Receive();
      if (answer.type == MessageType::kFree) {
        free_[answer.block % kBlockCount] = true;
        continue;
      }
      blocks_[0].Map(answer, answer.size * sizeof(std::uint64_t) + 1);
      const auto* const numbers = reinterpret_cast<const std::uint64_t*>(blocks_[0].Memory());
      furthest_ = 0;
      return {numbers, numbers + answer.size};
    }
  }

  void SendPacked(MessageType type, const std::string& bytes) {
    std::memcpy(TakeBlock(bytes.size() + 1), bytes.data(), bytes.size());
    free_[current_] = false;
    Message message;
    message.type = type;
    message.block = current_;
    message.size = bytes.size();
    Send(message);
  }

  // Waits for a free block and has it enlarged when it is too small.
  std::byte* TakeBlock(std::uint64_t byteCount) {
    current_ = kBlockCount;
    while (current_ == kBlockCount) {
      for (std::uint32_t i = 0; i < kBlockCount; ++i)
        if (free_[i]) current_ = i;
      if (current_ == kBlockCount) free_[Receive().block % kBlockCount] = true;
    }
    SharedBlock& block = blocks_[current_];
    if (block.Size() >= byteCount) return block.Memory();
    Message message;
    message.type = MessageType::kGrow;
    message.block = current_;
    message.size = byteCount + byteCount / 4;
    Send(message);
    for (;;) {
      const Message answer = Receive();
      free_[answer.block % kBlockCount] = true;
      if (answer.block == current_ && answer.size >= byteCount) {
        block.Map(answer, answer.size);
        return block.Memory();
      }
    }
  }

  std::uint64_t idleCpuSeconds_;
  std::array<SharedBlock, kBlockCount> blocks_;
  std::array<bool, kBlockCount> free_{true, true, true, true};
  std::uint32_t current_ = 0;
  std::size_t columnCount_ = 0;
  std::uint64_t slicesSize_ = 0;
  double furthest_ = 0;
  std::chrono::steady_clock::time_point lastProgress_;
};

void Serve(const ReaderRequest& request) {
  ForeignFile file{request.path,    request.address, request.extension,
                   request.threads, request.part,    request.keepsUserMissing};
  if (file.IsFile()) file.openPath = PathOfFile(request);
  ChannelSink sink(request.limits.idleCpuSeconds);
  RunForeignReader(file, sink);
}

void Fail(const std::string& sentence) {
  Message message;
  message.type = MessageType::kFailed;
  Send(message, std::string_view(sentence).substr(0, kLongestMessage / 2));
}

}  // namespace

}  // namespace channel

int RunReaderProcess() {
  using namespace channel;
  Open();
  std::string text;
  try {
    if (Receive(&text).type != MessageType::kRequest) return 2;
    const ReaderRequest request = UnpackRequest(text);
    Confine(request.limits);
    try {
      Serve(request);
    } catch (const DataError& error) {
      Fail(error.what());
    } catch (const std::bad_alloc&) {
      Fail("Cannot read " + request.path + ": reading it needs more memory than there is.");
    } catch (const std::exception& error) {
      Fail("Cannot read " + request.path + ": " + error.what() + ".");
    }
  } catch (const Disconnected&) {
    return 1;
  }
  return 0;
}

}  // namespace velmora
