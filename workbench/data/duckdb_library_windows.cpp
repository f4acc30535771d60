// DuckDB's DLL is loaded at the first call into it, which cannot report a failure. This loads it
// beforehand.
#include "workbench/data/duckdb_session.h"
#include "workbench/system/system.h"

namespace velmora {

void RequireDuckDb() {
  static std::string failure;
  static const bool loaded = LoadSharedLibrary(ExecutableFolder() / "duckdb.dll", failure) != nullptr;
  if (loaded) return;
  throw DataError(
      "The library duckdb.dll, which reads data files, cannot be loaded (" + failure +
      "): it belongs beside velmora.exe and needs the Microsoft Visual C++ runtime 2015-2022 for x64.");
}

}  // namespace velmora
