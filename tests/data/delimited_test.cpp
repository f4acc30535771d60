// Delimited text: cells, refused files and their sentences.
#include <gmock/gmock.h>
#include <unistd.h>

#include <bit>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <random>

#include "tests/data/data_test_support.h"
#include "tests/support/paths.h"
#include "workbench/data/delimited_text.h"

namespace velmora {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

#ifdef _WIN32
constexpr char kPatternName[] = "we[i]rd.csv";  // no file's name has the others there
#else
constexpr char kPatternName[] = "we[i]r*d?.csv";
#endif

TEST_F(DataTest, FieldsBecomeCells) {
  const struct {
    const char* name;
    const char* file;
    std::string bytes;
    const char* expected;
    const char* warning;  // a part of the only warning, or ""
  } rows[] = {
      {"numbers and texts", "a.csv", "x,k\n1.5,b\n-2e3,a\n.5,b\n", "x: 1.5 -2000 0.5 | k: 2[b] 1[a] 2[b]",
       ""},
      {"byte-order mark, CR LF", "a.csv", "\xEF\xBB\xBFx,y\r\n1,2\r\n3,4\r\n", "x: 1 3 | y: 2 4", ""},
      {"lone CR", "a.csv", "x,y\r1,2\r3,4\r", "x: 1 3 | y: 2 4", ""},
      {"mixed line ends", "a.csv", "x,y\r\n1,2\n3,4\r\n", "x: 1 3 | y: 2 4", ""},
      {"no line end at the end", "a.csv", "x,y\n1,2", "x: 1 | y: 2", ""},
      {"missing cells", "a.csv", "x,k\n1,\n,\"\"\n2,b\n", "x: 1 . 2 | k: . . 1[b]", ""},
      {"blank lines", "a.csv", "\n\nx,y\n\n1,2\n\n3,4\n\n", "x: 1 3 | y: 2 4", ""},
      {"a line that names the separator", "a.csv", "\xEF\xBB\xBFsep=;\r\n\r\nx;y\r\n1;2,5\r\n",
       "x: 1 | y: 2.5", ""},
      {"and one that only looks so", "a.csv", "sep=,y\n1,2\n", "sep=: 1 | y: 2", ""},
      {"blank lines of one column", "a.csv", "x\n1\n\n3\n", "x: 1 . 3", ""},
      {"quotes", "a.csv", "x,k\n1,\"a,b\"\n2,\"say \"\"no\"\"\"\n3,\"two\nlines\"\n",
       "x: 1 2 3 | k: 1[a,b] 2[say \"no\"] 3[two\nlines]", ""},
      {"line feeds in quotes among CR LF", "a.csv", "a,\"Revenue\n(USD)\",d\r\n1,\"x\ny\",3\r\n4,z,6\r\n",
       "a: 1 4 | Revenue\n(USD): 1[x\ny] 2[z] | d: 3 6", ""},
      {"blanks around quotes", "a.csv", "x, \" k\" \n1, \"a \"\"b\"\"\" \n2,b\n",
       "x: 1 2 |  k: 1[a \"b\"] 2[b]", ""},
      {"a separator at the very end", "a.csv", "x,y\n1,2\n3,", "x: 1 3 | y: 2 .", ""},
      {"a quote inside a field", "a.csv", "x,k\n1,5\" pipe\n2,b\n", "x: 1 2 | k: 1[5\" pipe] 2[b]", ""},
      {"leading zeros are codes", "a.csv", "zip,n\n00123,0\n4711,0.5\n", "zip: 1[00123] 2[4711] | n: 0 0.5",
       ""},
      {"codes among numbers", "a.csv", "zip\n10\n11\n12\n13\n14\n007\n",
       "zip: 2[10] 3[11] 4[12] 5[13] 6[14] 1[007]", "Numbers with leading zeros are codes"},
      {"a late text makes a text column", "a.csv", "k\n10\n9\nx\n", "k: 1[10] 2[9] 3[x]", ""},
      {"a code after numbers keeps their spelling", "a.csv", "k\n1.50\n007\n", "k: 2[1.50] 1[007]", ""},
      {"byte order of codes", "a.csv", "k\n\xC3\xA9\nz\nZ\na\n", "k: 4[\xC3\xA9] 3[z] 1[Z] 2[a]", ""},
      {"decimal comma", "a.csv", "x;y\n1,5;2\n-0,25;3\n", "x: 1.5 -0.25 | y: 2 3", ""},
      {"both decimal marks", "a.csv", "x;y\n1,5;2\n2.5;3\n", "x: 1[1,5] 2[2.5] | y: 2 3", "decimal comma"},
      {"tab", "a.tsv", "x\ty\n1\ta,b;c\n", "x: 1 | y: 1[a,b;c]", ""},
      {"bar in txt", "a.txt", "x|y\n1|a,b\n2|c,d\n", "x: 1 2 | y: 1[a,b] 2[c,d]", ""},
      {"blanks around numbers and names", "a.csv", " x , y\n 1, 2\n3 , 4 \n", "x: 1 3 | y: 2 4", ""},
      {"NaN", "a.csv", "x,y\n1,nan\nNaN,2\n", "x: 1 . | y: . 2", ""},
      {"NaN in a text column is a text", "a.csv", "k\nnan\nb\n", "k: 2[nan] 1[b]", ""},
      {"missing marks among numbers", "a.csv", "x\n1\nNA\n?\n", "x: 1 . .", "\"NA\" count as missing"},
      {"missing marks among texts", "a.csv", "k\nNA\nb\n", "k: 1[NA] 2[b]", ""},
      {"infinity", "a.csv", "x\n1\ninf\n1e400\n", "x: 1 . .", "the first in case 2"},
      {"too small for a double", "a.csv", "x\n1e-400\n1e308\n", "x: 0 1e+308", ""},
      {"the missing-data code itself", "a.csv", "x\n1.7e308\n2\n", "x: . 2", "1.7e+308"},
      {"long identifiers", "a.csv", "id\n12345678901234567891\n3\n", "id: 1[12345678901234567891] 2[3]",
       "too long to be held exactly"},
      {"2^53 and its even successor are exact", "a.csv", "n\n9007199254740992\n9007199254740994\n",
       "n: 9.0072e+15 9.0072e+15", ""},
      {"dates", "a.csv", "d,t\n1970-01-02,1970-01-01 00:01:00\n,1970-01-02T00:00:00.5Z\n",
       "d: 1 . | t: 60 86400.5", ""},
      {"dates as people write them", "a.csv",
       "d,u,e\n02.01.1970,1/31/1970,1/13/1970\n1.1.1971,2/1/1970,13/1/1970\n",
       "d: 1 365 | u: 30 31 | e: 1[1/13/1970] 2[13/1/1970]", ""},
      {"day or month, nobody knows", "a.csv", "d\n1/2/1970\n3/4/1970\n", "d: 1[1/2/1970] 2[3/4/1970]", ""},
      {"thousands", "a.csv", "x\n\"1,022\"\n-7\n\"12,345,678.5\"\n", "x: 1022 -7 1.23457e+07",
       "\"1,022\" are read as numbers"},
      {"thousands by points", "a.csv", "x;y\n1.484,5;7\n2,25;8\n", "x: 1484.5 2.25 | y: 7 8",
       "\"1.484,5\" are read as numbers"},
      {"thousands told by the other column", "a.tsv", "x\ty\n1,022\t0.5\n12\t0.25\n",
       "x: 1022 12 | y: 0.5 0.25", "\"1,022\" are read as numbers"},
      {"points told by the other column", "a.csv", "x;y\n1.022;0,5\n12;0,25\n", "x: 1022 12 | y: 0.5 0.25",
       "\"1.022\" are read as numbers"},
      {"thousands or decimals, nobody knows", "a.tsv", "x\ty\n1,022\t1\n12,500\t2\n",
       "x: 1.022 12.5 | y: 1 2", "could separate thousands"},
      {"percentages", "a.csv", "p\n12%\n-0.5 %\n\n", "p: 12 -0.5 .", "\"12%\" are read as numbers"},
      {"no thousands", "a.csv", "a,b,c\n\"1,2\",\"1,0000\",\"01,234\"\n\"1,5\",\"1,000\",5%\n",
       "a: 1[1,2] 2[1,5] | b: 2[1,0000] 1[1,000] | c: 1[01,234] 2[5%]", ""},
      {"no year 0", "a.csv", "d,u\n0000-01-01,1.1.0000\n0001-01-01,13.1.0001\n",
       "d: 1[0000-01-01] 2[0001-01-01] | u: 1[1.1.0000] 2[13.1.0001]", ""},
      {"no such day", "a.csv", "d\n2023-02-29\n", "d: 1[2023-02-29]", ""},
      {"names that occur again", "a.csv", "a,b,a,a_2,a\n1,2,3,4,5\n",
       "a: 1 | b: 2 | a_3: 3 | a_2: 4 | a_4: 5", "column 3 is called a_3, and 1 more likewise."},
      {"currencies and units", "a.csv",
       "a,b,c\n\"$1,234.50\",3 kg,\"12,50 \xE2\x82\xAC\"\n-$5,2.5 kg,\"1.000,25 \xE2\x82\xAC\"\n",
       "a: 1234.5 -5 | b: 3 2.5 | c: 12.5 1000.25", "3 variables of"},
      {"units that differ", "a.csv", "a,b\n3 kg,$1\n2 lb,2\n", "a: 2[3 kg] 1[2 lb] | b: 1[$1] 2[2]", ""},
      {"names", "a.csv", "a,,Var2\n1,2,3\n", "a: 1 | Var2_: 2 | Var2: 3", "has no name"},
      {"a pattern as file name", kPatternName, "x\n1\n", "x: 1", ""},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    ReadReport report;
    Table table;
    const std::string path = WriteFile(row.file, row.bytes);
    EXPECT_EQ(ErrorOf([&] { table = ReadTable(path, {}, &report); }), "no error");
    EXPECT_EQ(Show(table), row.expected);
    if (*row.warning == 0)
      EXPECT_THAT(report.warnings, ElementsAre());
    else
      EXPECT_THAT(report.warnings, ElementsAre(HasSubstr(row.warning)));
    std::filesystem::remove(path);
  }
}

TEST_F(DataTest, EqualWarningsAreOneSentence) {
  std::string names;
  std::string cells;
  for (int i = 0; i < 12; ++i) {
    names += (i ? ",x" : "x") + std::to_string(i);
    cells += i ? ",NA" : "NA";
  }
  const std::string path = WriteFile("a.csv", names + "\n" + cells + "\n1,2,3,4,5,6,7,8,9,10,11,12\n");
  ReadReport report;
  ReadTable(path, {}, &report);
  EXPECT_THAT(report.warnings,
              ElementsAre("Fields such as \"NA\" count as missing among numbers: 12 variables of " + path +
                          ", \"x0\", \"x1\", \"x2\", \"x3\", \"x4\" and 7 more."));
  report.warnings.clear();
  ReadTable(WriteFile("b.csv", "income\n10\n11\n12\n13\n14\nunknown\n"), {}, &report);
  EXPECT_THAT(report.warnings, ElementsAre(HasSubstr("--missing-text \"unknown\"")));
  report.warnings.clear();
  EXPECT_EQ(Show(ReadTable(WriteFile("c.csv", ",,\n1,2,3\n"), {}, &report)), "Var1: 1 | Var2: 2 | Var3: 3");
  EXPECT_THAT(report.warnings, ElementsAre(HasSubstr("is called Var1, and 2 more likewise.")));
}

TEST_F(DataTest, AFileThatChangesWhileItIsReadIsNamed) {
  std::string bytes = "x,k\n";
  for (int i = 0; i < 200000; ++i) bytes += "1.5,abc\n";
  const std::string path = WriteFile("a.csv", bytes);
  ReadOptions options;
  options.progress = [&](double) {
    std::ofstream(path, std::ios::binary | std::ios::app) << "2\n";
    return true;
  };
  EXPECT_EQ(ErrorOf([&] { ReadTable(path, options); }),
            path + " was changed while it was read; read it again.");
}

TEST_F(DataTest, MissingMarksAmongThousands) {
  ReadReport report;
  const Table table = ReadTable(WriteFile("a.csv", "x\n\"1,022\"\nNA\n7\nNA\n"), {}, &report);
  EXPECT_EQ(Show(table), "x: 1022 . 7 .");
  EXPECT_THAT(report.warnings, ElementsAre(HasSubstr("a.csv has 2 of them"), HasSubstr("read as numbers")));
}

TEST_F(DataTest, BadFilesAreRefusedInOneSentence) {
  const struct {
    const char* name;
    const char* file;
    std::string bytes;
    const char* expected;  // after the file's path
  } rows[] = {
      {"empty", "a.csv", "", " is empty."},
      {"only blank lines", "a.csv", "\n\n", " is empty: it has no line that names the columns."},
      {"header only", "a.csv", "x,y\n", " has column names but no cases."},
      {"short row", "a.csv", "x,y\n1,2\n3\n", ", row 3: 1 field where the first line names 2 columns."},
      {"long row", "a.csv", "x,y\n1,2\n3,4,5\n", ", row 3: 3 fields where the first line names 2 columns."},
      {"separator at every line's end", "a.csv", "x,y\n1,2,\n3,4,\n",
       ", row 2: 3 fields where the first line names 2 columns."},
      {"row and line differ", "a.csv", "x,y\n1,\"a\nb\"\n3\n",
       ", row 3 (line 4): 1 field where the first line names 2 columns."},
      {"open quote", "a.csv", "x,y\n1,2\n3,\"4\n5,6\n", ", row 3: a quote is opened and never closed."},
      {"text after a quote", "a.csv", "x,y\n1,\"a\"b\n", ", row 2: text follows a closing quote."},
      {"UTF-8 with a byte that is not", "a.csv", "x,y\n1,\xC3\xA4\xC3\xB6\n3,caf\xE9\n",
       ", row 3: the bytes are not UTF-8; save the file with the encoding UTF-8."},
      {"cut UTF-8", "a.csv", "x,y\n1,caf\xC3",
       ", row 2: the bytes are not UTF-8; save the file with the encoding UTF-8."},
      {"no character of Windows-1252 either", "a.csv", "x\n\xC0\x81\n",
       ", row 2: the bytes are not UTF-8; save the file with the encoding UTF-8."},
      {"half a character of UTF-16", "a.csv", std::string("\xFF\xFEx\0\n", 5),
       " is not UTF-16: it ends with half of a character."},
      {"binary", "a.csv", std::string("x,y\n1,\0\n", 8),
       ", row 2: there is a NUL byte, so this is not a text file."},
      {"lone CR among LF", "a.csv", "x,y\n1,2\r3,4\n",
       ", row 2: a line ends in a lone carriage return while other lines end in line feeds."},
      {"unknown ending", "a.xyz", "x", nullptr},
  };
  for (const auto& row : rows) {
    const std::string path = WriteFile(row.file, row.bytes);
    const std::string error = ErrorOf([&] { ReadTable(path); });
    if (row.expected != nullptr)
      EXPECT_EQ(error, path + row.expected) << row.name;
    else
      EXPECT_THAT(error, HasSubstr("what kind of file")) << row.name;
  }
  EXPECT_EQ(ErrorOf([&] { ReadTable(Path("none.csv")); }), "There is no file " + Path("none.csv") + ".");
  EXPECT_EQ(ErrorOf([&] { ReadTable(folder_.string()); }),
            folder_.string() + " is a directory, not a data file.");
}

// Every spelling of a double must give strtod's bits, whatever path the parser takes.
TEST_F(DataTest, NumbersReadBackToTheSameBits) {
  constexpr int kCases = 100000;
  constexpr int kColumns = 50;
  std::mt19937_64 random(20261121);
  std::vector<std::vector<double>> expected(kColumns, std::vector<double>(kCases));
  std::string bytes;
  for (int j = 0; j < kColumns; ++j) bytes += (j ? ",x" : "x") + std::to_string(j);
  const char* const formats[] = {"%.17g", "%.15g", "%.6f", "%.3e", "%g", "%.25g", "%.0f"};
  for (int i = 0; i < kCases; ++i) {
    for (int j = 0; j < kColumns; ++j) {
      double value;
      if (j % 3 == 0) {
        const std::uint64_t bits = random();
        std::memcpy(&value, &bits, sizeof value);  // any double at all
        if (!std::isfinite(value) || std::fabs(value) > 1.6e308) value = 0.1;
      } else {
        value = (static_cast<double>(random() >> 11) * 0x1p-53 - 0.5) * std::pow(10.0, j % 9);
      }
      char text[400];
      std::snprintf(text, sizeof text,
                    formats[static_cast<std::size_t>(std::fabs(value) < 1e15 ? j % 7 : j % 2)], value);
      expected[static_cast<std::size_t>(j)][static_cast<std::size_t>(i)] = std::strtod(text, nullptr);
      bytes += j ? ',' : '\n';
      bytes += text;
    }
  }
  const Table table = ReadTable(WriteFile("big.csv", bytes + "\n"));
  ASSERT_EQ(table.caseCount, kCases);
  for (std::size_t j = 0; j < kColumns; ++j)
    ASSERT_EQ(std::memcmp(table.columns[j].values.data(), expected[j].data(), kCases * sizeof(double)), 0)
        << "column " << j;
}

// Where blocks end makes no difference: every split of a text gives the fields of the whole,
// or finds the same damage.
TEST(DelimitedText, BlocksMayEndAnywhere) {
  const auto split = [](std::string_view rest, std::size_t blockBytes) {
    std::string shown;
    try {
      DelimitedText text("a.csv", ',',
                         {[&](char* buffer, std::size_t size) {
                            const std::size_t count = std::min(size, rest.size());
                            std::memcpy(buffer, rest.data(), count);
                            rest.remove_prefix(count);
                            return count;
                          },
                          [] { return 0; }},
                         {}, blockBytes);
      for (const std::string& name : text.Names()) shown += "<" + name + ">";
      const RecordScanner scanner(',', text.Names().size());
      const std::vector<ColumnPlan> plans(text.Names().size(), {ColumnUse::kTexts, 0});
      std::string scratch;
      for (TextBlock block; text.NextBytes(block);) {
        scanner.Scan(block, plans);
        text.Settle(block, scanner, plans);
        for (std::int64_t row = 0; row < block.rowCount; ++row)
          for (std::size_t column = 0; column < plans.size(); ++column) {
            const double cell = block.Cells(column)[static_cast<std::size_t>(row)];
            shown += "[" + std::string(block.Text(std::bit_cast<FieldPlace>(cell), scratch)) + "]";
          }
      }
      text.CheckEnd();
    } catch (const DataError& error) {
      return std::string(error.what());
    }
    return shown;
  };
  std::mt19937_64 random(11);
  const char* const parts[] = {",",    ",", "\n", "\r\n",     "\r",      "\"",
                               "\"\"", "a", " ",  "\xC3\xA9", "\"b\n\"", "\xC3"};
  for (int i = 0; i < 3000; ++i) {
    std::string text = "x,y\n";
    for (auto count = random() % 12; count > 0; --count) text += parts[random() % std::size(parts)];
    const std::string whole = split(text, 4096);
    for (const std::size_t blockBytes : {1, 2, 3, 5, 8, 13})
      ASSERT_EQ(split(text, blockBytes), whole) << text;
  }
}

// Cells and notices are the same for every number of threads, also when a column of numbers turns
// out to hold texts.
TEST_F(DataTest, ThreadsMakeNoDifference) {
  std::mt19937_64 random(5);
  const char* const rare[] = {
      "x", "007", "NA", "\"a\nb\"", "1.5e3", "12345678901234567891", "", "\"say \"\"x\"\"\""};
  std::string bytes = "a,b,c,d,e,f,g,h\n";
  for (int row = 0; row < 150000; ++row) {
    for (int column = 0; column < 8; ++column) {
      if (column > 0) bytes += ',';
      const bool isRare = column > 0 && random() % (std::uint64_t{1} << (2 * column)) == 0;
      bytes += isRare ? rare[random() % std::size(rare)] : std::to_string(random() % 1000) + ".25";
    }
    bytes += '\n';
  }
  const std::string path = WriteFile("t.csv", bytes);
  const auto read = [&](int threads) {
    ReadOptions options;
    options.threads = threads;
    ReadReport report;
    const Table table = ReadTable(path, options, &report);
    std::string shown = Show(table);
    for (const std::string& warning : report.warnings) shown += "\n" + warning;
    return shown;
  };
  const std::string alone = read(1);
  for (const int threads : {2, 3, 8}) EXPECT_TRUE(read(threads) == alone) << threads;
}

// Quoted line ends at every place of the splitter's blocks.
TEST_F(DataTest, RowsKeepTheirOrderAcrossBlocks) {
  std::string bytes = "n,k\n";
  constexpr int kCases = 400000;
  for (int i = 0; i < kCases; ++i)
    bytes += std::to_string(i) + (i % 5 == 0 ? ",\"a\nb\"\n" : ",\"x\"\"y\"\n");
  const Table table = ReadTable(WriteFile("rows.csv", bytes));
  ASSERT_EQ(table.caseCount, kCases);
  for (int i = 0; i < kCases; ++i) {
    ASSERT_EQ(table.columns[0].values[static_cast<std::size_t>(i)], i);
    ASSERT_EQ(table.columns[1].values[static_cast<std::size_t>(i)], i % 5 == 0 ? 1 : 2);
  }
}

TEST_F(DataTest, ReadingCanBeCancelledAtEveryReport) {
  std::string bytes = "x,k\n";
  for (int i = 0; i < 2000000; ++i) bytes += "1.5,abc\n";
  bytes += "late text,abc\n";  // so that the first column is read again
  const std::string path = WriteFile("long.csv", bytes);
  int reports = 0;
  ReadOptions options;
  // The reports of one thread are those of its tasks; several also report while they wait.
  options.threads = 1;
  double last = 0;
  options.progress = [&](double fraction) {
    EXPECT_GE(fraction, last);
    EXPECT_LE(fraction, 1);
    last = fraction;
    ++reports;
    return true;
  };
  ReadTable(path, options);
  EXPECT_GT(last, 0.99);
  ASSERT_GT(reports, 20);
  for (int stopAt = 0; stopAt < reports / 2; stopAt += reports / 12) {
    int seen = 0;
    options.progress = [&](double) { return seen++ < stopAt; };
    EXPECT_THROW(ReadTable(path, options), Cancelled) << stopAt;
  }
  options.threads = 3;
  options.progress = [&](double) { return false; };
  EXPECT_THROW(ReadTable(path, options), Cancelled);
}

TEST_F(DataTest, MissingOptions) {
  const std::string path = WriteFile("a.csv", "x,k\n99,n/a\n,b\n1,c\n");
  Table table = ReadTable(path);
  EXPECT_EQ(ApplyMissingOption(table, "x=99"), 1);
  EXPECT_EQ(Show(table.columns[0]), "x: . . 1");
  EXPECT_EQ(table.columns[0].values[1], 99);
  EXPECT_EQ(ApplyMissingOption(table, "k=b"), 1);
  EXPECT_EQ(Show(table.columns[1]), "k: 3[n/a] . 2[c]");
  EXPECT_EQ(ApplyMissingOption(table, "v1=1"), 1);
  EXPECT_EQ(Show(table.columns[0]), "x: . . .");
  Table several = ReadTable(WriteFile("b.csv", "x,k\n-9,\"a,b\"\n-8,a\n1,b\n-9.5,c\n"));
  EXPECT_EQ(ApplyMissingOption(several, "x=-9,-8"), 2);
  EXPECT_EQ(ApplyMissingOption(several, "k=a,b"), 1);  // a label that has a comma
  EXPECT_EQ(ApplyMissingOption(several, "k=b,c"), 2);
  EXPECT_EQ(Show(several), "x: . . 1 -9.5 | k: . 1[a] . .");
  EXPECT_THAT(ErrorOf([&] { ApplyMissingOption(several, "x=-9,"); }), HasSubstr("neither a number"));
  EXPECT_THAT(ErrorOf([&] { ApplyMissingOption(table, "x"); }), HasSubstr("NAME=CODE"));
  EXPECT_THAT(ErrorOf([&] { ApplyMissingOption(table, "k=zz"); }),
              HasSubstr("neither a number nor one of its value labels"));
  EXPECT_THAT(ErrorOf([&] { ApplyMissingOption(table, "kk=1"); }), HasSubstr("did you mean \"k\"?"));
  ReadOptions options;
  options.missingTexts = {"n/a"};
  EXPECT_EQ(Show(ReadTable(path, options).columns[1]), "k: . 1[b] 2[c]");
}

TEST(Samples, AreReadAsTheirDescriptionSays) {
  const struct {
    const char* file;
    int cases, variables, missing, texts, continuous;
  } rows[] = {{"german_credit.csv", 1000, 21, 0, 14, 3},
              {"house_prices.csv", 546, 12, 0, 6, 2},
              {"vehicle.csv", 846, 19, 0, 1, 18},
              {"schools.csv", 200, 24, 283, 6, 17},
              {"housing_satisfaction.csv", 72, 5, 0, 4, 1}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.file);
    ReadReport report;
    const Table table = ReadTable(SourceDir() + "/samples/" + row.file, {}, &report);
    int missing = 0;
    int texts = 0;
    int continuous = 0;
    for (const Column& column : table.columns) {
      for (double value : column.values) missing += IsMissing(value, column.missingCode);
      texts += column.fromText;
      continuous += column.measurement == Measurement::kContinuous;
      EXPECT_EQ(column.role, Role::kUsable) << column.name << ": " << column.roleReason;
    }
    EXPECT_EQ(table.caseCount, row.cases);
    EXPECT_EQ(table.VariableCount(), row.variables);
    EXPECT_EQ(missing, row.missing);
    EXPECT_EQ(texts, row.texts);
    EXPECT_EQ(continuous, row.continuous);
    EXPECT_THAT(report.warnings, ElementsAre());
  }
}

}  // namespace
}  // namespace velmora
