// Wrong files and wrong words give an exit code and one sentence that names the fault, no standard
// output and no files.
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/cli/command_checks.h"
#include "workbench/data/spreadsheet_csv.h"

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
      {"not UTF-8", "a.csv", "x,y\n1,\xc3\xa4\xc3\xb6\n2,b\xfe\n", {"a.csv", "UTF-8"}},
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

// Escape sequences, C1 and bidirectional controls of names, labels, options and file names.
TEST(Output, NoControlReachesATerminal) {
  const std::string evil =
      "e\x1b]0;title\x07\xc2\x9b"
      "31m\xe2\x80\xae";
  const TemporaryFolder folder;
  std::string data = evil + ",x," + evil + "2\n";
  for (int i = 0; i < 40; ++i) {
    data += (i % 2 == 0 ? evil + "A," : evil + "B,") + std::to_string(i % 5) + "," + evil +
            std::to_string(i % 3) + "\n";
  }
#ifdef _WIN32
  const std::string path = folder.Write("a.csv", data);  // no file has such a name there
#else
  const std::string path = folder.Write(evil + ".csv", data);
#endif
  const std::vector<std::string> rows[] = {
      {"variables", path},
      {"feature-selection", path, "--dependents", evil},
      {"screen", path, "--binary-response", evil, "--good", evil + "A", "--bad", evil + "B"},
      {"screen", path, "--categorical-response", evil + "2"},
      {"screen", path, "--binary-response", evil, "--good", evil + "A", "--bad", evil + "C"},
      {"feature-selection", path, "--dependents", evil + "none"},
      {"feature-selection", path, "--dependents", evil, "--" + evil},
      {"feature-selection", path, "--dependents", evil, "--select", evil},
      {"variables", evil + "none.csv"},
  };
  for (const std::vector<std::string>& words : rows) {
    SCOPED_TRACE(words[0] + " " + words.back());
    const ProcessResult result = RunVelmora(words);
    const std::string all = result.out + result.err;
    EXPECT_GT(all.size(), 0u);
    for (const char* control : {"\x1b", "\x07", "\xc2\x9b", "\xe2\x80\xae"})
      EXPECT_EQ(all.find(control), std::string::npos) << all;
  }
}

TEST(Output, LongWordsAreShortened) {
  const TemporaryFolder folder;
  const std::string data = folder.Write("a.csv", "x,y\n1,2\n2,3\n3,5\n"), longWord(100000, 'w');
  for (const std::vector<std::string>& words :
       {std::vector<std::string>{"variables", data, "--" + longWord},
        {"variables", data, longWord},
        {"variables", data, "--format", longWord},
        {"variables", data, "--continuous", longWord},
        {"screen", data, "--binary-response", "x", "--good", longWord, "--bad", "1"},
        {"screen", data, "--continuous-response", "x", "--best", longWord},
        {longWord}}) {
    const ProcessResult result = RunVelmora(words);
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_LT(result.err.size(), 5000u);
  }
}

TEST(Options, EndAtTwoDashesAndMayBeCutShort) {
  const TemporaryFolder folder;
  folder.Write("-v.csv", "x,y\n1,2\n2,3\n3,5\n4,7\n");
  ProcessOptions options;
  options.folder = folder.Path();
  struct Row {
    std::vector<std::string> words;
    int exitCode;
    std::vector<std::string> said;
  };
  const Row rows[] = {
      {{"variables", "--", "-v.csv"}, 0, {}},
      {{"feature-selection", "--dependents", "y", "--", "-v.csv"}, 0, {}},
      {{"feature-selection", "./-v.csv", "--dependent", "y"}, 0, {}},
      {{"feature-selection", "./-v.csv", "--dependent=y", "--casew"}, 0, {}},
      {{"feature-selection", "./-v.csv", "--dep", "y"}, 2, {"There is no option --dep"}},
      {{"variables", "--missing", "x=1", "y=2", "./-v.csv"}, 0, {}},
      {{"feature-selection", "--dependents", "y", "--missing", "x=1", "y=7", "./-v.csv"}, 0, {}},
      {{"variables", "./-v.csv", "--missing", "x=1", "z=2"}, 2, {"--missing", "\"z\""}},
      {{"variables", "--", "-v.csv", "--format"}, 2, {"Unexpected argument '--format'"}},
      {{"run", "--quiet", "--", "-none.py"}, 1, {"-none.py"}},
      {{"feature-selection", "./-v.csv", "y"}, 2, {"Unexpected argument 'y'", "--dependents"}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.words.back());
    const ProcessResult result = RunVelmora(row.words, options);
    EXPECT_EQ(result.exitCode, row.exitCode) << result.err;
    ExpectSaid(result, row.said);
  }
}

TEST(Predictors, ThatAreLeftOutAreNamedWhenNoneIsLeft) {
  const TemporaryFolder folder;
  std::string data = "y,when,same\n";
  for (int i = 0; i < 20; ++i) data += std::to_string(i % 7) + ",2024-01-" + std::to_string(10 + i) + ",1\n";
  const ProcessResult result =
      RunVelmora({"feature-selection", folder.Write("a.csv", data), "--dependents", "y"});
  EXPECT_EQ(result.exitCode, 2);
  ExpectSaid(result, {"No usable variable is left", "when (", "same (", "--predictors"});
}

TEST(Weights, ThatMakePValuesWrongAreNamed) {
  const TemporaryFolder folder;
  std::string data = "y,z,x,w\n";
  for (int i = 0; i < 40; ++i) {
    data += std::string(i % 2 ? "a," : "b,") + std::to_string(i * 7 % 11) + "," + std::to_string(i % 5) +
            "," + (i == 3 ? "-1" : "2.5") + "\n";
  }
  const std::string path = folder.Write("a.csv", data);
  const ProcessResult categorical =
      RunVelmora({"feature-selection", path, "--dependents", "y", "--weight", "w", "--raw-weights"});
  ExpectSaid(categorical, {"1 case has a negative weight in w; negative weights are not valid."});
  EXPECT_NE(categorical.out.find("wrong unless each weight is a count"), std::string::npos)
      << categorical.out;
  const ProcessResult continuous =
      RunVelmora({"feature-selection", path, "--dependents", "z", "--weight", "w", "--raw-weights"});
  EXPECT_EQ(continuous.out.find("wrong unless"), std::string::npos) << continuous.out;
  const ProcessResult sampling =
      RunVelmora({"feature-selection", path, "--dependents", "z", "--weight", "w"});
  EXPECT_EQ(sampling.exitCode, 2);
  ExpectSaid(sampling, {"--weight: 1 case has a negative weight in w; a weight is 0 or more."});
}

// Texts only, and only those that a spreadsheet would compute.
TEST(SpreadsheetCsv, MarksTextsThatLookLikeFormulas) {
  struct Row {
    const char *csv, *expected;
  };
  const Row rows[] = {
      {"a,b\n", "a,b\n"},
      {"=1+1,-x,+x,@x\n", "'=1+1,'-x,'+x,'@x\n"},
      {"-1,+2.5,-1e-300,1\n", "-1,+2.5,-1e-300,1\n"},
      {"-inf,nan,-nan\n", "'-inf,nan,'-nan\n"},
      {"\"=a,\"\"b\"\"\",c\n", "\"'=a,\"\"b\"\"\",c\n"},
      {"\"x\n=y\",\"\",\"\"\"=\"\n", "\"x\n=y\",\"\",\"\"\"=\"\n"},
      {",=\n=", ",'=\n'="},
      {"\"\t=1\",\"-2\"", "\"'\t=1\",\"-2\""},
  };
  for (const Row& row : rows) EXPECT_EQ(SpreadsheetCsv(row.csv), row.expected);
  EXPECT_EQ(SpreadsheetCsv("a=\t=b,=c\n", '\t'), "a=\t'=b,=c\n");

  const TemporaryFolder folder;
  const std::string path = folder.Write("a.csv", "=cmd,x\n1,-2\n2,-3\n3,-5\n");
  const ProcessResult plain = RunVelmora({"variables", path, "--format", "csv"});
  const ProcessResult safe = RunVelmora({"variables", path, "--format", "csv", "--csv-for", "spreadsheet"});
  EXPECT_NE(plain.out.find(",=cmd,"), std::string::npos) << plain.out;
  EXPECT_NE(safe.out.find(",'=cmd,"), std::string::npos) << safe.out;
  EXPECT_NE(safe.out.find(",-5,"), std::string::npos) << safe.out;
}

// The tables of screen --coded and apply, in pieces of more than one row.
TEST(SpreadsheetCsv, TablesAreMarkedToo) {
  const TemporaryFolder folder;
  std::string data = "y,=kind\n";
  for (int i = 0; i < 400; ++i)
    data += std::to_string(i % 4 < 2 ? 100 + i % 3 : i % 3) + (i % 4 < 2 ? ",-a\n" : ",+b\n");
  const std::string path = folder.Write("a.csv", data);
  const auto name = [&](const char* file) { return (folder.Path() / file).string(); };
  const ProcessResult screened =
      RunVelmora({"screen", path, "--continuous-response", "y", "--classic", "--coded", name("coded.csv"),
                  "--bins", name("bins.json"), "--csv-for", "spreadsheet", "--quiet"});
  ASSERT_EQ(screened.exitCode, 0) << screened.err;
  const ProcessResult applied = RunVelmora(
      {"apply", name("bins.json"), path, "--csv-for", "spreadsheet", "--out", name("applied.csv")});
  ASSERT_EQ(applied.exitCode, 0) << applied.err;
  const ProcessResult plain = RunVelmora({"apply", name("bins.json"), path});
  const std::string tables[] = {ReadFile(name("coded.csv")), ReadFile(name("applied.csv"))};
  for (const std::string& table : tables) {
    EXPECT_EQ(table.rfind("y,'=kind,", 0), 0U) << table.substr(0, 200);
    EXPECT_NE(table.find("\n100,'-a,'-a,"), std::string::npos) << table.substr(0, 200);
    EXPECT_EQ(table.find(",-a"), std::string::npos);
  }
  EXPECT_NE(plain.out.find("\n100,-a,-a,"), std::string::npos) << plain.out.substr(0, 200);
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
