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

#ifndef _WIN32  // links and permissions as POSIX has them
// Links and permissions of what is replaced are the user's.
TEST(OutputFiles, FollowLinksAndKeepPermissions) {
  namespace fs = std::filesystem;
  const TemporaryFolder folder;
  fs::create_directories(folder.Path() / "real");
  fs::create_directories(folder.Path() / "out");
  folder.Write("real/a.json", "old");
  fs::permissions(folder.Path() / "real" / "a.json", fs::perms::owner_read | fs::perms::owner_write);
  fs::create_symlink("../real/a.json", folder.Path() / "out" / "a.json");
  fs::create_symlink("../real/new.csv", folder.Path() / "out" / "b.csv");
  OutputFiles files(folder.Path() / "out");
  files.Add("a.json", "new");
  files.AddAt(folder.Path() / "out" / "b.csv", "also new");
  files.AddAt("/dev/null", "gone");
  const std::vector<WrittenFile> written = files.Commit();
  ASSERT_EQ(written.size(), 3u);
  EXPECT_TRUE(written[0].replaced);
  EXPECT_FALSE(written[1].replaced);
  EXPECT_EQ(ReadFile(folder.Path() / "real" / "a.json"), "new");
  EXPECT_EQ(ReadFile(folder.Path() / "real" / "new.csv"), "also new");
  EXPECT_TRUE(fs::is_symlink(folder.Path() / "out" / "a.json"));
  EXPECT_TRUE(fs::is_symlink(folder.Path() / "out" / "b.csv"));
  EXPECT_TRUE(fs::is_character_file("/dev/null"));
  EXPECT_EQ(fs::status(folder.Path() / "real" / "a.json").permissions(),
            fs::perms::owner_read | fs::perms::owner_write);
}

#endif

// A file whose name is known only at the end, over an input.
TEST(OutputFiles, ReplaceNoInput) {
  const TemporaryFolder folder;
  folder.Write("a.ini", "input");
  RunFiles inputs;
  inputs.Reads("DATA", (folder.Path() / "a.ini").string());
  OutputFiles files(folder.Path());
  files.Add("a.ini", "new");
  files.Add("b.ini", "new");
  EXPECT_THROW(files.Commit(inputs), RunError);
  EXPECT_EQ(ReadFile(folder.Path() / "a.ini"), "input");
  EXPECT_FALSE(std::filesystem::exists(folder.Path() / "b.ini"));
}

}  // namespace
}  // namespace velmora::testing
