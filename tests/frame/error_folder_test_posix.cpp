// Where error reports go: the folder that the environment names.
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>

#include "module/frame/error_report.h"
#include "tests/frame/error_home.h"

namespace vlmfsl::testing {
namespace {

TEST(ErrorFolder, IsMadeLevelByLevelOrIsEmpty) {
  const ErrorHome errorHome;
  const std::filesystem::path home = errorHome.Path();
  EXPECT_EQ(GetErrorReportFolder(), (home / "data" / "Velmora" / "Errors").string());
  EXPECT_EQ(GetErrorReportFolder(), (home / "data" / "Velmora" / "Errors").string()) << "a second time";
  setenv("XDG_DATA_HOME", (home / "slashes//").c_str(), 1);
  EXPECT_EQ(GetErrorReportFolder(), (home / "slashes" / "Velmora" / "Errors").string());
  std::ofstream(home / "file") << "in the way";
  setenv("XDG_DATA_HOME", (home / "file").c_str(), 1);
  EXPECT_EQ(GetErrorReportFolder(), "");
  unsetenv("XDG_DATA_HOME");
  const char* former = std::getenv("HOME");
  const std::string kept = former ? former : "";
  setenv("HOME", (home / "me").c_str(), 1);
  EXPECT_EQ(GetErrorReportFolder(), (home / "me" / ".local" / "share" / "Velmora" / "Errors").string());
  unsetenv("HOME");
  EXPECT_EQ(GetErrorReportFolder(), "");
  if (former) setenv("HOME", kept.c_str(), 1);
}

}  // namespace
}  // namespace vlmfsl::testing
