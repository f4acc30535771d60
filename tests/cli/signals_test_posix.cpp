// Scratch files of runs that signals end: a second Ctrl-C leaves none behind, a killed run's are
// removed by the next one, and those of a living process stay.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>

#include "tests/cli/process.h"
#include "workbench/cli/console.h"
#include "workbench/cli/output_files.h"
#include "workbench/data/atomic_file.h"
#include "workbench/system/scratch.h"

namespace velmora::testing {
namespace {

using Names = std::vector<std::string>;

// Runs work in a process of its own, which is to be ended by a signal. ready: called in this
// process when work has called its argument. Returns the number of the signal that ended the
// process.
int EndedBySignal(const std::function<void(const std::function<void()>&)>& work,
                  const std::function<void(pid_t)>& ready) {
  int pipeEnds[2];
  if (pipe(pipeEnds) != 0) return -1;
  const pid_t child = fork();
  if (child == 0) {
    work([&] { [[maybe_unused]] const auto written = write(pipeEnds[1], "x", 1); });
    _exit(0);
  }
  close(pipeEnds[1]);
  char byte = 0;
  [[maybe_unused]] const auto count = read(pipeEnds[0], &byte, 1);
  close(pipeEnds[0]);
  ready(child);
  int status = 0;
  waitpid(child, &status, 0);
  return WIFSIGNALED(status) ? WTERMSIG(status) : 0;
}

// Makes everything that a run may be writing, then waits for signals.
void HoldScratch(const std::filesystem::path& folder, const std::function<void()>& isReady) {
  PrepareConsole();
  OutputFiles files(folder / "report");
  for (int i = 0; i < 300; ++i) files.Add("a file with quite a long name " + std::to_string(i), "bytes");
  AtomicFile table((folder / "table.csv").string());
  table.Write("x,y\n");
  isReady();
  for (;;) pause();
}

TEST(Signals, TheSecondLeavesNoScratch) {
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
    SCOPED_TRACE(number);
    const TemporaryFolder folder;
    const int ended = EndedBySignal([&](const auto& isReady) { HoldScratch(folder.Path(), isReady); },
                                    [&](pid_t child) {
                                      // Report, its scratch, 300 files, table in its scratch.
                                      EXPECT_EQ(folder.Names().size(), 304u);
                                      kill(child, number);
                                      usleep(100000);
                                      kill(child, number);
                                    });
    EXPECT_EQ(ended, number);
    EXPECT_EQ(folder.Names(), (Names{"report"}));
  }
}

TEST(Signals, ScratchOfAKilledRunIsRemovedByTheNext) {
  const TemporaryFolder folder;
  folder.Write(".velmora-note", "not scratch: no machine and number");
  folder.Write(".velmora-00000000-1", "of another machine");
  const auto sweep = [&] {
    RemoveStaleScratch(folder.Path());
    RemoveStaleScratch(folder.Path() / "report");
  };
  const int ended = EndedBySignal([&](const auto& isReady) { HoldScratch(folder.Path(), isReady); },
                                  [&](pid_t child) {
                                    sweep();
                                    EXPECT_EQ(folder.Names().size(), 306u) << "scratch of a living process";
                                    kill(child, SIGKILL);
                                  });
  EXPECT_EQ(ended, SIGKILL);
  EXPECT_EQ(folder.Names().size(), 306u);
  OutputFiles(folder.Path() / "report").Add("a", "1");
  WriteFileAtomically((folder.Path() / "table.csv").string(), "x\n");
  EXPECT_EQ(folder.Names(), (Names{".velmora-00000000-1", ".velmora-note", "report", "table.csv"}));
}

}  // namespace
}  // namespace velmora::testing
