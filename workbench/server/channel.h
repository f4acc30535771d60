// Messages between the server, the worker of a table and the worker's children, over a stream
// socket. A message is a header line "TYPE ID SIZE\n" and SIZE bytes.
//
//   Channel channel(socket);
//   channel.Send({"result", 7, "{\"cases\":1000}"});
//   while (channel.Fill()) while (std::optional<Frame> frame = channel.Next()) ...
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace velmora {

struct Frame {
  std::string type;
  std::uint64_t id = 0;  // of the request that the message belongs to; 0: none
  std::string payload;
};

// Owns the socket. One thread may send while another one reads; no two threads may do the same.
class Channel {
 public:
  explicit Channel(int socket) : socket_(socket) {}
  Channel(Channel&& other) noexcept;
  Channel& operator=(Channel&& other) noexcept;
  ~Channel();

  int Socket() const { return socket_; }
  // False when the other side is gone.
  [[nodiscard]] bool Send(const Frame& frame) const;
  // Waits for bytes and takes those that are there. False when the other side is gone.
  [[nodiscard]] bool Fill();
  // The next complete message. Throws RunError for bytes that are no message.
  [[nodiscard]] std::optional<Frame> Next();
  // Makes a Fill that waits on another thread return false.
  void Shut() const;

 private:
  int socket_;
  std::string bytes_;
  std::size_t read_ = 0;  // bytes of bytes_ that Next has returned
};

// Lengthens the queue of connections that wait to be accepted; that of an HTTP library may be
// short.
void LengthenQueue(int listeningSocket);

// Two connected sockets, closed in programs that this process starts.
struct SocketPair {
  int ours, theirs;
};
[[nodiscard]] SocketPair MakeSocketPair();

}  // namespace velmora
