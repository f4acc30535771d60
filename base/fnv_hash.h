// The hash FNV-1a of 64 bits (https://datatracker.ietf.org/doc/html/draft-eastlake-fnv): fast and
// the same on every system. It does not protect against texts that are made to collide.
//
//   vlm::FnvHash("a") == 0xaf63dc4c8601ec8c
#pragma once

#include <cstdint>
#include <string_view>

namespace vlm {

inline constexpr std::uint64_t kFnvStart = 0xcbf29ce484222325u;

constexpr std::uint64_t FnvStep(std::uint64_t hash, std::uint64_t unit) {
  return (hash ^ unit) * 0x100000001b3u;
}

constexpr std::uint64_t FnvHash(std::string_view text) {
  std::uint64_t hash = kFnvStart;
  for (const char c : text) hash = FnvStep(hash, static_cast<unsigned char>(c));
  return hash;
}

}  // namespace vlm
