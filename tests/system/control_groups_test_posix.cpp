// Limits of memory as containers and batch systems set them, in folders that look like the system's.
#include "workbench/system/control_groups.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>
#include <limits>

namespace velmora {
namespace {

TEST(MemoryOfControlGroups, IsTheLeastThatAnyGroupLeaves) {
  constexpr std::uint64_t kNone = std::numeric_limits<std::uint64_t>::max();
  struct Row {
    const char* name;
    const char* groups;
    std::vector<std::pair<const char*, const char*>> files;
    std::uint64_t left;
  };
  const std::vector<Row> rows = {
      {"no group", "", {}, kNone},
      {"no limit", "0::/a\n", {{"a/memory.max", "max"}, {"a/memory.current", "5"}}, kNone},
      {"files do not count",
       "0::/a\n",
       {{"a/memory.max", "1000"}, {"a/memory.current", "700"}, {"a/memory.stat", "anon 100\nfile 600\n"}},
       900},
      {"files in memory count",
       "0::/a\n",
       {{"a/memory.max", "1000"},
        {"a/memory.current", "700"},
        {"a/memory.stat", "anon 100\nfile 600\nshmem 500\n"}},
       400},
      {"the group around it",
       "0::/a/b/c\n",
       {{"a/memory.max", "500"},
        {"a/memory.current", "100"},
        {"a/b/c/memory.max", "900"},
        {"a/b/c/memory.current", "100"}},
       400},
      {"a container that is the root",
       "0::/elsewhere\n",
       {{"memory.max", "300"}, {"memory.current", "100"}},
       200},
      {"beyond its limit", "0::/\n", {{"memory.max", "300"}, {"memory.current", "400"}}, 0},
      {"version 1",
       "5:cpu:/x\n4:cpuset,memory:/job\n",
       {{"memory/job/memory.limit_in_bytes", "800"},
        {"memory/job/memory.usage_in_bytes", "300"},
        {"memory/job/memory.stat", "cache 1\ntotal_cache 100\n"}},
       600},
  };
  const std::filesystem::path root =
      std::filesystem::temp_directory_path() / ("velmora_groups_" + std::to_string(getpid()));
  for (const Row& row : rows) {
    std::filesystem::remove_all(root);
    std::filesystem::create_directories(root);
    for (const auto& [name, content] : row.files) {
      std::filesystem::create_directories((root / name).parent_path());
      std::ofstream(root / name) << content << "\n";
    }
    std::ofstream(root / "groups") << row.groups;
    EXPECT_EQ(MemoryOfControlGroups(root / "groups", root), row.left) << row.name;
  }
  std::filesystem::remove_all(root);
}

}  // namespace
}  // namespace velmora
