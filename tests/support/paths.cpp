#include "tests/support/paths.h"

std::string SourceDir() { return VELMORA_SOURCE_DIR; }
std::string BinaryDir() { return VELMORA_BINARY_DIR; }
std::string ModulePath() { return VELMORA_MODULE_PATH; }
