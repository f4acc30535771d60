// A running velmora-read, as velmora sees it: the part that differs between systems. The process
// ends with the object, which owns the blocks of memory that both share.
//
//   ReaderPeer peer(file, limits);
//   peer.Send(request, text);
//   while (!done)
//     if (peer.Wait()) { const Message message = peer.Receive(text); ... }
#pragma once

#include <cstddef>
#include <filesystem>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "workbench/data/reader_protocol.h"

namespace velmora {

// velmora-read beside the running program or library, or one folder up; empty where it is missing.
std::filesystem::path FindReader();

// The process has crashed while it read the file.
class ReaderCrashed : public DataError {
 public:
  explicit ReaderCrashed(const std::string& path)
      : DataError("Cannot read " + path + ": the file is damaged, and its reader has crashed.") {}
};

class ReaderPeer {
 public:
  // Starts the process. Throws DataError with a sentence about the file, std::system_error.
  ReaderPeer(const ForeignFile& source, const ReaderLimits& limits);
  ReaderPeer(const ReaderPeer&) = delete;
  ReaderPeer& operator=(const ReaderPeer&) = delete;
  ~ReaderPeer();

  // Waits for a message, but only as long as a cancellation may take. Throws DataError when the
  // process is beyond its limits, ReaderCrashed when it has ended.
  bool Wait();
  // Takes the next message with its text. Throws ReaderCrashed or another DataError when the
  // process has ended.
  Message Receive(std::string& text);
  // Ignores a failure to send: a process that has ended may have sent everything before.
  void Send(Message message, std::string_view text = {});

  std::span<std::byte> Block(std::uint32_t block) const;
  // Makes the block at least as large; what was in it is lost. Throws std::bad_alloc.
  void Grow(std::uint32_t block, std::uint64_t size);

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace velmora
