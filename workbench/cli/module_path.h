// Finds the plug-in module that a command loads.
#pragma once

#include <string>

namespace velmora {

// option (of --module), else the environment's VELMORA_MODULE, else libvlmfsl.so beside the executable, in
// ../lib beside it. Throws UsageError (for what the user named) or RunError with one sentence that names the
// places.
std::string FindModule(const std::string& option);

}  // namespace velmora
