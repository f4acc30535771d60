#include "workbench/data/duckdb_functions.h"
#include "workbench/system/system.h"

namespace velmora {

void* LoadDuckDb(std::string& failure) {
  std::string reason;
  void* const library = LoadSharedLibrary(ExecutableFolder() / "duckdb.dll", reason);
  if (library == nullptr)
    failure =
        "The library duckdb.dll, which reads data files, cannot be loaded (" + reason +
        "): it belongs beside velmora.exe and needs the Microsoft Visual C++ runtime 2015-2022 for x64.";
  return library;
}

}  // namespace velmora
