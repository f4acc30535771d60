#include "workbench/session/type_library_registry.h"

namespace velmora {

bool RegisterTypeLibraryOf(const std::string& /*moduleFile*/) { return true; }

}  // namespace velmora
