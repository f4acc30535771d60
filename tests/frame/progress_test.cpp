// The one progress display, whichever scope opens it and in whatever order the scopes end.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>

#include "module/frame/progress_scope.h"
#include "tests/support/scripted_engine_host.h"

namespace vlmfsl::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST(ProgressScope, ClosesTheDisplayThatIsStillOpenBeforeAnother) {
  ScriptedEngineHost host;
  auto first = std::make_unique<ProgressScope>(host, "First", 3);
  {
    ProgressScope second(host, "Second", 4);
    first.reset();
    EXPECT_TRUE(host.DisplayOpen()) << "a display that was closed before is not closed again";
    second.Close();
    EXPECT_FALSE(host.DisplayOpen());
  }
  EXPECT_THAT(host.log,
              ElementsAre("d_pbar First", "dstart 3", "dstop", "d_pbar Second", "dstart 4", "dstop"));
  EXPECT_THAT(host.Misuses(), IsEmpty());
}

}  // namespace
}  // namespace vlmfsl::testing
