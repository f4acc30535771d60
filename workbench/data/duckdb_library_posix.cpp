#include "workbench/data/duckdb_functions.h"
#include "workbench/system/system.h"

namespace velmora {

void* LoadDuckDb(std::string& failure) {
  constexpr char kFile[] = "libduckdb.so";
  std::string reason;
  // Beside this program or library, else where the system looks.
  if (const std::filesystem::path folder = LibraryFolder(); !folder.empty())
    if (void* const library = LoadSharedLibrary(folder / kFile, reason)) return library;
  if (void* const library = LoadSharedLibrary(kFile, reason)) return library;
  failure = std::string("The library ") + kFile +
            ", which reads and writes Parquet, JSON and DuckDB files, cannot be loaded (" + reason + ").";
  return nullptr;
}

}  // namespace velmora
