// The command line of velmora: finds the command, its options and its help.
#pragma once

#include <string>
#include <vector>

namespace velmora {

struct Command {
  const char* name;
  const char* summary;                                    // one line
  const char* help;                                       // the page that --help shows
  int (*run)(const std::vector<std::string>& arguments);  // the words after the command's name
  bool takesWordsOfOthers = false;  // its options end at the first word that is not an option
};

// Every command, in the order of the overview.
const std::vector<Command>& Commands();

// arguments: the words after the program's name. Returns the exit code.
int RunCommandLine(const std::vector<std::string>& arguments);

}  // namespace velmora
