#include "workbench/data/sha256.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <vector>

#include "workbench/system/system.h"

#if defined(__GNUC__) && defined(__x86_64__)
#define VELMORA_SHA_INSTRUCTIONS 1
#include <cpuid.h>
#include <immintrin.h>
#else
#define VELMORA_SHA_INSTRUCTIONS 0
#endif

namespace velmora {
namespace {

constexpr std::size_t kBlock = 64;

// The first 32 bits of the fractional parts of the cube roots of the first 64 primes.
constexpr std::array<std::uint32_t, 64> kConstants = {
    0x428a2f98, 0x71374491, 0xb5c0fbcf, 0xe9b5dba5, 0x3956c25b, 0x59f111f1, 0x923f82a4, 0xab1c5ed5,
    0xd807aa98, 0x12835b01, 0x243185be, 0x550c7dc3, 0x72be5d74, 0x80deb1fe, 0x9bdc06a7, 0xc19bf174,
    0xe49b69c1, 0xefbe4786, 0x0fc19dc6, 0x240ca1cc, 0x2de92c6f, 0x4a7484aa, 0x5cb0a9dc, 0x76f988da,
    0x983e5152, 0xa831c66d, 0xb00327c8, 0xbf597fc7, 0xc6e00bf3, 0xd5a79147, 0x06ca6351, 0x14292967,
    0x27b70a85, 0x2e1b2138, 0x4d2c6dfc, 0x53380d13, 0x650a7354, 0x766a0abb, 0x81c2c92e, 0x92722c85,
    0xa2bfe8a1, 0xa81a664b, 0xc24b8b70, 0xc76c51a3, 0xd192e819, 0xd6990624, 0xf40e3585, 0x106aa070,
    0x19a4c116, 0x1e376c08, 0x2748774c, 0x34b0bcb5, 0x391c0cb3, 0x4ed8aa4a, 0x5b9cca4f, 0x682e6ff3,
    0x748f82ee, 0x78a5636f, 0x84c87814, 0x8cc70208, 0x90befffa, 0xa4506ceb, 0xbef9a3f7, 0xc67178f2};

using State = std::array<std::uint32_t, 8>;

#if VELMORA_SHA_INSTRUCTIONS
#define VELMORA_SHA_TARGET __attribute__((target("sha,sse4.1")))

bool HasShaInstructions() {
  unsigned a = 0, b = 0, c = 0, d = 0;
  constexpr unsigned kShaBit = 1U << 29;
  return __builtin_cpu_supports("sse4.1") && __get_cpuid_count(7, 0, &a, &b, &c, &d) != 0 &&
         (b & kShaBit) != 0;
}

// Four rounds. The instruction does two, and leaves the halves of the state exchanged.
VELMORA_SHA_TARGET inline void AddRounds(const std::uint32_t* constants, __m128i words, __m128i& abef,
                                         __m128i& cdgh) {
  const __m128i added = _mm_add_epi32(words, _mm_loadu_si128(reinterpret_cast<const __m128i*>(constants)));
  cdgh = _mm_sha256rnds2_epu32(cdgh, abef, added);
  abef = _mm_sha256rnds2_epu32(abef, cdgh, _mm_shuffle_epi32(added, 0x0E));
}

// The four words of the schedule after a, b, c and d.
VELMORA_SHA_TARGET inline __m128i NextWords(__m128i a, __m128i b, __m128i c, __m128i d) {
  return _mm_sha256msg2_epu32(_mm_add_epi32(_mm_sha256msg1_epu32(a, b), _mm_alignr_epi8(d, c, 4)), d);
}

VELMORA_SHA_TARGET void AddBlocksByInstructions(const unsigned char* bytes, std::size_t count, State& state) {
  const auto word = [&](std::size_t i) { return static_cast<int>(state[i]); };
  __m128i abef = _mm_set_epi32(word(0), word(1), word(4), word(5));
  __m128i cdgh = _mm_set_epi32(word(2), word(3), word(6), word(7));
  const __m128i bigEndian = _mm_set_epi8(12, 13, 14, 15, 8, 9, 10, 11, 4, 5, 6, 7, 0, 1, 2, 3);
  for (; count > 0; --count, bytes += kBlock) {
    const __m128i abefBefore = abef, cdghBefore = cdgh;
    const auto* const from = reinterpret_cast<const __m128i*>(bytes);
    __m128i w0 = _mm_shuffle_epi8(_mm_loadu_si128(from), bigEndian);
    __m128i w1 = _mm_shuffle_epi8(_mm_loadu_si128(from + 1), bigEndian);
    __m128i w2 = _mm_shuffle_epi8(_mm_loadu_si128(from + 2), bigEndian);
    __m128i w3 = _mm_shuffle_epi8(_mm_loadu_si128(from + 3), bigEndian);
    for (std::size_t round = 0;; round += 16) {
      AddRounds(&kConstants[round], w0, abef, cdgh);
      AddRounds(&kConstants[round + 4], w1, abef, cdgh);
      AddRounds(&kConstants[round + 8], w2, abef, cdgh);
      AddRounds(&kConstants[round + 12], w3, abef, cdgh);
      if (round == 48) break;
      w0 = NextWords(w0, w1, w2, w3);
      w1 = NextWords(w1, w2, w3, w0);
      w2 = NextWords(w2, w3, w0, w1);
      w3 = NextWords(w3, w0, w1, w2);
    }
    abef = _mm_add_epi32(abef, abefBefore);
    cdgh = _mm_add_epi32(cdgh, cdghBefore);
  }
  std::array<std::uint32_t, 4> high, low;  // the last word of each first
  _mm_storeu_si128(reinterpret_cast<__m128i*>(high.data()), abef);
  _mm_storeu_si128(reinterpret_cast<__m128i*>(low.data()), cdgh);
  state = {high[3], high[2], low[3], low[2], high[1], high[0], low[1], low[0]};
}
#endif

class Sha256 {
 public:
  void AddBlocks(const unsigned char* bytes, std::size_t count) {
#if VELMORA_SHA_INSTRUCTIONS
    static const bool kHasInstructions = HasShaInstructions();
    if (kHasInstructions) return AddBlocksByInstructions(bytes, count, state_);
#endif
    for (; count > 0; --count, bytes += kBlock) AddBlock(bytes);
  }

  void AddBlock(const unsigned char* bytes) {
    std::array<std::uint32_t, 64> w;
    for (std::size_t i = 0; i < 16; ++i) {
      w[i] = std::uint32_t{bytes[4 * i]} << 24 | std::uint32_t{bytes[4 * i + 1]} << 16 |
             std::uint32_t{bytes[4 * i + 2]} << 8 | std::uint32_t{bytes[4 * i + 3]};
    }
    for (std::size_t i = 16; i < 64; ++i) {
      const std::uint32_t a = w[i - 15], b = w[i - 2];
      w[i] = w[i - 16] + w[i - 7] + (std::rotr(a, 7) ^ std::rotr(a, 18) ^ (a >> 3)) +
             (std::rotr(b, 17) ^ std::rotr(b, 19) ^ (b >> 10));
    }
    State s = state_;
    for (std::size_t i = 0; i < 64; ++i) {
      const std::uint32_t first = s[7] + (std::rotr(s[4], 6) ^ std::rotr(s[4], 11) ^ std::rotr(s[4], 25)) +
                                  ((s[4] & s[5]) ^ (~s[4] & s[6])) + kConstants[i] + w[i];
      const std::uint32_t second = (std::rotr(s[0], 2) ^ std::rotr(s[0], 13) ^ std::rotr(s[0], 22)) +
                                   ((s[0] & s[1]) ^ (s[0] & s[2]) ^ (s[1] & s[2]));
      s = {first + second, s[0], s[1], s[2], s[3] + first, s[4], s[5], s[6]};
    }
    for (std::size_t i = 0; i < 8; ++i) state_[i] += s[i];
  }

  // rest: the rest of the data, less than a block; length: of all data, in bytes.
  std::string Finish(const unsigned char* rest, std::size_t count, std::uint64_t length) {
    std::array<unsigned char, 2 * kBlock> end{};
    std::copy_n(rest, count, end.begin());
    end[count] = 0x80;
    const std::size_t size = count + 9 <= kBlock ? kBlock : 2 * kBlock;
    for (std::size_t i = 0; i < 8; ++i) end[size - 1 - i] = static_cast<unsigned char>(length * 8 >> 8 * i);
    for (std::size_t at = 0; at < size; at += kBlock) AddBlock(end.data() + at);
    std::string text;
    for (const std::uint32_t word : state_) {
      for (int shift = 28; shift >= 0; shift -= 4) text += "0123456789abcdef"[word >> shift & 15];
    }
    return text;
  }

 private:
  State state_ = {0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a,
                  0x510e527f, 0x9b05688c, 0x1f83d9ab, 0x5be0cd19};
};

}  // namespace

std::string Sha256OfFile(const std::string& path) {
  std::ifstream in(PathOf(path), std::ios::binary);
  if (!in) return {};
  Sha256 hash;
  std::vector<char> buffer(kBlock * 4096);
  std::uint64_t length = 0;
  while (true) {
    in.read(buffer.data(), static_cast<std::streamsize>(buffer.size()));
    const auto count = static_cast<std::size_t>(in.gcount());
    if (in.bad()) return {};
    const auto* const bytes = reinterpret_cast<const unsigned char*>(buffer.data());
    length += count;
    hash.AddBlocks(bytes, count / kBlock);
    const std::size_t rest = count % kBlock;
    if (count < buffer.size()) return hash.Finish(bytes + count - rest, rest, length);
  }
}

}  // namespace velmora
