// velmora-read: takes one request, gives up what a reader does not need (writing files, memory,
// processor time), runs the reader and fills the shared blocks with its rows.
#include <fcntl.h>
#include <linux/landlock.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <ctime>
#include <new>

#include "workbench/data/reader_protocol.h"

#if defined(__SANITIZE_ADDRESS__)
#define VELMORA_ADDRESS_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define VELMORA_ADDRESS_SANITIZER 1
#endif
#endif

namespace velmora {

namespace {

// velmora has ended; there is nobody to report to.
struct Disconnected {};

void Send(const Message& message, std::string_view text = {}) {
  std::array<iovec, 2> parts = {iovec{const_cast<Message*>(&message), sizeof message},
                                iovec{const_cast<char*>(text.data()), text.size()}};
  msghdr header{};
  header.msg_iov = parts.data();
  header.msg_iovlen = parts.size();
  for (;;) {
    if (sendmsg(kSocketDescriptor, &header, MSG_NOSIGNAL) >= 0) return;
    if (errno != EINTR) throw Disconnected();
  }
}

Message Receive(std::string* text = nullptr) {
  Message message;
  std::array<char, kLongestMessage> bytes;
  for (;;) {
    std::array<iovec, 2> parts = {iovec{&message, sizeof message}, iovec{bytes.data(), bytes.size()}};
    msghdr header{};
    header.msg_iov = parts.data();
    header.msg_iovlen = parts.size();
    const ssize_t count = recvmsg(kSocketDescriptor, &header, 0);
    if (count < 0 && errno == EINTR) continue;
    if (count < static_cast<ssize_t>(sizeof message)) throw Disconnected();
    if (text != nullptr) text->assign(bytes.data(), static_cast<std::size_t>(count) - sizeof message);
    return message;
  }
}

// No file can be made, written, renamed or removed any more. Where the kernel lacks Landlock, files
// can at least not grow.
void GiveUpWriting() {
  const rlimit nothing{0, 0};
  setrlimit(RLIMIT_FSIZE, &nothing);
  setrlimit(RLIMIT_CORE, &nothing);
  prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
  landlock_ruleset_attr rules{};
  rules.handled_access_fs =
      LANDLOCK_ACCESS_FS_EXECUTE | LANDLOCK_ACCESS_FS_WRITE_FILE | LANDLOCK_ACCESS_FS_REMOVE_DIR |
      LANDLOCK_ACCESS_FS_REMOVE_FILE | LANDLOCK_ACCESS_FS_MAKE_CHAR | LANDLOCK_ACCESS_FS_MAKE_DIR |
      LANDLOCK_ACCESS_FS_MAKE_REG | LANDLOCK_ACCESS_FS_MAKE_SOCK | LANDLOCK_ACCESS_FS_MAKE_FIFO |
      LANDLOCK_ACCESS_FS_MAKE_BLOCK | LANDLOCK_ACCESS_FS_MAKE_SYM;
  const auto ruleset =
      static_cast<int>(syscall(SYS_landlock_create_ruleset, &rules, sizeof rules, std::uint32_t{0}));
  if (ruleset < 0) return;
  syscall(SYS_landlock_restrict_self, ruleset, std::uint32_t{0});
  close(ruleset);
}

// The data segment holds all private memory. The address sanitizer's shadow memory counts too, so
// there is no limit under it.
void LimitMemory([[maybe_unused]] std::uint64_t bytes) {
#ifndef VELMORA_ADDRESS_SANITIZER
  if (bytes == 0) return;
  const rlimit limit{bytes, bytes};
  setrlimit(RLIMIT_DATA, &limit);
#endif
}

// Sets the processor time at which the system ends this process: so many seconds from now,
// unless progress moves it again.
void GrantProcessorTime(std::uint64_t seconds) {
  if (seconds == 0) return;
  timespec used{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &used);
  const rlimit limit{static_cast<rlim_t>(used.tv_sec) + seconds + 1, RLIM_INFINITY};
  setrlimit(RLIMIT_CPU, &limit);
}

class SharedBlock {
 public:
  ~SharedBlock() { Unmap(); }
  std::byte* Memory() const { return memory_; }
  std::uint64_t Size() const { return size_; }
  void Map(int descriptor, std::uint64_t size) {
    Unmap();
    void* const memory = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
    if (memory == MAP_FAILED) throw std::bad_alloc();
    memory_ = static_cast<std::byte*>(memory);
    size_ = size;
  }

 private:
  void Unmap() {
    if (memory_ != nullptr) munmap(memory_, size_);
    memory_ = nullptr;
    size_ = 0;
  }

  std::byte* memory_ = nullptr;
  std::uint64_t size_ = 0;
};

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

  // Readers call this far more often than anybody looks.
  bool Progress(double fraction) override {
    const auto now = std::chrono::steady_clock::now();
    if (now - lastProgress_ < std::chrono::milliseconds(50)) return true;
    lastProgress_ = now;
    Message message;
    message.fraction = fraction;
    Send(message);
    // The same fraction again is no progress.
    if (fraction > furthest_) GrantProcessorTime(idleCpuSeconds_);
    furthest_ = std::max(furthest_, fraction);
    return true;
  }

  std::vector<std::size_t> ColumnsToRepeat() override {
    Message message;
    message.type = MessageType::kAskColumns;
    Send(message);
    for (;;) {
      const Message answer = Receive();
      if (answer.type == MessageType::kFree) {
        free_[answer.block % kBlockCount] = true;
        continue;
      }
      blocks_[0].Map(kFirstBlockDescriptor, answer.size * sizeof(std::uint64_t) + 1);
      const auto* const numbers = reinterpret_cast<const std::uint64_t*>(blocks_[0].Memory());
      furthest_ = 0;
      return {numbers, numbers + answer.size};
    }
  }

  void End(const ForeignDetails& details) override { SendPacked(MessageType::kEnd, Pack(details)); }

 private:
  void SendPacked(MessageType type, const std::string& bytes) {
    std::memcpy(TakeBlock(bytes.size() + 1), bytes.data(), bytes.size());
    free_[current_] = false;
    Message message;
    message.type = type;
    message.block = current_;
    message.size = bytes.size();
    Send(message);
  }

  // Waits for a free block and has it grown where it is too small.
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
        block.Map(kFirstBlockDescriptor + static_cast<int>(current_), answer.size);
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
  // By its descriptor, so that no library sees a path with characters that it takes for a pattern.
  ForeignFile file{request.path,      "/proc/self/fd/" + std::to_string(kFileDescriptor),
                   request.extension, request.threads,
                   request.part,      request.keepsUserMissing};
  if (!file.IsFile()) file.openPath = request.address;
  ChannelSink sink(request.limits.idleCpuSeconds);
  RunForeignReader(file, sink);
}

void Fail(const std::string& sentence) {
  Message message;
  message.type = MessageType::kFailed;
  Send(message, std::string_view(sentence).substr(0, kLongestMessage / 2));
}

}  // namespace

int RunReaderProcess() {
  // It ends with the process that it reads for.
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  std::string text;
  try {
    if (Receive(&text).type != MessageType::kRequest) return 2;
    const ReaderRequest request = UnpackRequest(text);
    GiveUpWriting();
    LimitMemory(request.limits.memoryBytes);
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
