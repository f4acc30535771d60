// Text files as people have them, read by the command: standard input, rows that do not fit, dates,
// and runs that read only the columns they need.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "tests/cli/command_checks.h"

namespace velmora::testing {
namespace {

TEST(TextFiles, StandardInputIsRead) {
  const TemporaryFolder folder;
  ProcessOptions options;
  options.inputFrom = Sample("german_credit.csv");
  const Words words = {"--dependents", "risk", "--format", "csv", "--quiet"};
  const ProcessResult named = RunVelmora(With({"feature-selection", options.inputFrom}, words));
  const ProcessResult piped = RunVelmora(With({"feature-selection", "-"}, words), options);
  EXPECT_EQ(piped.exitCode, 0) << piped.err;
  EXPECT_EQ(piped.out, named.out);
  options.inputFrom = folder.Write("bad.csv", "x,y\n1,2\n3\n");
  const ProcessResult bad = RunVelmora({"variables", "-"}, options);
  EXPECT_EQ(bad.exitCode, 1);
  ExpectSaid(bad, {"standard input, row 3: 1 field where the first line names 2 columns."});
  EXPECT_EQ(RunVelmora({"variables", "-"}).exitCode, 1);  // nothing to read
}

TEST(TextFiles, OptionsSayHowTheyAreWritten) {
  const TemporaryFolder folder;
  const std::string ragged = folder.Write("a.csv", "d,x\n2024-02-29,1\n2024-03-01\n2024-03-02,\xE4\n");
  const struct {
    const char* name;
    Words words;
    int exitCode;
    std::vector<std::string> said;  // on standard error
    const char* printed;
  } rows[] = {
      {"error", {}, 1, {"row 3"}, ""},
      {"skip",
       {"--ragged", "skip"},
       0,
       {"1 row of", "row 3) and is left out", "Windows-1252"},
       "categorical"},
      {"pad", {"--ragged", "pad", "--encoding", "windows-1252"}, 0, {"1 row of", "filled"}, "categorical"},
      {"dates", {"--ragged", "pad", "--date-parts", "d", "--since", "d=2024-01-01"}, 0, {}, "d_days_since"},
      {"no dates", {"--ragged", "pad", "--date-parts", "x"}, 2, {"--date-parts", "\"x\" holds no dates"}, ""},
      {"no day", {"--ragged", "pad", "--since", "d=now"}, 2, {"--since", "NAME=YYYY-MM-DD"}, ""},
      {"no header", {"--ragged", "pad", "--no-header"}, 0, {}, "v2"},
      {"unknown encoding", {"--encoding", "ebcdic"}, 2, {"--encoding", "windows-1252"}, ""},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    const ProcessResult result = RunVelmora(With({"variables", ragged}, row.words));
    EXPECT_EQ(result.exitCode, row.exitCode) << result.err;
    ExpectSaid(result, row.said);
    EXPECT_NE(result.out.find(row.printed), std::string::npos) << result.out;
  }
}

// Naming the predictors spares the other columns and changes no figure of theirs.
TEST(TextFiles, OnlyNeededColumnsAreRead) {
  const std::string data = Sample("german_credit.csv");
  const auto run = [&](const Words& words) {
    const ProcessResult result = RunVelmora(
        With({"feature-selection", data, "--dependents", "risk", "--format", "json", "--quiet"}, words));
    EXPECT_EQ(result.exitCode, 0) << result.err;
    return nlohmann::json::parse(result.out).at("dependents").dump();
  };
  // A selection of cases may use any variable, so that all are read.
  const std::string fromAll = run({"--predictors", "age", "pur*", "--select", "v0 > 0"});
  EXPECT_EQ(run({"--predictors", "age", "pur*"}), fromAll);
  EXPECT_EQ(run({"--predictors", "AGE,pur*"}), fromAll);
  EXPECT_EQ(run({"--predictors", "v14", "purpose"}), fromAll);  // a number among all columns
  const ProcessResult wrong =
      RunVelmora({"feature-selection", data, "--dependents", "risk", "--predictors", "agee"});
  EXPECT_EQ(wrong.exitCode, 2);
  ExpectSaid(wrong, {"--predictors", "did you mean \"age\"?"});
}

}  // namespace
}  // namespace velmora::testing
