// The system's part of the console code: one source file per system.
#pragma once

#include <string_view>

#include "workbench/cli/console.h"

namespace velmora {

enum class StandardStream { kOutput, kError };

// Writes all bytes; returns 0 or an errno number, EPIPE when the reader is gone.
[[nodiscard]] int WriteAll(StandardStream stream, std::string_view bytes);
// Ignores what the environment says about colour.
[[nodiscard]] Terminal DescribeTerminal(StandardStream stream);

// Whether a request to stop has come by a signal or a key.
[[nodiscard]] bool WasSignalled();

}  // namespace velmora
