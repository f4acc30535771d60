// libvelmora_python.so: runs a script with Python in this process. The command loads it when a
// script is to be run, so that every other command works on a machine without Python. It knows
// automation objects only.
#pragma once

#include "contract/automation.h"

namespace velmora {

struct PythonScript {
  // sys.argv: the script's path, or "-", then the arguments of the script.
  const char* const* arguments;
  int argumentCount;
  const char* text;  // of the script, textLength bytes
  int textLength;
  vlm::IAutomationObject* application;  // velmora.Application; lives until the call returns
  const char* version;

  // The caller handles interruptions (Ctrl-C): its signal handlers call the function passed here;
  // null ends that. After the script has received an interruption, forgetInterruption clears the
  // caller's own flag.
  void (*callOnInterruption)(void (*function)());
  void (*forgetInterruption)();
};

inline constexpr int kPythonCancelled = 130;
inline constexpr int kPythonBrokenPipe = 141;

// Runs the script on the calling thread, which is the only one that may use automation objects.
// Once per process. Returns the exit code: that of sys.exit, 0 at the end of the script, 1 after an
// exception (its traceback is on standard error), kPythonCancelled, or kPythonBrokenPipe when
// standard output is no longer read.
extern "C" __attribute__((visibility("default"))) int VelmoraRunPythonScript(const PythonScript* script);
using RunPythonScriptFunction = int (*)(const PythonScript*);
inline constexpr char kRunPythonScriptName[] = "VelmoraRunPythonScript";

}  // namespace velmora
