// Paths of network shares and long ones, which the language's library takes for others.
#include <gtest/gtest.h>

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

}  // namespace
}  // namespace velmora
