// velmora-read inherits its connection, the file and the blocks as descriptors with fixed numbers.
#include <fcntl.h>
#include <linux/landlock.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <ctime>
#include <new>

#include "workbench/data/reader_channel.h"

#if defined(__SANITIZE_ADDRESS__)
#define VELMORA_ADDRESS_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define VELMORA_ADDRESS_SANITIZER 1
#endif
#endif

namespace velmora::channel {

namespace {

// From now on no file can be made, written, renamed or removed. If the kernel lacks Landlock, files
// at least cannot grow.
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

}  // namespace

// This process ends with the one that it reads for.
void Open() { prctl(PR_SET_PDEATHSIG, SIGKILL); }

void Send(const Message& message, std::string_view text) {
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

Message Receive(std::string* text) {
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

void Confine(const ReaderLimits& limits) {
  GiveUpWriting();
  LimitMemory(limits.memoryBytes);
}

void GrantProcessorTime(std::uint64_t seconds) {
  if (seconds == 0) return;
  timespec used{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &used);
  const rlimit limit{static_cast<rlim_t>(used.tv_sec) + seconds + 1, RLIM_INFINITY};
  setrlimit(RLIMIT_CPU, &limit);
}

// The file is opened by its descriptor, so that no library takes characters of its path for a
// pattern.
std::string PathOfFile(const ReaderRequest&) { return "/proc/self/fd/" + std::to_string(kFileDescriptor); }

void SharedBlock::Map(const Message& answer, std::uint64_t size) {
  Unmap();
  const int descriptor = kFirstBlockDescriptor + static_cast<int>(answer.block % kBlockCount);
  void* const memory = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
  if (memory == MAP_FAILED) throw std::bad_alloc();
  memory_ = static_cast<std::byte*>(memory);
  size_ = size;
}

void SharedBlock::Unmap() {
  if (memory_ != nullptr) munmap(memory_, size_);
  memory_ = nullptr;
  size_ = 0;
}

}  // namespace velmora::channel
