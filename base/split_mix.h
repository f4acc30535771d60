// The generator SplitMix64 (Steele, Lea and Flood 2014, doi:10.1145/2660193.2660195): the same
// numbers on every system, from any seed, 0 included.
//
//   vlm::SplitMix random(seed);
//   random.Next();    // 64 bits
//   random.Share();   // uniform over 0 <= share < 1
#pragma once

#include <cstdint>

namespace vlm {

inline constexpr std::uint64_t kSplitMixStep = 0x9E3779B97F4A7C15u;

// Every bit of the result depends on every bit of the number.
inline std::uint64_t MixBits(std::uint64_t number) {
  number = (number ^ (number >> 30)) * 0xBF58476D1CE4E5B9u;
  number = (number ^ (number >> 27)) * 0x94D049BB133111EBu;
  return number ^ (number >> 31);
}

// The first number of a generator with this seed: random bits by number.
inline std::uint64_t RandomBits(std::uint64_t seed) { return MixBits(seed + kSplitMixStep); }

inline double ShareFromBits(std::uint64_t bits) { return static_cast<double>(bits >> 11) * 0x1p-53; }

class SplitMix {
 public:
  explicit SplitMix(std::uint64_t seed) : state_(seed) {}

  std::uint64_t Next() { return MixBits(state_ += kSplitMixStep); }
  double Share() { return ShareFromBits(Next()); }

 private:
  std::uint64_t state_;
};

}  // namespace vlm
