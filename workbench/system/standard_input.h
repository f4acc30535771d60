// The program's standard input as bytes, without the translation of line ends that some systems do.
#pragma once

#include <cstdio>

namespace velmora {

[[nodiscard]] std::FILE* StandardInput();

}  // namespace velmora
