// Files of one run appear together or not at all.
#include <gtest/gtest.h>

#include "tests/cli/process.h"
#include "workbench/cli/exit_codes.h"
#include "workbench/cli/output_files.h"

namespace velmora::testing {
namespace {

using Names = std::vector<std::string>;

TEST(OutputFiles, AppearAtCommitAndReplaceOlderOnes) {
  const TemporaryFolder folder;
  folder.Write("a.csv", "old");
  {
    OutputFiles files(folder.Path());
    files.Add("a.csv", "new");
    files.Add("b.json", "{}");
    EXPECT_EQ(ReadFile(folder.Path() / "a.csv"), "old");
    EXPECT_EQ(files.Commit().size(), 2u);
  }
  EXPECT_EQ(ReadFile(folder.Path() / "a.csv"), "new");
  EXPECT_EQ(folder.Names(), (Names{"a.csv", "b.json"}));
}

TEST(OutputFiles, LeaveNothingWithoutCommit) {
  const TemporaryFolder folder;
  {
    OutputFiles files(folder.Path() / "new" / "deep");
    files.Add("a.csv", "1");
  }
  EXPECT_EQ(folder.Names(), Names{});
}

TEST(OutputFiles, GiveOlderOnesBackWhenOneCannotBeMoved) {
  const TemporaryFolder folder;
  folder.Write("a.csv", "old");
  std::filesystem::create_directories(folder.Path() / "c.html" / "inside");
  {
    OutputFiles files(folder.Path());
    for (const char* name : {"a.csv", "b.json", "c.html"}) files.Add(name, "new");
    try {
      files.Commit();
      FAIL() << "a folder was replaced by a file";
    } catch (const RunError& error) {
      EXPECT_NE(std::string(error.what()).find("c.html"), std::string::npos) << error.what();
    }
  }
  EXPECT_EQ(ReadFile(folder.Path() / "a.csv"), "old");
  EXPECT_EQ(folder.Names(), (Names{"a.csv", "c.html", "c.html/inside"}));
}

TEST(OutputFiles, RefuseAFolderThatIsAFile) {
  const TemporaryFolder folder;
  EXPECT_THROW(OutputFiles(folder.Write("a.csv", "old")), RunError);
}

}  // namespace
}  // namespace velmora::testing
