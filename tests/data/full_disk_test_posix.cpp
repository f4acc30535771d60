// Files that cannot be written, on full disks and in impossible places.
#include <gmock/gmock.h>
#include <sys/resource.h>

#include <csignal>
#include <random>

#include "tests/data/data_test_support.h"
#include "workbench/data/atomic_file.h"
#include "workbench/data/column_store.h"
#include "workbench/data/save.h"

namespace velmora {
namespace {

using ::testing::HasSubstr;

Column Make(const std::string& name, std::vector<double> values) {
  Column column;
  column.name = name;
  column.values = std::move(values);
  return column;
}

std::size_t FileCount(const std::filesystem::path& folder) {
  const std::filesystem::directory_iterator entries(folder);
  return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

// Imitates a full disk by a limit on the size of files.
class FullDisk {
 public:
  explicit FullDisk(rlim_t bytes) {
    getrlimit(RLIMIT_FSIZE, &before_);
    handler_ = std::signal(SIGXFSZ, SIG_IGN);
    const rlimit limit{bytes, before_.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
  }
  ~FullDisk() {
    setrlimit(RLIMIT_FSIZE, &before_);
    std::signal(SIGXFSZ, handler_);
  }

 private:
  rlimit before_{};
  void (*handler_)(int) = nullptr;
};

TEST_F(DataTest, ACancelledSaveClosesItsFiles) {
  Table table;
  table.caseCount = 400000;
  table.columns.push_back(Make("x", std::vector<double>(400000, 0.1)));
  SaveTable(table, Path("warm.parquet"));  // opens files that stay open
  for (const char* name : {"x.csv", "x.parquet"}) {
    const std::size_t before = FileCount("/proc/self/fd");
    EXPECT_THROW(SaveTable(table, Path(name), {.progress = [](double) { return false; }}), Cancelled) << name;
    EXPECT_EQ(FileCount("/proc/self/fd"), before) << name;
  }
}

TEST_F(DataTest, AFullDiskLeavesTheOldFileAndNothingElse) {
  Table table;
  table.caseCount = 100000;
  table.columns.push_back(Make("x", std::vector<double>(100000)));
  std::mt19937_64 random(3);
  for (double& value : table.columns[0].values.Own()) value = static_cast<double>(random());
  for (const char* name : {"x.csv", "x.tsv", "x.parquet"}) {
    const std::string path = WriteFile(name, "old");
    std::string error;
    {
      const FullDisk full(100000);
      error = ErrorOf([&] { SaveTable(table, path); });
    }
    EXPECT_THAT(error, HasSubstr("Cannot write " + path + ": ")) << name;
    EXPECT_EQ(Slurp(path), "old") << name;
    std::filesystem::remove(path);
    EXPECT_EQ(FileCount(folder_), 0U) << name;
  }
}

TEST_F(DataTest, AFullDiskThatCannotTakeAStoredTableIsNamed) {
  std::string text = "x\n";
  for (int i = 0; i < 100000; ++i) text += std::to_string(i) + "\n";
  const std::string path = WriteFile("a.csv", text);
  std::string error;
  {
    const FullDisk full(100000);
    LimitColumnMemory(1);
    error = ErrorOf([&] { ReadTable(path); });
    LimitColumnMemory(0);
  }
  const std::string expected = "The table is larger than the memory it may take and cannot be kept in ";
  EXPECT_THAT(error, HasSubstr(expected));

  // Of a column that is written later the room is asked for at once.
  const std::shared_ptr<ColumnStore> store = ColumnStore::Open();
  {
    const FullDisk full(100000);
    error = ErrorOf([&] { store->Reserved(0, 100000); });
  }
  EXPECT_THAT(error, HasSubstr(expected));
  ColumnValues reserved = store->Reserved(1, 100000);
  ASSERT_EQ(reserved.size(), 100000U);
  reserved.Writable().back() = 7;
  reserved.Release();
  EXPECT_EQ(reserved[99999], 7);
}

TEST_F(DataTest, FilesAreWrittenWholeOrNotAtAll) {
  Table table;
  table.columns.push_back(Make("x", {}));
  WriteFileAtomically(Path("new/deep/a.txt"), "one");
  EXPECT_EQ(Slurp(Path("new/deep/a.txt")), "one");
  WriteFileAtomically(Path("new/deep/a.txt"), "two");
  EXPECT_EQ(Slurp(Path("new/deep/a.txt")), "two");
  EXPECT_EQ(FileCount(Path("new/deep")), 1U);
  {
    AtomicFile abandoned(Path("new/deep/a.txt"));
    abandoned.Write("three");
  }
  EXPECT_EQ(Slurp(Path("new/deep/a.txt")), "two");
  EXPECT_EQ(FileCount(Path("new/deep")), 1U);
  // A link stays a link to the file that is replaced.
  std::filesystem::create_symlink(Path("new/deep/a.txt"), Path("link"));
  WriteFileAtomically(Path("link"), "four");
  EXPECT_TRUE(std::filesystem::is_symlink(Path("link")));
  EXPECT_EQ(Slurp(Path("new/deep/a.txt")), "four");

  WriteFile("file", "");
  const struct {
    std::string path;
    const char* expected;
  } rows[] = {
      {folder_.string(), "it is a directory"},
      {Path("file/below.txt"), "Not a directory"},
      {"/dev/full", "No space left on device"},
      {"/proc/none/a.txt", "cannot be made"},
  };
  for (const auto& row : rows)
    EXPECT_THAT(ErrorOf([&] { WriteFileAtomically(row.path, "x"); }),
                ::testing::AllOf(HasSubstr("Cannot write " + row.path + ": "), HasSubstr(row.expected)));
  EXPECT_THAT(ErrorOf([&] { SaveTable(table, Path("a.sav")); }),
              HasSubstr("has to end with .csv, .tsv or .parquet"));
}

// The temporary file's name is no longer than the target's may be.
TEST_F(DataTest, LongNamesCanBeWritten) {
  const std::string path = Path(std::string(251, 'n') + ".txt");
  WriteFileAtomically(path, "one");
  WriteFileAtomically(path, "two");
  EXPECT_EQ(Slurp(path), "two");
}

}  // namespace
}  // namespace velmora
