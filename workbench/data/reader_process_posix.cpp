// Starts velmora-read for a file, gives it the open file and a few blocks of shared memory, and
// takes the rows out of the blocks while it fills the next ones.
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <filesystem>

#include "workbench/data/reader_protocol.h"
#include "workbench/data/table_sink.h"
#include "workbench/system/system.h"

namespace velmora {

namespace {

constexpr int kWaitMilliseconds = 50;  // between two looks at whether the user has cancelled
// Above the numbers that the child uses, so that giving it one descriptor never overwrites another.
constexpr int kLowestDescriptor = 32;

class Descriptor {
 public:
  Descriptor() = default;
  // Moves the descriptor out of the range of those that the child uses.
  explicit Descriptor(int number) {
    if (number < 0) ThrowSystemError();
    number_ = fcntl(number, F_DUPFD_CLOEXEC, kLowestDescriptor);
    const int error = errno;
    close(number);
    errno = error;
    if (number_ < 0) ThrowSystemError();
  }
  Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(number_, other.number_);
    return *this;
  }
  ~Descriptor() {
    if (number_ >= 0) close(number_);
  }
  int Number() const { return number_; }

  [[noreturn]] static void ThrowSystemError() { throw std::system_error(errno, std::generic_category()); }

 private:
  int number_ = -1;
};

class SharedMemory {
 public:
  SharedMemory() : file_(memfd_create("velmora rows", MFD_CLOEXEC | MFD_ALLOW_SEALING)) {
    // A page that has gone would end this process, so the child cannot take any away.
    if (fcntl(file_.Number(), F_ADD_SEALS, F_SEAL_SHRINK) != 0) Descriptor::ThrowSystemError();
  }
  SharedMemory(const SharedMemory&) = delete;
  SharedMemory& operator=(const SharedMemory&) = delete;
  ~SharedMemory() { Unmap(); }

  int Number() const { return file_.Number(); }
  std::span<std::byte> Bytes() const { return {memory_, size_}; }
  void Grow(std::uint64_t size) {
    if (size <= size_) return;
    if (size > std::uint64_t{1} << 46 || ftruncate(Number(), static_cast<off_t>(size)) != 0)
      throw std::bad_alloc();
    Unmap();
    void* const memory = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, Number(), 0);
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

  Descriptor file_;
  std::byte* memory_ = nullptr;
  std::uint64_t size_ = 0;
};

// velmora-read beside the running program or library, or one folder up.
std::filesystem::path FindReader() {
  std::error_code error;
  for (const std::filesystem::path& folder : {LibraryFolder(), ExecutableFolder()}) {
    if (folder.empty()) continue;  // never from the current folder
    for (const std::filesystem::path& place : {folder, folder.parent_path(), folder.parent_path() / "bin"})
      if (std::filesystem::is_regular_file(place / kReaderFile, error)) return place / kReaderFile;
  }
  return {};
}

class ReaderProcess {
 public:
  ReaderProcess(const ForeignFile& source, const ReaderLimits& limits) : path_(source.path) {
    const std::filesystem::path program = FindReader();
    if (program.empty())
      throw DataError("Cannot read " + path_ + ": the program " + kReaderFile +
                      ", which reads such files, is missing beside velmora.");
    const std::filesystem::path path = source.IsFile() ? PathOf(source.openPath) : "/dev/null";
    const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    std::array<int, 2> ends{};
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()) != 0)
      Descriptor::ThrowSystemError();
    socket_ = Descriptor(ends[0]);
    {
      const Descriptor other(ends[1]);
      Start(program, other, file);
    }
    const std::string request =
        Pack(ReaderRequest{source.path, source.openPath, source.extension, source.threads, limits,
                           source.part, source.keepsUserMissing});
    Message message;
    message.type = MessageType::kRequest;
    Send(message, request);
  }
  ReaderProcess(const ReaderProcess&) = delete;
  ReaderProcess& operator=(const ReaderProcess&) = delete;
  ~ReaderProcess() { End(); }

  // Hands over everything that the process sends.
  void Run(TableSink& sink) {
    double fraction = 0;
    for (;;) {
      pollfd waiting{socket_.Number(), POLLIN, 0};
      const int ready = poll(&waiting, 1, kWaitMilliseconds);
      if (!sink.Progress(fraction)) throw Cancelled();
      if (ready <= 0) continue;
      std::string text;
      const Message message = Receive(text);
      fraction = message.fraction;
      switch (message.type) {
        case MessageType::kProgress:
          break;
        case MessageType::kGrow:
          Block(message).Grow(message.size);
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

  void Start(const std::filesystem::path& program, const Descriptor& socket, const Descriptor& file) {
    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attributes;
    posix_spawn_file_actions_init(&actions);
    posix_spawnattr_init(&attributes);
    // What a library prints when it crashes is no message for a user.
    for (const int stream : {0, 1, 2})
      posix_spawn_file_actions_addopen(&actions, stream, "/dev/null", stream == 0 ? O_RDONLY : O_WRONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, socket.Number(), kSocketDescriptor);
    posix_spawn_file_actions_adddup2(&actions, file.Number(), kFileDescriptor);
    for (std::uint32_t i = 0; i < kBlockCount; ++i)
      posix_spawn_file_actions_adddup2(&actions, blocks_[i].Number(),
                                       kFirstBlockDescriptor + static_cast<int>(i));
    posix_spawn_file_actions_addclosefrom_np(&actions, kFirstBlockDescriptor + static_cast<int>(kBlockCount));
    // Ctrl-C goes to the terminal's group of processes; this program alone decides what it means.
    sigset_t none;
    sigemptyset(&none);
    sigset_t all;
    sigfillset(&all);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setsigdefault(&attributes, &all);
    posix_spawnattr_setpgroup(&attributes, 0);
    posix_spawnattr_setflags(&attributes,
                             POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    std::string name = kReaderFile;
    std::array<char*, 2> arguments = {name.data(), nullptr};
    const int error =
        posix_spawn(&process_, program.c_str(), &actions, &attributes, arguments.data(), environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    if (error == 0) return;
    process_ = 0;
    throw DataError("Cannot read " + path_ + ": the program " + program.string() + " does not start (" +
                    std::generic_category().message(error) + ").");
  }

  // Returns how the process has ended, or 0 when the system does not say.
  int End() {
    if (process_ <= 0) return 0;
    kill(process_, SIGKILL);
    return Wait();
  }
  int Wait() {
    int status = 0;
    pid_t ended;
    do {
      ended = waitpid(process_, &status, 0);
    } while (ended < 0 && errno == EINTR);
    process_ = 0;
    return ended < 0 ? 0 : status;
  }

  [[noreturn]] void ThrowDeath() {
    const int status = Wait();
    const int signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
    std::string reason = "the file is damaged, and its reader has crashed";
    if (signal == SIGXCPU) reason = "its reader makes no progress, so the file may be damaged";
    if (signal == SIGKILL) reason = "its reader was ended by the system; there may be too little memory";
    throw DataError("Cannot read " + path_ + ": " + reason + ".");
  }

  void Send(const Message& message, std::string_view text = {}) {
    std::array<iovec, 2> parts = {iovec{const_cast<Message*>(&message), sizeof message},
                                  iovec{const_cast<char*>(text.data()), text.size()}};
    msghdr header{};
    header.msg_iov = parts.data();
    header.msg_iovlen = parts.size();
    // A process that has ended may have sent everything before; its messages are received next.
    while (sendmsg(socket_.Number(), &header, MSG_NOSIGNAL) < 0 && errno == EINTR) {
    }
  }

  Message Receive(std::string& text) {
    Message message;
    for (;;) {
      std::array<iovec, 2> parts = {iovec{&message, sizeof message}, iovec{buffer_.data(), buffer_.size()}};
      msghdr header{};
      header.msg_iov = parts.data();
      header.msg_iovlen = parts.size();
      const ssize_t count = recvmsg(socket_.Number(), &header, 0);
      // A process that ends before it has read everything resets the connection once; what it sent
      // is still there.
      if (count < 0 && (errno == EINTR || errno == ECONNRESET)) continue;
      if (count < static_cast<ssize_t>(sizeof message)) ThrowDeath();
      text.assign(buffer_.data(), static_cast<std::size_t>(count) - sizeof message);
      return message;
    }
  }

  SharedMemory& Block(const Message& message) {
    if (message.block >= kBlockCount) throw Damaged();
    return blocks_[message.block];
  }

  void Free(std::uint32_t block) {
    Message message;
    message.type = MessageType::kFree;
    message.block = block;
    message.size = blocks_[block].Bytes().size();
    Send(message);
  }

  std::string Packed(const Message& message) {
    const std::span<std::byte> bytes = Block(message).Bytes();
    if (message.size > bytes.size()) throw Damaged();
    return {reinterpret_cast<const char*>(bytes.data()), message.size};
  }

  void TakeRows(const Message& message, TableSink& sink) {
    const std::span<std::byte> bytes = Block(message).Bytes();
    if (message.size > bytes.size() || message.sliceCount > message.size / sizeof(ColumnSlice))
      throw Damaged();
    std::vector<ColumnSlice> slices(message.sliceCount);
    if (!slices.empty()) std::memcpy(slices.data(), bytes.data(), slices.size() * sizeof(ColumnSlice));
    sink.Take(bytes.subspan(message.size), slices, message.rowCount);
  }

  void AnswerColumns(const std::vector<std::size_t>& columns) {
    blocks_[0].Grow(columns.size() * sizeof(std::uint64_t) + 1);
    const std::vector<std::uint64_t> numbers(columns.begin(), columns.end());
    if (!numbers.empty())
      std::memcpy(blocks_[0].Bytes().data(), numbers.data(), numbers.size() * sizeof(std::uint64_t));
    Message message;
    message.type = MessageType::kColumns;
    message.size = numbers.size();
    Send(message);
  }

  const std::string& path_;
  std::array<SharedMemory, kBlockCount> blocks_;
  Descriptor socket_;
  pid_t process_ = 0;
  std::array<char, kLongestMessage> buffer_{};
};

}  // namespace

void ReadForeignFile(const ForeignFile& file, const ReadOptions& options, const ReaderLimits& limits,
                     Table& table, std::vector<std::string>& warnings) {
  TableSink sink(file.path, options, FileBytes(file));
  try {
    ReaderProcess(file, limits).Run(sink);
  } catch (const std::system_error& error) {
    throw DataError("Cannot read " + file.path + ": " + error.code().message() + ".");
  }
  sink.MoveInto(table, warnings);
}

}  // namespace velmora
