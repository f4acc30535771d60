#include "workbench/system/standard_input.h"

namespace velmora {

std::FILE* StandardInput() { return stdin; }

}  // namespace velmora
