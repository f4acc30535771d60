// Packed text files, intact and damaged.
#include <gmock/gmock.h>
#include <zlib.h>
#include <zstd.h>

#include "tests/data/data_test_support.h"

namespace velmora {
namespace {

using ::testing::HasSubstr;

std::string Gzip(const std::string& text) {
  z_stream stream{};
  deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, 16 + MAX_WBITS, 8, Z_DEFAULT_STRATEGY);
  std::string packed(compressBound(static_cast<uLong>(text.size())) + 64, '\0');
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
  stream.avail_in = static_cast<uInt>(text.size());
  stream.next_out = reinterpret_cast<Bytef*>(packed.data());
  stream.avail_out = static_cast<uInt>(packed.size());
  EXPECT_EQ(deflate(&stream, Z_FINISH), Z_STREAM_END);
  packed.resize(stream.total_out);
  deflateEnd(&stream);
  return packed;
}

std::string Zstd(const std::string& text) {
  std::string packed(ZSTD_compressBound(text.size()), '\0');
  ZSTD_CCtx* const context = ZSTD_createCCtx();
  ZSTD_CCtx_setParameter(context, ZSTD_c_checksumFlag, 1);  // as the program zstd does
  packed.resize(ZSTD_compress2(context, packed.data(), packed.size(), text.data(), text.size()));
  ZSTD_freeCCtx(context);
  return packed;
}

TEST_F(DataTest, PackedTextIsUnpacked) {
  // A column that becomes text at the end, so that the file is unpacked twice.
  std::string text = "x,k\n";
  for (int i = 0; i < 300000; ++i) text += std::to_string(i) + ",1.5\n";
  text += "7,late\n";
  const Table plain = ReadTable(WriteFile("a.csv", text));
  const std::size_t half = text.size() / 2;
  const struct {
    const char* name;
    std::string packed;
  } rows[] = {{"a.csv.gz", Gzip(text)},
              {"members.csv.gz", Gzip(text.substr(0, half)) + Gzip(text.substr(half))},
              {"a.csv.zst", Zstd(text)},
              {"frames.csv.zst", Zstd(text.substr(0, half)) + Zstd(text.substr(half))}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    const Table table = ReadTable(WriteFile(row.name, row.packed));
    EXPECT_TRUE(Show(table) == Show(plain));
    const std::string cut =
        WriteFile(std::string("cut_") + row.name, row.packed.substr(0, row.packed.size() - 9));
    EXPECT_EQ(ErrorOf([&] { ReadTable(cut); }), "Cannot unpack " + cut + ": it is cut short.");
    std::string bytes = row.packed;
    for (std::size_t i = bytes.size() / 3; i < bytes.size() / 3 + 40; ++i)
      bytes[i] = static_cast<char>(~bytes[i]);
    const std::string damaged = WriteFile(std::string("damaged_") + row.name, bytes);
    EXPECT_EQ(ErrorOf([&] { ReadTable(damaged); }), "Cannot unpack " + damaged + ": it is damaged.");
  }
  EXPECT_THAT(ErrorOf([&] { ReadTable(WriteFile("a.parquet.gz", "x")); }), HasSubstr("of packed files"));
}

}  // namespace
}  // namespace velmora
