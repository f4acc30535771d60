#include <fcntl.h>
#include <io.h>

#include "workbench/system/standard_input.h"

namespace velmora {

std::FILE* StandardInput() {
  _setmode(_fileno(stdin), _O_BINARY);
  return stdin;
}

}  // namespace velmora
