#include "workbench/server/connection_guard.h"

#include <arpa/inet.h>
#include <linux/tcp.h>
#include <sys/socket.h>

#include <charconv>
#include <filesystem>
#include <optional>
#include <string>

#include "workbench/system/system.h"

namespace velmora {
namespace {

// The other end of a connection to port; nothing for any other file.
std::optional<std::uint64_t> PeerOf(int socket, int port) {
  sockaddr_storage own{}, peer{};
  socklen_t ownSize = sizeof own, peerSize = sizeof peer;
  if (getsockname(socket, reinterpret_cast<sockaddr*>(&own), &ownSize) != 0 ||
      getpeername(socket, reinterpret_cast<sockaddr*>(&peer), &peerSize) != 0)
    return std::nullopt;
  const auto portOf = [](const sockaddr_storage& address) -> int {
    if (address.ss_family == AF_INET) return ntohs(reinterpret_cast<const sockaddr_in&>(address).sin_port);
    if (address.ss_family == AF_INET6) return ntohs(reinterpret_cast<const sockaddr_in6&>(address).sin6_port);
    return -1;
  };
  if (portOf(own) != port) return std::nullopt;
  std::uint64_t host = 0;
  if (peer.ss_family == AF_INET) host = reinterpret_cast<const sockaddr_in&>(peer).sin_addr.s_addr;
  return host << 16 | static_cast<std::uint64_t>(portOf(peer));
}

std::optional<std::uint64_t> ReceivedBytes(int socket) {
  tcp_info info{};
  socklen_t size = sizeof info;
  if (getsockopt(socket, IPPROTO_TCP, TCP_INFO, &info, &size) != 0) return std::nullopt;
  return info.tcpi_bytes_received;
}

}  // namespace

void ConnectionGuard::Look(Time now) {
  std::error_code error;
  std::map<int, std::pair<std::uint64_t, Seen>> open;
  for (const std::filesystem::path& name : NamesIn("/proc/self/fd", error)) {
    const std::string text = name.filename().string();
    int socket = -1;
    std::from_chars(text.data(), text.data() + text.size(), socket);
    const std::optional<std::uint64_t> peer = PeerOf(socket, port_);
    if (!peer) continue;
    const std::optional<std::uint64_t> received = ReceivedBytes(socket);
    if (!received) continue;
    const auto known = seen_.find(socket);
    Seen seen{now, now, *received};
    if (known != seen_.end() && known->second.first == *peer) {
      seen = known->second.second;
      if (seen.received != *received) seen.lastReceived = now;
      seen.received = *received;
    }
    const bool isEndless = seen.lastReceived - seen.first > longest_;
    // The thread that serves it finds the connection closed and ends it.
    if (*received > mostBytes_ || isEndless) shutdown(socket, SHUT_RDWR);
    open[socket] = {*peer, seen};
  }
  seen_ = std::move(open);
}

}  // namespace velmora
