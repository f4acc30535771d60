#include "tests/cli/command_checks.h"

#include <gtest/gtest.h>

#include <sstream>

#include "workbench/cli/options.h"

namespace velmora::testing {
namespace {

// Columns y, x0, x1, ... of whole numbers without any relation.
std::string NoiseTable(int caseCount, int predictorCount) {
  std::string csv = "y";
  for (int j = 0; j < predictorCount; ++j) csv += ",x" + std::to_string(j);
  csv += "\n";
  unsigned state = 1;
  for (int i = 0; i < caseCount; ++i) {
    for (int j = 0; j <= predictorCount; ++j) {
      state = state * 1664525u + 1013904223u;
      csv += std::to_string(state >> 12) + (j == predictorCount ? "\n" : ",");
    }
  }
  return csv;
}

}  // namespace

Words With(Words words, const Words& more) {
  words.insert(words.end(), more.begin(), more.end());
  return words;
}

Json JsonFrom(const Words& words) {
  const ProcessResult result = RunVelmora(With(words, {"--format", "json"}));
  EXPECT_EQ(result.exitCode, 0) << result.err;
  return result.exitCode == 0 ? Json::parse(result.out) : Json();
}

const Json& Named(const Json& list, const std::string& name) {
  static const Json nothing;
  for (const Json& item : list) {
    if (item["name"] == name) return item;
  }
  ADD_FAILURE() << "nothing is called " << name;
  return nothing;
}

void ExpectSaid(const ProcessResult& result, const std::vector<std::string>& parts) {
  for (const std::string& part : parts) {
    EXPECT_NE(result.err.find(part), std::string::npos) << part << " is not in: " << result.err;
  }
}

std::string ExpectPageIsTrue(const std::string& command, int leastOptions) {
  const ProcessResult help = RunVelmora({"help", command});
  EXPECT_EQ(help.exitCode, 0);
  EXPECT_EQ(help.out, RunVelmora({command, "x.csv", "--help"}).out);
  std::istringstream lines(help.out);
  int options = 0;
  for (std::string line; std::getline(lines, line);) {
    EXPECT_LE(line.size(), 120u) << line;
    if (!line.starts_with("  --")) continue;
    ++options;
    const std::string option = line.substr(2, line.find(' ', 2) - 2);
    const ProcessResult result = RunVelmora({command, "none.csv", option});
    EXPECT_EQ(result.err.find("There is no option"), std::string::npos) << result.err;
  }
  EXPECT_GE(options, leastOptions);
  return help.out;
}

void ExpectPageAndOptionsAgree(const std::string& command, int leastOptions) {
  const std::string page = ExpectPageIsTrue(command, leastOptions);
  CommandParser parser;
  DataOptions data;
  CaseOptions cases;
  OutputOptions output;
  ModuleOptions module;
  data.AddTo(parser);
  cases.AddTo(parser);
  output.AddTo(parser);
  module.AddTo(parser);
  for (const std::string& option : parser.OptionNames()) {
    EXPECT_NE(page.find("  " + option + " "), std::string::npos) << option;
  }
}

void ExpectStopsOnCtrlC(const std::string& command, const Words& options) {
  const TemporaryFolder folder;
  const std::string data = folder.Write("a.csv", NoiseTable(60000, 40));
  const std::string out = (folder.Path() / "out").string();
  ProcessOptions interrupted;
  interrupted.interruptAfterMilliseconds = 250;
  const ProcessResult result = RunVelmora(With({command, data}, With(options, {"--out", out})), interrupted);
  if (result.exitCode == 0) GTEST_SKIP() << "the run was over before the signal";
  EXPECT_EQ(result.exitCode, 130) << result.err;
  EXPECT_EQ(result.out, "");
  ExpectSaid(result, {"Cancelled"});
  EXPECT_EQ(folder.Names(), std::vector<std::string>{"a.csv"});
}

}  // namespace velmora::testing
