// Saving and reading back, the sidecar, files that are written completely or not at all.
#include <gmock/gmock.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <random>
#include <span>

#include "tests/data/data_test_support.h"
#include "workbench/data/atomic_file.h"
#include "workbench/data/save.h"

namespace velmora {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

Column Make(const std::string& name, std::vector<double> values) {
  Column column;
  column.name = name;
  column.values = std::move(values);
  return column;
}

// Everything that a column can hold, in forms that a careless writer would lose.
Table Rich() {
  Table table;
  table.caseCount = 4;
  table.columns.push_back(Make("number", {0.1, -1e-310, 1.2345678901234567e19, kMissing}));
  table.columns.push_back(Make("with, comma \"q\"", {-0.0, 5, 2, -9}));
  table.columns.back().missingCode = -9;
  table.columns.back().longName = "A long name, with \"quotes\" and \xC3\xA9";
  table.columns.back().labels = {{2, "two"}, {5, "five\nlines"}, {99, "never seen"}};
  table.columns.push_back(Make("text", {1, 3, kMissing, 2}));
  table.columns.back().fromText = true;
  table.columns.back().labels = {{1, " blank"}, {2, "a,b;c\t\"d\""}, {3, "two\r\nlines"}};
  table.columns.push_back(Make("digits", {1, 2, 1, 2}));
  table.columns.back().fromText = true;
  table.columns.back().labels = {{1, "10"}, {2, "9"}};
  table.columns.push_back(Make("text dates", {1, 2, 1, 2}));
  table.columns.back().fromText = true;
  table.columns.back().labels = {{1, "2020-01-01"}, {2, "2020-01-02"}};
  table.columns.push_back(Make("own codes", {7, 3, 7, kMissing}));
  table.columns.back().fromText = true;
  table.columns.back().labels = {{3, "z"}, {7, "a"}, {8, "unused"}};
  table.columns.push_back(Make("flag", {0, 1, kMissing, 1}));
  table.columns.back().fromBoolean = true;
  table.columns.back().labels = {{0, "false"}, {1, "true"}};
  table.columns.push_back(Make("day", {0, 18262, -700000, kMissing}));
  table.columns.back().dateUnit = DateUnit::kDays;
  table.columns.push_back(Make("half day", {0.5, 1, 2, 3}));
  table.columns.back().dateUnit = DateUnit::kDays;
  table.columns.push_back(Make("moment", {0, 1577872800.5, -1e9 - 0.25, kMissing}));
  table.columns.back().dateUnit = DateUnit::kSeconds;
  table.columns.back().declaredMeasurement = Measurement::kCategorical;
  table.bundles = {{"best", {3, 1}}, {"empty", {}}};
  return table;
}

std::string ShowAll(const Table& table) {
  std::ostringstream text;
  text.precision(17);
  for (const Column& column : table.columns) {
    text << column.name << '|' << column.longName << '|' << column.missingCode << '|' << column.fromText
         << column.fromBoolean << static_cast<int>(column.dateUnit);
    if (column.declaredMeasurement) text << static_cast<int>(*column.declaredMeasurement);
    for (const ValueLabel& label : column.labels) text << '|' << label.value << '=' << label.text;
    for (double value : column.values) text << ' ' << value;
    text << '\n';
  }
  for (const VariableBundle& bundle : table.bundles) {
    text << bundle.name;
    for (int number : bundle.variableNumbers) text << ' ' << number;
    text << '\n';
  }
  return text.str();
}

TEST_F(DataTest, EverythingSurvivesSavingAndReading) {
  const Table rich = Rich();
  for (const char* name : {"t.csv", "t.tsv", "t.parquet"}) {
    SCOPED_TRACE(name);
    const std::string path = Path(name);
    SaveTable(rich, path);
    ReadReport report;
    const Table back = ReadTable(path, {}, &report);
    EXPECT_EQ(ShowAll(back), ShowAll(rich));
    EXPECT_THAT(report.warnings, ElementsAre());
    // Saving what was read changes nothing, the bytes included.
    const std::string bytes = Slurp(path);
    SaveTable(back, path);
    EXPECT_EQ(Slurp(path), bytes);
  }
}

// Numbers of one and two bytes for the levels in a Parquet file, and more levels than those have.
TEST_F(DataTest, AnyNumberOfLevelsSurvives) {
  for (const int levels : {255, 256, 65535, 65536}) {
    SCOPED_TRACE(levels);
    std::vector<std::string> texts;
    for (int i = 0; i < levels; ++i) texts.push_back("level " + std::to_string(i));
    std::sort(texts.begin(), texts.end());
    Table table;
    table.caseCount = 2 * levels + 1;
    Column& column = table.columns.emplace_back(Make("x", {kMissing}));
    column.fromText = true;
    for (int i = 0; i < levels; ++i) {
      column.labels.push_back({i + 1.0, texts[static_cast<std::size_t>(i)]});
      column.values.Own().insert(column.values.Own().end(), {levels - i + 0.0, i + 1.0});
    }
    SaveTable(table, Path("levels.parquet"));
    EXPECT_TRUE(ShowAll(ReadTable(Path("levels.parquet"))) == ShowAll(table));
  }
}

TEST_F(DataTest, AnyDoubleSurvives) {
  Table table;
  table.caseCount = 20000;
  table.columns.push_back(Make("x", {}));
  std::mt19937_64 random(7);
  while (table.columns[0].values.size() < 20000) {
    const std::uint64_t bits = random();
    double value;
    std::memcpy(&value, &bits, sizeof value);
    if (value > -1.6e308 && value < 1.6e308) table.columns[0].values.Own().push_back(value);
  }
  for (const char* name : {"x.csv", "x.parquet"}) {
    SaveTable(table, Path(name));
    const Table back = ReadTable(Path(name));
    ASSERT_EQ(back.caseCount, table.caseCount);
    EXPECT_EQ(
        std::memcmp(back.columns[0].values.data(), table.columns[0].values.data(), 20000 * sizeof(double)), 0)
        << name;
  }
}

// Columns that another table holds, handed over some rows at a time.
class LentColumns : public RowMaker {
 public:
  LentColumns(const Table& table, std::size_t firstMade) : table_(table), firstMade_(firstMade) {}

  void Make(std::int64_t first, std::size_t count) override {
    EXPECT_EQ(first, next_);
    EXPECT_LE(count, kMostRows);
    if (first >= failsFrom) throw DataError("the rows cannot be made");
    first_ = static_cast<std::size_t>(first);
    count_ = count;
    next_ = first + static_cast<std::int64_t>(count);
  }
  std::span<const double> Rows(std::size_t column) const override {
    if (column < firstMade_) return {};
    return {table_.columns[column].values.data() + first_, count_};
  }

  std::int64_t failsFrom = std::numeric_limits<std::int64_t>::max();

 private:
  const Table& table_;
  std::size_t firstMade_, first_ = 0, count_ = 0;
  std::int64_t next_ = 0;
};

TEST_F(DataTest, RowsMadeWhileTheyAreWritten) {
  for (const std::int64_t cases : {1, 2048, 4096, 4097, 130000}) {
    SCOPED_TRACE(cases);
    Table whole;
    whole.caseCount = cases;
    for (const char* name : {"held", "number", "level"}) whole.columns.push_back(Make(name, {}));
    for (std::int64_t i = 0; i < cases; ++i) {
      for (Column& column : whole.columns)
        column.values.Own().push_back(i % 5 == 3 ? kMissing : static_cast<double>(i % 3 + 1));
    }
    whole.columns[1].values.Own()[0] = 0.1;
    whole.columns[2].fromText = true;
    whole.columns[2].labels = {{1, "b"}, {2, "a"}, {3, "z"}, {4, "unused"}};
    Table named = whole;
    for (std::size_t i = 1; i < named.columns.size(); ++i) named.columns[i].values = {};
    LentColumns maker(whole, 1);
    SaveTable(named, Path("made.parquet"), {.maker = &maker});
    SaveTable(whole, Path("whole.parquet"));
    EXPECT_TRUE(Show(ReadTable(Path("made.parquet"))) == Show(ReadTable(Path("whole.parquet"))));
    LentColumns failing(whole, 1);
    failing.failsFrom = cases > 4096 ? 4096 : 0;
    EXPECT_EQ(ErrorOf([&] { SaveTable(named, Path("failed.parquet"), {.maker = &failing}); }),
              "the rows cannot be made");
    EXPECT_FALSE(std::filesystem::exists(Path("failed.parquet")));
  }
}

TEST_F(DataTest, SidecarOnlyWhenNeeded) {
  const std::string path = WriteFile("a.csv", "x,k\n1,b\n2,a\n");
  const std::string sidecar = path + ".bundles.json";
  Table table = ReadTable(path);
  SaveTable(table, path);
  EXPECT_EQ(Slurp(path), "x,k\n1,b\n2,a\n");
  EXPECT_FALSE(std::filesystem::exists(sidecar));
  table.bundles = {{"all", {1, 2}}};
  SaveTable(table, path);
  EXPECT_TRUE(std::filesystem::exists(sidecar));
  // The data were edited since: what still fits is kept, what does not is named.
  WriteFile("a.csv", "k,y\nb,1\nc,2\n");
  ReadReport report;
  table = ReadTable(path, {}, &report);
  EXPECT_THAT(table.bundles.at(0).variableNumbers, ElementsAre(1));
  EXPECT_THAT(report.warnings, ElementsAre(HasSubstr("\"x\" of the bundle \"all\" is not in")));
  table.bundles.clear();
  SaveTable(table, path);
  EXPECT_FALSE(std::filesystem::exists(sidecar));
  WriteFile("a.csv.bundles.json", "{\"format\": 3");
  EXPECT_EQ(ErrorOf([&] { ReadTable(path); }),
            sidecar + " is damaged: it is not the description of a table.");
}

TEST_F(DataTest, SavingCanBeCancelledAndLeavesNothing) {
  Table table;
  table.caseCount = 400000;
  table.columns.push_back(Make("x", std::vector<double>(400000, 0.1)));
  table.columns.push_back(Make("y", std::vector<double>(400000, 2.5)));
  for (const char* name : {"x.csv", "x.parquet"}) {
    int reports = 0;
    double last = 0;
    SaveTable(table, Path(name), {.progress = [&](double fraction) {
                EXPECT_GE(fraction, last);
                last = fraction;
                return ++reports > 0;
              }});
    ASSERT_GT(reports, 3) << name;
    std::filesystem::remove(Path(name));
    // At once, and when some groups of rows are on the disk.
    for (const double stopAt : {0.0, 0.7}) {
      const auto goesOn = [&](double fraction) { return fraction < stopAt; };
      EXPECT_THROW(SaveTable(table, Path(name), {.progress = goesOn}), Cancelled) << name << stopAt;
      EXPECT_TRUE(std::filesystem::is_empty(folder_)) << name << stopAt;
    }
  }
}

TEST_F(DataTest, MessagesNameTheFileThatTheUserNamed) {
  Table table;
  table.caseCount = 1;
  table.columns.push_back(Make("x", {1}));
  WriteFile("file", "");
  for (const char* name : {"file/x.csv", "file/x.parquet"})
    EXPECT_THAT(ErrorOf([&] { SaveTable(table, Path(name), {.shownPath = "shown.csv"}); }),
                ::testing::StartsWith("Cannot write shown.csv: "));
  const std::string cut("n\0.csv", 6);
  EXPECT_THAT(ErrorOf([&] { SaveTable(table, Path(cut)); }), HasSubstr("holds a NUL character"));
  EXPECT_THAT(ErrorOf([&] { ReadTable(Path(cut)); }), HasSubstr("holds a NUL character"));
  EXPECT_TRUE(std::filesystem::exists(Path("file")));
}

}  // namespace
}  // namespace velmora
