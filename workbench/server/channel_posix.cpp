#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>

#include "base/parse_number.h"
#include "workbench/cli/exit_codes.h"
#include "workbench/server/channel.h"

namespace velmora {
namespace {

constexpr std::size_t kBlock = 1 << 16;
constexpr std::size_t kLongestHeader = 100;

bool SendAll(int socket, const char* bytes, std::size_t size) {
  while (size > 0) {
    const ssize_t sent = send(socket, bytes, size, MSG_NOSIGNAL);
    if (sent < 0 && errno == EINTR) continue;
    if (sent <= 0) return false;
    bytes += sent;
    size -= static_cast<std::size_t>(sent);
  }
  return true;
}

}  // namespace

Channel::Channel(Channel&& other) noexcept
    : socket_(std::exchange(other.socket_, -1)), bytes_(std::move(other.bytes_)), read_(other.read_) {}

Channel& Channel::operator=(Channel&& other) noexcept {
  std::swap(socket_, other.socket_);
  std::swap(bytes_, other.bytes_);
  std::swap(read_, other.read_);
  return *this;
}

Channel::~Channel() {
  if (socket_ >= 0) close(socket_);
}

bool Channel::Send(const Frame& frame) const {
  const std::string header =
      frame.type + " " + std::to_string(frame.id) + " " + std::to_string(frame.payload.size()) + "\n";
  return SendAll(socket_, header.data(), header.size()) &&
         SendAll(socket_, frame.payload.data(), frame.payload.size());
}

bool Channel::Fill() {
  bytes_.erase(0, std::exchange(read_, 0));
  const std::size_t held = bytes_.size();
  bytes_.resize(held + kBlock);
  ssize_t received = -1;
  do {
    received = recv(socket_, bytes_.data() + held, kBlock, 0);
  } while (received < 0 && errno == EINTR);
  bytes_.resize(held + static_cast<std::size_t>(std::max<ssize_t>(received, 0)));
  return received > 0;
}

std::optional<Frame> Channel::Next() {
  const std::size_t end = bytes_.find('\n', read_);
  if (end == std::string::npos) {
    if (bytes_.size() - read_ > kLongestHeader) throw RunError("A message of the worker has no header.");
    return std::nullopt;
  }
  const std::string header = bytes_.substr(read_, end - read_);
  const std::size_t first = header.find(' '), second = header.rfind(' ');
  Frame frame;
  const auto id = vlm::ParseNumber<std::uint64_t>(header.substr(first + 1, second - first - 1));
  const auto size = vlm::ParseNumber<std::size_t>(header.substr(second + 1));
  if (first == second || !id || !size) throw RunError("A message of the worker has a damaged header.");
  if (bytes_.size() - end - 1 < *size) return std::nullopt;
  frame.id = *id;
  frame.type = header.substr(0, first);
  frame.payload = bytes_.substr(end + 1, *size);
  read_ = end + 1 + *size;
  return frame;
}

void Channel::Shut() const { shutdown(socket_, SHUT_RDWR); }

void LengthenQueue(int listeningSocket) { static_cast<void>(listen(listeningSocket, SOMAXCONN)); }

SocketPair MakeSocketPair() {
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0)
    throw std::system_error(errno, std::generic_category());
  return {ends[0], ends[1]};
}

}  // namespace velmora
