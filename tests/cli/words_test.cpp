// Words in sentences and on command lines.
#include <gtest/gtest.h>

#include "workbench/cli/words.h"

namespace velmora {
namespace {

TEST(Words, TheFirstOfManyAreNamed) {
  EXPECT_EQ(JoinFirst({}, 2), "");
  EXPECT_EQ(JoinFirst({"a"}, 2), "a");
  EXPECT_EQ(JoinFirst({"a", "b", "c"}, 2), "a, b and c");
  EXPECT_EQ(JoinFirst({"a", "b", "c", "d"}, 2), "a, b and 2 more");
}

TEST(Words, AShellReadsThemBack) {
  EXPECT_EQ(PosixWord("income=-999"), "income=-999");
  EXPECT_EQ(PosixWord("é_1%"), "é_1%");
  EXPECT_EQ(PosixWord(""), "''");
  EXPECT_EQ(PosixWord("net income=-9"), "'net income=-9'");
  EXPECT_EQ(PosixWord("$a `b` *=1"), "'$a `b` *=1'");
  EXPECT_EQ(PosixWord("it's"), R"('it'\''s')");
#ifdef _WIN32
  EXPECT_EQ(ShellWord("a \"b\""), R"("a \"b\"")");
#else
  EXPECT_EQ(ShellWord("it's"), PosixWord("it's"));
#endif
}

}  // namespace
}  // namespace velmora
