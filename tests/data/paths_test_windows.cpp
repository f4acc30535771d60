// Paths of network shares, long paths and missing drives, which the language's library mistakes for
// others.
#include <gtest/gtest.h>

#include "workbench/system/folders.h"
#include "workbench/system/system.h"

namespace velmora {
namespace {

namespace fs = std::filesystem;

TEST(Paths, SharesKeepTheirServers) {
  for (const char* path :
       {R"(\\server\share\data.csv)", R"(\\server\share\here\..\data.csv)", "//server/share/data.csv"}) {
    EXPECT_EQ(AbsolutePath(PathOf(path)).string(), R"(\\server\share\data.csv)") << path;
    EXPECT_EQ(NormalPath(PathOf(path)).string(), R"(\\server\share\data.csv)") << path;
  }
  EXPECT_EQ(NormalPath(PathOf(R"(.\there\..\data.csv)")).string(), "data.csv");
}

TEST(Paths, LongFoldersAreReadAsTheyAre) {
  const fs::path top = fs::temp_directory_path() / ("velmora-long-" + std::to_string(ProcessNumber()));
  fs::path folder = top;
  while (folder.native().size() < 300) folder /= std::string(40, 'x');
  fs::create_directories(folder);
  std::error_code error;
  EXPECT_EQ(NamesIn(folder, error), std::vector<fs::path>());
  std::fclose(OpenFile(folder / "one", "wb"));
  EXPECT_EQ(NamesIn(folder, error), std::vector<fs::path>({"one"}));
  EXPECT_FALSE(error);
  EXPECT_EQ(NamesIn(folder / "none", error), std::vector<fs::path>());
  EXPECT_TRUE(error);
  fs::remove(folder / "one");
  for (; folder != top.parent_path(); folder = folder.parent_path()) fs::remove(folder);
}

TEST(Paths, FoldersAreMadeOrTheReasonIsGiven) {
  const fs::path top = fs::temp_directory_path() / ("velmora-made-" + std::to_string(ProcessNumber()));
  EXPECT_EQ(MakeFolders(top / "a" / "b" / ""), "");
  EXPECT_EQ(MakeFolders(top / "a" / "b"), "") << "they are there";
  EXPECT_TRUE(fs::is_directory(top / "a" / "b"));
  std::fclose(OpenFile(top / "file", "wb"));
  EXPECT_EQ(MakeFolders(top / "file" / "c"), (top / "file").string() + " is a file");
  EXPECT_EQ(MakeFolders(PathOf("Q:\\none\\here")), "there is no drive Q:");
  fs::remove_all(top);
}

}  // namespace
}  // namespace velmora
