// How a command ends: every failure of every command becomes an exit code and one sentence here.
#pragma once

#include <functional>
#include <stdexcept>
#include <string>

namespace velmora {

inline constexpr int kExitDone = 0;
inline constexpr int kExitFailed = 1;        // the data, a file or the run
inline constexpr int kExitBadUse = 2;        // wrong usage: the command line
inline constexpr int kExitConditionMet = 3;  // of --fail-on; all outputs were written
inline constexpr int kExitCancelled = 130;
inline constexpr int kExitBrokenPipe = 141;  // as a shell reports a command that SIGPIPE ended

// The command line is wrong. what() is one sentence that names the option.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The run itself failed; what() is one sentence.
class RunError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The reader of standard output has gone away, which is not a failure.
class BrokenPipe : public std::runtime_error {
 public:
  BrokenPipe() : std::runtime_error("broken pipe") {}
};

// Runs command and turns any exception into a sentence on standard error and an exit code.
// commandName is the command whose --help is suggested.
int RunGuarded(const std::string& commandName, const std::function<int()>& command);

}  // namespace velmora
