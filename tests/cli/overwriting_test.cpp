// No output overwrites an input of its run or another output, by whatever path the file is named;
// the run ends before anything is computed.
#include <gtest/gtest.h>

#include <filesystem>

#include "tests/cli/command_checks.h"
#include "workbench/cli/exit_codes.h"
#include "workbench/cli/run_files.h"

namespace velmora::testing {
namespace {

namespace fs = std::filesystem;

#ifdef _WIN32
constexpr bool kHasLinks = false;  // without special rights
#else
constexpr bool kHasLinks = true;
#endif

constexpr char kData[] = "y,x\ngood,1\nbad,2\ngood,1\nbad,2\ngood,1\nbad,3\n";
const Words kScreen = {"--binary-response", "y", "--good", "good", "--bad", "bad"};

TEST(Overwriting, OfAnInputIsRefused) {
  struct Row {
    const char* name;
    const char* data;
    Words words;
    std::vector<std::string> said;
    bool needsLinks = false;
  };
  const Row rows[] = {
      {"bins over the data", "a.csv", {"screen", "a.csv", "--bins", "a.csv"}, {"--bins", "DATA", "a.csv"}},
      {"another spelling", "a.csv", {"screen", "a.csv", "--sql", "sub/../a.csv"}, {"--sql", "DATA"}},
      {"a symbolic link", "a.csv", {"screen", "a.csv", "--rules", "soft.csv"}, {"--rules", "DATA"}, true},
      {"a hard link", "a.csv", {"screen", "a.csv", "--python", "hard.csv"}, {"--python", "DATA"}, true},
      {"a folder's file",
       "sub/screening.csv",
       {"screen", "sub/screening.csv", "--out", "sub"},
       {"--out", "DATA"}},
      {"through a linked folder",
       "sub/screening.csv",
       {"screen", "sub/screening.csv", "--out", "linked"},
       {"--out", "DATA"},
       true},
      {"cut points",
       "a.csv",
       {"screen", "a.csv", "--cut-points", "cuts.json", "--bins", "cuts.json"},
       {"--bins", "--cut-points"}},
      {"coded over the sidecar",
       "a.csv",
       {"screen", "a.csv", "--bins", "a.csv.bundles.json"},
       {"--bins", "sidecar"}},
      {"another format's file",
       "sub/feature_selection.csv",
       {"feature-selection", "sub/feature_selection.csv", "--dependents", "y", "--out", "sub"},
       {"--out", "DATA"}},
      {"apply", "a.csv", {"apply", "bins.json", "a.csv", "--out", "soft.csv"}, {"--out", "DATA"}, true},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const TemporaryFolder folder;
    fs::create_directory(folder.Path() / "sub");
    folder.Write(row.data, kData);
    folder.Write("cuts.json", R"({"x": [1.5]})");
    folder.Write("bins.json", "{}");
    if (kHasLinks) {
      fs::create_symlink(row.data, folder.Path() / "soft.csv");
      fs::create_hard_link(folder.Path() / row.data, folder.Path() / "hard.csv");
      fs::create_directory_symlink("sub", folder.Path() / "linked");
    } else if (row.needsLinks) {
      continue;
    }
    const auto before = folder.Names();
    ProcessOptions options;
    options.folder = folder.Path();
    const bool screens = row.words.front() == "screen";
    const ProcessResult result = RunVelmora(screens ? With(row.words, kScreen) : row.words, options);
    EXPECT_EQ(result.exitCode, 2) << result.err;
    ExpectSaid(result, row.said);
    EXPECT_EQ(ReadFile(folder.Path() / row.data), kData);
    EXPECT_EQ(folder.Names(), before);
  }
}

TEST(Overwriting, OfAnotherOutputIsRefused) {
  const TemporaryFolder folder;
  folder.Write("a.csv", kData);
  // A link to a file that does not exist yet.
  if (kHasLinks) fs::create_symlink("new.sql", folder.Path() / "soft");
  const auto before = folder.Names();
  const Words rows[] = {{"--sql", "new.sql", "--python", "./new.sql"},
                        {"--sql", "new.sql", "--python", "soft"},
                        {"--bins", "q/screening.json", "--out", "q"},
                        {"--coded", "c.csv", "--bins", "c.csv.bundles.json"}};
  for (const Words& words : rows) {
    SCOPED_TRACE(words.back());
    if (!kHasLinks && words.back() == "soft") continue;
    ProcessOptions options;
    options.folder = folder.Path();
    const ProcessResult result = RunVelmora(With(With({"screen", "a.csv"}, kScreen), words), options);
    EXPECT_EQ(result.exitCode, 2) << result.err;
    ExpectSaid(result, {words[2], "both"});
    EXPECT_EQ(folder.Names(), before);
  }
}

TEST(Overwriting, NamesThatCannotHoldATableAreRefusedBeforeTheWork) {
  const TemporaryFolder folder;
  folder.Write("a.csv", "broken \" file\n");
  for (const Words& words : {Words{"apply", "bins.json", "a.csv", "--out", "x.xlsx"},
                             With({"screen", "a.csv", "--coded", "x.xlsx"}, kScreen)}) {
    ProcessOptions options;
    options.folder = folder.Path();
    const ProcessResult result = RunVelmora(words, options);
    EXPECT_EQ(result.exitCode, 2) << result.err;
    ExpectSaid(result, {"x.xlsx", ".parquet"});
  }
}

TEST(RunFiles, KnowDevicesFromFiles) {
  RunFiles files;
#ifndef _WIN32
  files.Writes("--sql", "/dev/null");
  files.Writes("--python", "/dev/null");
#endif
  files.Reads("DATA", "no/such/folder/../a.csv");
  EXPECT_THROW(files.Writes("--bins", "no/such/a.csv"), UsageError);
}

}  // namespace
}  // namespace velmora::testing
