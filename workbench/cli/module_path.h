// The plug-in module that a command loads, and the session that it is loaded into.
#pragma once

#include <string>

#include "workbench/cli/options.h"
#include "workbench/session/session.h"

namespace velmora {

// option (of --module), else the environment's VELMORA_MODULE, else libvlmfsl.so beside the
// executable or the library libvelmora, or in ../lib beside it. Throws UsageError (for what the
// user named) or RunError with one sentence that names the places.
std::string FindModule(const std::string& option);

// The readers of a session's labels: people get the decimal separator of their locale, programs a
// point.
enum class Readers { kPeople, kPrograms };

// The module, the log (--log, else VELMORA_LOG), the decimal separator (--decimal-separator,
// else by the readers) and the user's profile. Throws what FindModule does, UsageError for a
// wrong separator, and DataError for a log or a settings file that cannot be used. threads:
// 0: one for each processor.
SessionOptions MakeSessionOptions(const ModuleOptions& options, Readers readers, int threads = 0);

}  // namespace velmora
