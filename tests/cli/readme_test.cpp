// Runs every command of the README.
#include <gtest/gtest.h>

#include <cstdlib>
#include <sstream>

#include "tests/cli/process.h"
#include "tests/support/paths.h"

namespace velmora::testing {
namespace {

// Lines that call the command, with the lines that continue them; a pipe into another program is
// cut off.
std::vector<std::string> ReadmeCommands() {
  std::istringstream readme(ReadFile(SourceDir() + "/README.md"));
  std::vector<std::string> commands;
  for (std::string line; std::getline(readme, line);) {
    if (!line.starts_with("build/velmora ")) continue;
    for (std::string next; line.ends_with("\\") && std::getline(readme, next);) {
      line.pop_back();
      line += next.substr(next.find_first_not_of(' '));
    }
    commands.push_back(line.substr(0, line.find(" | ")));
  }
  return commands;
}

TEST(Readme, CommandsRun) {
  const TemporaryFolder folder;
  std::filesystem::create_directory(folder.Path() / "build");
  std::filesystem::create_symlink(CommandPath(), folder.Path() / "build" / "velmora");
  std::filesystem::create_directory_symlink(SourceDir() + "/samples", folder.Path() / "samples");
  const std::vector<std::string> commands = ReadmeCommands();
  EXPECT_GE(commands.size(), 10u);
  for (const std::string& command : commands) {
    const std::string line = "cd " + folder.Path().string() + " && " + command + " > /dev/null 2> messages";
    EXPECT_EQ(std::system(line.c_str()), 0) << command << "\n" << ReadFile(folder.Path() / "messages");
  }
}

}  // namespace
}  // namespace velmora::testing
