// What the machine itself needs for the steps that a feature selection cannot leave out, as one line
// of JSON: nanoseconds for reading a double from memory, for a division (of vectors, of scalars) and
// for adding to one of ten sums.
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <vector>

namespace {

// Keeps the compiler from leaving out what has no other effect.
template <class Value>
void Keep(const Value& value) {
  asm volatile("" : : "g"(&value) : "memory");
}

// The median of seven goes, in nanoseconds a step.
template <class Work>
double NanosecondsOf(std::size_t steps, Work work) {
  std::array<double, 7> times;
  for (double& time : times) {
    const std::clock_t begin = std::clock();  // of this process, whatever else runs
    work();
    time = 1e9 * static_cast<double>(std::clock() - begin) / CLOCKS_PER_SEC;
  }
  std::sort(times.begin(), times.end());
  return times[times.size() / 2] / static_cast<double>(steps);
}

double ReadingTime() {
  constexpr std::size_t kCells = std::size_t{1} << 26;  // far beyond any cache
  const std::vector<double> cells(kCells, 1.5);
  return NanosecondsOf(kCells, [&] {
    std::array<double, 64> sums{};
    for (std::size_t i = 0; i < kCells; i += sums.size())
      for (std::size_t k = 0; k < sums.size(); ++k) sums[k] += cells[i + k];
    Keep(sums);
  });
}

constexpr std::size_t kValues = 512, kRounds = 20000;

double VectorDivisionTime() {
  std::array<double, kValues> values, divisors;
  divisors.fill(1.0000001);
  return NanosecondsOf(kValues * kRounds, [&] {
    values.fill(3);
    for (std::size_t round = 0; round < kRounds; ++round) {
      for (std::size_t i = 0; i < kValues; ++i) values[i] /= divisors[i];
      Keep(values);
    }
  });
}

double ScalarDivisionTime() {
  std::array<double, kValues> values;
  return NanosecondsOf(kValues * kRounds, [&] {
    values.fill(3);
    for (std::size_t round = 0; round < kRounds; ++round)
      for (double& value : values) {
        value /= 1.0000001;
        asm volatile("" : "+m"(value));
      }
  });
}

double TableSumTime() {
  constexpr std::size_t kCases = std::size_t{1} << 16;
  std::vector<std::uint8_t> groups(kCases);
  std::uint32_t state = 1;
  for (std::uint8_t& group : groups)
    group = static_cast<std::uint8_t>(((state = state * 1664525U + 1013904223U) >> 16) % 10);
  const std::vector<double> values(kCases, 0.25);
  return NanosecondsOf(kCases * 100, [&] {
    for (int round = 0; round < 100; ++round) {
      std::array<double, 10> sums{};
      for (std::size_t i = 0; i < kCases; ++i) sums[groups[i]] += values[i];
      Keep(sums);
    }
  });
}

}  // namespace

int main() {
  std::printf("{\"read\": %.4f, \"vector_division\": %.4f, \"scalar_division\": %.4f, \"table_sum\": %.4f}\n",
              ReadingTime(), VectorDivisionTime(), ScalarDivisionTime(), TableSumTime());
}
