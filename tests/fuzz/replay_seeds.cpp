// Every fuzz target over its seeds, and over each of them cut short, without a fuzzer. A target
// that fails ends the program.
#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#define X(name) extern "C" int Fuzz_##name(const std::uint8_t* bytes, std::size_t size);
FUZZ_TARGETS
#undef X

namespace velmora {
namespace {

void Replay(const std::string& target, int (*run)(const std::uint8_t*, std::size_t)) {
  int seeds = 0;
  for (const auto& file : std::filesystem::directory_iterator(std::filesystem::path(FUZZ_SEEDS) / target)) {
    SCOPED_TRACE(file.path().filename().string());
    std::ifstream stream(file.path(), std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(stream)), {});
    for (std::size_t size = 0; size <= bytes.size(); size += 1 + bytes.size() / 50) {
      const std::string start = bytes.substr(0, size);
      EXPECT_EQ(run(reinterpret_cast<const std::uint8_t*>(start.data()), start.size()), 0);
    }
    EXPECT_EQ(run(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()), 0);
    ++seeds;
  }
  EXPECT_GT(seeds, 0);
}

#define X(name) \
  TEST(FuzzSeeds, name) { Replay(#name, Fuzz_##name); }
FUZZ_TARGETS
#undef X

}  // namespace
}  // namespace velmora
