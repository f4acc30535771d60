// The words behind "velmora": which command they name, and its help.
#pragma once

#include <string>
#include <vector>

namespace velmora {

struct Command {
  const char* name;
  const char* summary;                                    // one line
  const char* help;                                       // the page that --help shows
  int (*run)(const std::vector<std::string>& arguments);  // the words behind the command's name
  bool takesWordsOfOthers = false;                        // its options end at the first word that is none
};

// Every command, in the order of the overview.
const std::vector<Command>& Commands();

// arguments: the words behind the program's name. Returns the exit code.
int RunCommandLine(const std::vector<std::string>& arguments);

}  // namespace velmora
