// velmora-read inherits a socket, the open file and the blocks of memory. It limits itself.
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

#include "workbench/data/reader_peer.h"
#include "workbench/system/system.h"

namespace velmora {

// A named namespace, because members of State have these types.
namespace peer {

constexpr int kWaitMilliseconds = 50;  // between two checks for a cancellation
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
    // A page that disappears would end this process, so the child must not be able to shrink the
    // block.
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

}  // namespace peer

struct ReaderPeer::State {
  explicit State(const std::string& filePath) : path(filePath) {}
  State(const State&) = delete;
  State& operator=(const State&) = delete;
  ~State() {
    if (process <= 0) return;
    kill(process, SIGKILL);
    WaitForEnd();
  }

  void Start(const std::filesystem::path& program, const peer::Descriptor& connection,
             const peer::Descriptor& file) {
    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attributes;
    posix_spawn_file_actions_init(&actions);
    posix_spawnattr_init(&attributes);
    // Output of a crashing library is not a message for the user.
    for (const int stream : {0, 1, 2})
      posix_spawn_file_actions_addopen(&actions, stream, "/dev/null", stream == 0 ? O_RDONLY : O_WRONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, connection.Number(), kSocketDescriptor);
    posix_spawn_file_actions_adddup2(&actions, file.Number(), kFileDescriptor);
    for (std::uint32_t i = 0; i < kBlockCount; ++i)
      posix_spawn_file_actions_adddup2(&actions, blocks[i].Number(),
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
        posix_spawn(&process, program.c_str(), &actions, &attributes, arguments.data(), environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    if (error == 0) return;
    process = 0;
    throw DataError("Cannot read " + path + ": the program " + program.string() + " does not start (" +
                    std::generic_category().message(error) + ").");
  }

  // Returns how the process has ended, or 0 when the system does not say.
  int WaitForEnd() {
    int status = 0;
    pid_t ended;
    do {
      ended = waitpid(process, &status, 0);
    } while (ended < 0 && errno == EINTR);
    process = 0;
    return ended < 0 ? 0 : status;
  }

  [[noreturn]] void ThrowDeath() {
    const int status = WaitForEnd();
    const int signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
    if (signal == SIGXCPU)
      throw DataError("Cannot read " + path + ": its reader makes no progress, so the file may be damaged.");
    if (signal == SIGKILL)
      throw DataError("Cannot read " + path +
                      ": its reader was ended by the system; there may be too little memory.");
    throw ReaderCrashed(path);
  }

  std::string path;
  std::array<peer::SharedMemory, kBlockCount> blocks;
  peer::Descriptor socket;
  pid_t process = 0;
  std::array<char, kLongestMessage> buffer{};
};

ReaderPeer::ReaderPeer(const ForeignFile& source, const ReaderLimits&)
    : state_(std::make_unique<State>(source.path)) {
  const std::filesystem::path program = FindReader();
  if (program.empty())
    throw DataError("Cannot read " + source.path + ": the program " + kReaderFile +
                    ", which reads such files, is missing beside velmora.");
  const std::filesystem::path path = source.IsFile() ? PathOf(source.openPath) : "/dev/null";
  const peer::Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  std::array<int, 2> ends{};
  if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()) != 0)
    peer::Descriptor::ThrowSystemError();
  state_->socket = peer::Descriptor(ends[0]);
  const peer::Descriptor other(ends[1]);
  state_->Start(program, other, file);
}

ReaderPeer::~ReaderPeer() = default;

bool ReaderPeer::Wait() {
  pollfd waiting{state_->socket.Number(), POLLIN, 0};
  return poll(&waiting, 1, peer::kWaitMilliseconds) > 0;
}

Message ReaderPeer::Receive(std::string& text) {
  Message message;
  for (;;) {
    std::array<iovec, 2> parts = {iovec{&message, sizeof message},
                                  iovec{state_->buffer.data(), state_->buffer.size()}};
    msghdr header{};
    header.msg_iov = parts.data();
    header.msg_iovlen = parts.size();
    const ssize_t count = recvmsg(state_->socket.Number(), &header, 0);
    // A process that ends before it has read everything resets the connection once; what it sent
    // can still be received.
    if (count < 0 && (errno == EINTR || errno == ECONNRESET)) continue;
    if (count < static_cast<ssize_t>(sizeof message)) state_->ThrowDeath();
    text.assign(state_->buffer.data(), static_cast<std::size_t>(count) - sizeof message);
    return message;
  }
}

void ReaderPeer::Send(Message message, std::string_view text) {
  std::array<iovec, 2> parts = {iovec{&message, sizeof message},
                                iovec{const_cast<char*>(text.data()), text.size()}};
  msghdr header{};
  header.msg_iov = parts.data();
  header.msg_iovlen = parts.size();
  while (sendmsg(state_->socket.Number(), &header, MSG_NOSIGNAL) < 0 && errno == EINTR) {
  }
}

std::span<std::byte> ReaderPeer::Block(std::uint32_t block) const { return state_->blocks[block].Bytes(); }

void ReaderPeer::Grow(std::uint32_t block, std::uint64_t size) { state_->blocks[block].Grow(size); }

}  // namespace velmora
