// Ends connections that send without end: headers or bodies of any length, or a byte now and then.
// The HTTP library limits the length that a request declares and each line of its headers; the
// guard limits how much a connection sends in all, and for how long.
//
//   ConnectionGuard guard(port, 10 << 20, std::chrono::seconds(30));
//   guard.Look(std::chrono::steady_clock::now());   // several times a second
#pragma once

#include <chrono>
#include <cstdint>
#include <map>

namespace velmora {

class ConnectionGuard {
 public:
  using Time = std::chrono::steady_clock::time_point;

  // Guards the connections of this process to port. mostBytes: how much one may send; longest: for
  // how long.
  ConnectionGuard(int port, std::uint64_t mostBytes, std::chrono::seconds longest)
      : port_(port), mostBytes_(mostBytes), longest_(longest) {}

  void Look(Time now);

 private:
  struct Seen {
    Time first, lastReceived;
    std::uint64_t received = 0;
  };

  int port_;
  std::uint64_t mostBytes_;
  std::chrono::seconds longest_;
  std::map<int, std::pair<std::uint64_t, Seen>> seen_;  // by socket, with an identifier of its connection
};

}  // namespace velmora
