// The user's choices outside a run: kept settings, the log, the locale.
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <iterator>

#include "tests/cli/command_checks.h"
#include "tests/cli/process.h"
#include "tests/support/paths.h"

namespace velmora::testing {
namespace {

namespace fs = std::filesystem;

// A variable of the environment for the length of a test.
class Environment {
 public:
  Environment(const char* name, const std::string& value) : name_(name) {
    if (const char* const before = std::getenv(name)) before_ = before;
    setenv(name, value.c_str(), 1);
  }
  ~Environment() {
    if (before_.empty()) {
      unsetenv(name_);
    } else {
      setenv(name_, before_.c_str(), 1);
    }
  }
  Environment(const Environment&) = delete;
  Environment& operator=(const Environment&) = delete;

 private:
  const char* name_;
  std::string before_;
};

std::string Content(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

TEST(UserChoices, SettingsAreWhatDialogsStartWith) {
  const TemporaryFolder folder;
  const Environment configuration("XDG_CONFIG_HOME", folder.Path().string());
  const std::string script = folder.Write("script.py",
                                          "import velmora\n"
                                          "startup = velmora.Application.StartFeatureSelection()\n"
                                          "print(startup.UseChiSquareForCategoricalDependentVariable)\n");
  EXPECT_EQ(RunVelmora({"settings"}).out, "statistic = cramers-v\n");
  EXPECT_EQ(RunVelmora({"settings", "statistic", "chi-square"}).exitCode, 0);
  EXPECT_EQ(RunVelmora({"settings", "statistic"}).out, "chi-square\n");
  EXPECT_EQ(RunVelmora({"run", script}).out, "1\n");
  EXPECT_EQ(RunVelmora({"settings", "statistic", "cramers-v"}).exitCode, 0);
  EXPECT_EQ(RunVelmora({"run", script}).out, "0\n");
  const ProcessResult value = RunVelmora({"settings", "statistic", "gamma"});
  EXPECT_EQ(value.exitCode, 2);
  ExpectSaid(value, {"statistic takes cramers-v or chi-square, not gamma."});
  ExpectSaid(RunVelmora({"settings", "colour"}), {"There is no setting colour"});

  const fs::path file = folder.Path() / "velmora" / "settings.json";
  for (const char* damaged :
       {"{", "[]", "{\"profile\": 1}", "{\"profile\": {\"x\": 1}}", "{\"profile\": {\"56236\": 1e300}}"}) {
    std::ofstream(file) << damaged;
    const ProcessResult result = RunVelmora({"settings"});
    EXPECT_EQ(result.exitCode, 1) << damaged;
    ExpectSaid(result, {file.string(), "correct or remove it"});
  }
}

// The log has what the module logs, for a command and for a script, and grows.
TEST(UserChoices, TheLogCanBeHad) {
  const TemporaryFolder folder;
  const std::string script = folder.Write("script.py",
                                          "import velmora\n"
                                          "startup = velmora.Application.StartFeatureSelection()\n"
                                          "startup.Cancel()\n"
                                          "try:\n"
                                          "    startup.Variables\n"
                                          "except velmora.Error as error:\n"
                                          "    print(error.description)\n");
  const fs::path log = folder.Path() / "velmora.log";
  EXPECT_EQ(RunVelmora({"run", "--log", log.string(), script}).out, "The dialog is closed.\n");
  const std::string entry =
      "Exception in automation method [CDefineTask::get_Variables]: The dialog is closed.\n";
  const std::string first = Content(log);
  EXPECT_NE(first.find(entry), std::string::npos) << first;
  {
    const Environment named("VELMORA_LOG", log.string());
    EXPECT_EQ(RunVelmora({"run", script}).exitCode, 0);
  }
  EXPECT_GT(Content(log).size(), first.size());
  EXPECT_EQ(Content(log).substr(0, first.size()), first) << "older entries stay";
  const ProcessResult refused = RunVelmora({"run", "--log", (folder.Path() / "no" / "log").string(), script});
  EXPECT_EQ(refused.exitCode, 1);
  ExpectSaid(refused, {"The log file ", "cannot be opened: No such file or directory."});
}

// Labels for people have their decimal separator; outputs that a program reads keep the point
// unless it is asked for.
TEST(UserChoices, LabelsFollowTheLocaleForPeopleOnly) {
  const TemporaryFolder folder;
  std::string data = "x,y\n";
  for (int i = 0; i < 200; ++i)
    data +=
        std::to_string(i / 4) + "." + std::to_string(10 + i % 4 * 25) + "," + (i < 102 ? "a" : "b") + "\n";
  const Words run = {"screen",
                     folder.Write("data.csv", data),
                     "--binary-response",
                     "y",
                     "--good",
                     "a",
                     "--bad",
                     "b",
                     "--continuous",
                     "x",
                     "--predictors",
                     "x",
                     "--quiet"};
  struct Row {
    Words more;
    const char* label;
  };
  const Row rows[] = {{{"--decimal-separator", ","}, "(-Inf; "},
                      {{"--decimal-separator", ",", "--format", "json"}, "(-Inf; "},
                      {{"--decimal-separator", "\xD9\xAB"}, "(-Inf, "},
                      {{"--format", "json"}, "(-Inf, "},
                      {{}, "(-Inf, "}};
  for (const Row& row : rows) {
    const ProcessResult result = RunVelmora(With(run, row.more));
    EXPECT_NE(result.out.find(row.label), std::string::npos) << result.out << result.err;
  }
  EXPECT_EQ(RunVelmora(With(run, {"--decimal-separator", "5"})).exitCode, 2);

  const std::string german = "localedef -i de_DE -f UTF-8 " + (folder.Path() / "de_DE.UTF-8").string();
  if (std::system((german + " >" + (folder.Path() / "said").string() + " 2>&1").c_str()) != 0)
    GTEST_SKIP() << "the system cannot make a German locale";
  const Environment place("LOCPATH", folder.Path().string());
  const Environment all("LC_ALL", "");
  const Environment locale("LC_NUMERIC", "de_DE.UTF-8");
  EXPECT_NE(RunVelmora(run).out.find("(-Inf; 25,5]"), std::string::npos) << RunVelmora(run).out;
  for (const char* format : {"json", "csv"}) {
    const std::string out = RunVelmora(With(run, {"--format", format})).out;
    EXPECT_EQ(out.find(" 25,5"), std::string::npos) << out;
  }
  const fs::path bins = folder.Path() / "bins.json";
  EXPECT_EQ(RunVelmora(With(run, {"--bins", bins.string()})).out.find(" 25,5"), std::string::npos);
  EXPECT_EQ(Content(bins).find(" 25,5"), std::string::npos);
}

}  // namespace
}  // namespace velmora::testing
