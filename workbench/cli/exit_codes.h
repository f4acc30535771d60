// How a command ends. Every failure of every command becomes its exit code and its one sentence here.
#pragma once

#include <functional>
#include <stdexcept>
#include <string>

namespace velmora {

inline constexpr int kExitDone = 0;
inline constexpr int kExitFailed = 1;  // the data, a file or the run
inline constexpr int kExitBadUse = 2;  // the command line
inline constexpr int kExitCancelled = 130;
inline constexpr int kExitBrokenPipe = 141;  // as a shell reports a command that SIGPIPE ended

// The command line asks for something that cannot be. what() is one sentence that names the option.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The run itself failed; what() is one sentence.
class RunError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The reader of standard output went away. Not a failure to speak of.
class BrokenPipe : public std::runtime_error {
 public:
  BrokenPipe() : std::runtime_error("broken pipe") {}
};

// Runs command and turns whatever it throws into a sentence on standard error and an exit code. commandName
// is what --help is suggested for.
int RunGuarded(const std::string& commandName, const std::function<int()>& command);

}  // namespace velmora
