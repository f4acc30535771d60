#include "com/type_library.h"

#include "com/values.h"
#include "workbench/host/type_library.h"

namespace velmora {

bool RegisterTypeLibraryOf(const std::string& moduleFile) {
  return SUCCEEDED(vlmcom::RegisterTypeLibraryFile(vlmcom::Utf16(moduleFile)));
}

}  // namespace velmora
