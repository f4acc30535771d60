// Arrow IPC, written by pyarrow and polars (samples/make_arrow.py).
#include <gmock/gmock.h>

#include "tests/data/data_test_support.h"
#include "tests/support/paths.h"

namespace velmora {
namespace {

using ::testing::AllOf;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

std::string Sample(const std::string& name) { return SourceDir() + "/tests/data/samples/" + name; }

// The cells to the last bit, with labels and units.
std::string Bits(const Table& table, const std::vector<std::string>& leftOut = {}) {
  std::ostringstream text;
  text << std::hexfloat;
  for (const Column& column : table.columns) {
    if (std::find(leftOut.begin(), leftOut.end(), column.name) != leftOut.end()) continue;
    text << column.name << ' ' << static_cast<int>(column.dateUnit) << column.fromText << column.fromBoolean;
    for (const double value : column.values) {
      const std::string* const label = column.LabelOf(value);
      text << ' ' << value << (label == nullptr ? "" : *label);
    }
    text << '\n';
  }
  return text.str();
}

TEST_F(DataTest, ArrowFilesGiveTheBitsOfParquet) {
  ReadReport report;
  const Table parquet = ReadTable(Sample("types.parquet"), {}, &report);
  const std::string expected = Bits(parquet);
  EXPECT_THAT(expected, AllOf(HasSubstr("9007199254740993"), HasSubstr("1000000000000000000000000000001"),
                              HasSubstr("green")));
  for (const char* name : {"types.arrows", "types.feather"}) {
    ReadReport notices;
    const Table table = ReadTable(Sample(name), {}, &notices);
    EXPECT_EQ(Bits(table), expected) << name;
    EXPECT_EQ(notices.warnings.size(), report.warnings.size()) << name;
    EXPECT_THAT(notices.warnings, Contains(HasSubstr("\"list\""))) << name;
    EXPECT_EQ(table.columns.back().measurement, Measurement::kCategorical);
  }
  EXPECT_EQ(Bits(ReadTable(Sample("views.arrow"))), Bits(parquet, {"half", "nothing"}));
}

TEST_F(DataTest, ArrowColumnsAmongNestedOnes) {
  ReadReport report;
  EXPECT_EQ(
      Show(ReadTable(Sample("nested.arrow"), {}, &report)),
      "first: 1 . 3 4 | texts: . 1[a text of more than twelve bytes] 2[b] 2[b] | wide: . -1.25 . -1.25 | "
      "entries: 1.5 2.5 . 2.5 | duration: 1.5 . 1.5 . | last: 2[y] . . 1[x]");
  EXPECT_THAT(report.warnings, ElementsAre(HasSubstr("\"structure\", \"map\"")));
  EXPECT_EQ(Show(ReadTable(Sample("replaced.arrows"))), "c: 2[x] 3[y] 2[x] 1[w] 3[y] .");
  EXPECT_EQ(ErrorOf([] { ReadTable(Sample("grown.arrows")); }),
            "Cannot read " + Sample("grown.arrows") +
                ": one of its dictionaries comes in parts, which are not read.");
  EXPECT_EQ(ErrorOf([] { ReadTable(Sample("shared.arrows")); }),
            "Cannot read " + Sample("shared.arrows") +
                ": two of its columns use one dictionary as different types.");
}

TEST_F(DataTest, ArrowFilesThatAreNotWhole) {
  const std::string feather = Slurp(Sample("types.feather"));
  const std::string stream = Slurp(Sample("types.arrows"));
  const std::string notWhole = "it is not whole";
  const struct {
    const char* file;
    std::string bytes;
    std::string reason;
  } rows[] = {
      {"cut.arrow", feather.substr(0, feather.size() - 40), notWhole},
      {"short.feather", "ARROW1", notWhole},
      {"old.feather", "FEA1 and more", "it is a Feather file of version 1"},
      {"cut.arrows", stream.substr(0, stream.size() / 2), "it is cut short"},
      {"no.ipc", "no table at all, but a text", "it is cut short"},
  };
  for (const auto& row : rows) {
    const std::string path = WriteFile(row.file, row.bytes);
    EXPECT_THAT(ErrorOf([&] { ReadTable(path); }), HasSubstr("Cannot read " + path + ": " + row.reason));
  }
  // A stream without its last eight bytes may have been cut off between two messages.
  ReadReport report;
  const std::string unended = WriteFile("unended.arrows", stream.substr(0, stream.size() - 8));
  EXPECT_EQ(ReadTable(unended, {}, &report).caseCount, 12);
  EXPECT_THAT(report.warnings, Contains(HasSubstr("rows may be missing")));
}

// Cut short, or with bytes changed: a sentence or a table, never a crash of this process or a hang.
TEST_F(DataTest, DamagedArrowFiles) {
  for (const char* name : {"types.feather", "types.arrows", "views.arrow"}) {
    const std::string whole = Slurp(Sample(name));
    for (std::size_t i = 0; i < whole.size(); i += whole.size() / 40) {
      std::string damaged = whole;
      damaged[i] = static_cast<char>(damaged[i] ^ 0x55);
      WriteFile(name, damaged);
      EXPECT_THAT(ErrorOf([&] { ReadTable(Path(name)); }), Not(HasSubstr("crashed"))) << name << ' ' << i;
    }
  }
}

}  // namespace
}  // namespace velmora
