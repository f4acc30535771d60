#include "workbench/data/sha256.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

namespace velmora {
namespace {

// FIPS 180-4's examples, and lengths on both sides of a block's end as sha256sum has them.
TEST(Sha256, IsThatOfSha256sum) {
  const struct {
    std::string bytes;
    const char* expected;
  } rows[] = {
      {"", "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"},
      {"abc", "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"},
      {"abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq",
       "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1"},
      {std::string(1000000, 'a'), "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0"},
      {std::string(128, 'a') + "bc", "a7cc04a0f3dfa3149238f53f0c56650c846747a3e7b06dae6dacb1421ac3fcd8"},
      {std::string(55, 'x'), "d5e285683cd4efc02d021a5c62014694958901005d6f71e89e0989fac77e4072"},
      {std::string(64, 'x'), "7ce100971f64e7001e8fe5a51973ecdfe1ced42befe7ee8d5fd6219506b5393c"},
  };
  const std::filesystem::path path = std::filesystem::path(::testing::TempDir()) / "sha256_test.bin";
  for (const auto& row : rows) {
    std::ofstream(path, std::ios::binary) << row.bytes;
    EXPECT_EQ(Sha256OfFile(path.string()), row.expected) << row.bytes.size();
  }
  std::filesystem::remove(path);
  EXPECT_EQ(Sha256OfFile(path.string()), "");
}

}  // namespace
}  // namespace velmora
