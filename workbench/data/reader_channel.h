// The system's part of velmora-read: the connection to velmora, the blocks of memory that both
// share, and the limits that it sets itself.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "workbench/data/reader_protocol.h"

namespace velmora::channel {

// velmora has ended; there is nobody to report to.
struct Disconnected {};

// To be called first: the process ends with velmora and shows no window of its own when it crashes.
void Open();

// Throw Disconnected.
void Send(const Message& message, std::string_view text = {});
Message Receive(std::string* text = nullptr);

// Gives up rights that a reader does not need, such as writing files, and limits its memory.
void Confine(const ReaderLimits& limits);

// Sets the processor time at which the system ends this process: so many seconds from now,
// unless progress moves it again. Does nothing where velmora itself watches the time.
void GrantProcessorTime(std::uint64_t seconds);

// How to open the file of a request.
std::string PathOfFile(const ReaderRequest& request);

// A block of shared memory, as described by the last answer about it.
class SharedBlock {
 public:
  SharedBlock() = default;
  SharedBlock(const SharedBlock&) = delete;
  SharedBlock& operator=(const SharedBlock&) = delete;
  ~SharedBlock() { Unmap(); }
  std::byte* Memory() const { return memory_; }
  std::uint64_t Size() const { return size_; }
  // Throws std::bad_alloc.
  void Map(const Message& answer, std::uint64_t size);

 private:
  void Unmap();

  std::byte* memory_ = nullptr;
  std::uint64_t size_ = 0;
};

}  // namespace velmora::channel
