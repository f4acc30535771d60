#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>

#include "workbench/system/system.h"

namespace velmora {
namespace {

constexpr char kRepeated[] = "VELMORA_TEST_REPEATED";

// A program that is started by a bare name, as through PATH, finds what lies beside it, and takes
// nothing from the current folder.
TEST(LibraryFolder, IsThatOfTheProgramWhateverItsFirstArgument) {
  EXPECT_EQ(LibraryFolder(), ExecutableFolder());
  if (!EnvironmentVariable(kRepeated).empty()) return;
  for (const char* name : {"velmora", "./velmora", "/nowhere/velmora"}) {
    const pid_t child = fork();
    if (child == 0) {
      setenv(kRepeated, "1", 1);
      execl("/proc/self/exe", name, "--gtest_filter=LibraryFolder.*", static_cast<char*>(nullptr));
      _exit(127);
    }
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0) << name;
  }
}

}  // namespace
}  // namespace velmora
