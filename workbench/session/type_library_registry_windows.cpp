#include "contract/com/type_library.h"

#include "contract/com/values.h"
#include "workbench/session/type_library_registry.h"

namespace velmora {

bool RegisterTypeLibraryOf(const std::string& moduleFile) {
  return SUCCEEDED(vlmcom::RegisterTypeLibraryFile(vlmcom::Utf16(moduleFile)));
}

}  // namespace velmora
