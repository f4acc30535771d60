// What the console code asks of the system: a source file for each.
#pragma once

#include <string_view>

#include "workbench/cli/console.h"

namespace velmora {

enum class StandardStream { kOutput, kError };

// Writes all bytes; returns 0 or an errno number, EPIPE when the reader is gone.
[[nodiscard]] int WriteAll(StandardStream stream, std::string_view bytes);
// Everything but colour, which holds only where the environment has nothing against it.
[[nodiscard]] Terminal DescribeTerminal(StandardStream stream);

}  // namespace velmora
