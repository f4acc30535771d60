// What the command says to wrong files and wrong words: the exit code, a sentence that names what is wrong,
// nothing on standard output and nothing written.
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/cli/command_checks.h"

namespace velmora::testing {
namespace {

TEST(BadFile, FailsWithOneSentence) {
  struct Row {
    const char* name;
    const char* fileName;
    const char* content;
    std::vector<std::string> said;
  };
  const Row rows[] = {
      {"empty", "a.csv", "", {"a.csv"}},
      {"header only", "a.csv", "x,y\n", {"a.csv"}},
      {"ragged", "a.csv", "x,y\n1,2\n3\n", {"a.csv", "3"}},
      {"bad quotes", "a.csv", "x,y\n1,\"2\n3,4\n", {"a.csv", "quot"}},
      {"not UTF-8", "a.csv", "x,y\n1,\xff\xfe\n2,b\n", {"a.csv", "UTF-8"}},
      {"duplicate names", "a.csv", "x,x\n1,2\n3,4\n", {"a.csv", "x"}},
      {"no Parquet", "a.parquet", "x,y\n1,2\n", {"a.parquet"}},
      {"no SPSS", "a.sav", "x,y\n1,2\n", {"a.sav"}},
      {"unknown kind", "a.docx", "x,y\n1,2\n", {"a.docx"}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const TemporaryFolder folder;
    const ProcessResult result = RunVelmora({"variables", folder.Write(row.fileName, row.content)});
    EXPECT_EQ(result.exitCode, 1) << result.err;
    EXPECT_EQ(result.out, "");
    ExpectSaid(result, row.said);
    EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
  }
}

TEST(BadWords, AreNamed) {
  struct Row {
    const char* name;
    std::vector<std::string> words;
    int exitCode;
    std::vector<std::string> said;
  };
  const Row rows[] = {
      {"nothing", {}, 2, {"Usage"}},
      {"unknown command", {"variabels", "a.csv"}, 2, {"variables"}},
      {"no data", {"variables"}, 2, {"DATA"}},
      {"missing file", {"variables", "b.csv"}, 1, {"b.csv"}},
      {"directory", {"variables", "."}, 1, {"."}},
      {"unknown option", {"variables", "a.csv", "--mising", "x"}, 2, {"--mising", "--missing"}},
      {"two files", {"variables", "a.csv", "a.csv"}, 2, {"a.csv"}},
      {"no value", {"variables", "a.csv", "--format"}, 2, {"--format"}},
      {"unknown format", {"variables", "a.csv", "--format", "xml"}, 2, {"--format", "xml"}},
      {"unknown missing",
       {"variables", "a.csv", "--missing", "tagret=1"},
       2,
       {"--missing", "tagret", "target"}},
      {"missing without code", {"variables", "a.csv", "--missing", "target"}, 2, {"--missing", "target"}},
      {"both kinds",
       {"variables", "a.csv", "--continuous", "amount", "--categorical", "amount"},
       2,
       {"--continuous", "--categorical", "amount"}},
      {"continuous text", {"variables", "a.csv", "--continuous", "kind"}, 2, {"--continuous", "kind"}},
      {"number beyond", {"variables", "a.csv", "--categorical", "v9"}, 2, {"--categorical", "v9"}},
      {"long delimiter", {"variables", "a.csv", "--delimiter", "::"}, 2, {"--delimiter"}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const TemporaryFolder folder;
    folder.Write("a.csv", "target,amount,kind\n1,2.5,a\n2,3.5,b\n3,4.5,a\n4,9.5,b\n");
    ProcessOptions options;
    options.folder = folder.Path();
    const ProcessResult result = RunVelmora(row.words, options);
    EXPECT_EQ(result.exitCode, row.exitCode) << result.err;
    EXPECT_EQ(result.out, "");
    ExpectSaid(result, row.said);
    EXPECT_EQ(folder.Names(), std::vector<std::string>{"a.csv"});
  }
}

TEST(Dependents, WithoutVariationAreNamed) {
  const TemporaryFolder folder;
  std::string data = "none,one,x\n";
  for (int i = 0; i < 20; ++i) data += ",7," + std::to_string(i % 4) + "\n";
  const ProcessResult result = RunVelmora(
      {"feature-selection", folder.Write("a.csv", data), "--dependents", "none", "one", "--quiet"});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_NE(result.err.find("none has no values"), std::string::npos) << result.err;
  EXPECT_NE(result.err.find("one has one value only"), std::string::npos) << result.err;
}

TEST(Output, FullDiskIsTold) {
  const TemporaryFolder folder;
  ProcessOptions full;
  full.outputTo = "/dev/full";
  const ProcessResult result = RunVelmora({"variables", folder.Write("a.csv", "x,y\n1,2\n2,3\n3,5\n")}, full);
  EXPECT_EQ(result.exitCode, 1);
  ExpectSaid(result, {"No space left"});
}

}  // namespace
}  // namespace velmora::testing
