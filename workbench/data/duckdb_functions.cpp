#include "workbench/data/duckdb_functions.h"

#include "workbench/data/errors.h"
#include "workbench/system/system.h"

namespace velmora {

#define VELMORA_DUCKDB_POINTER(name) decltype(&::name) name = nullptr;
VELMORA_DUCKDB_FUNCTIONS(VELMORA_DUCKDB_POINTER)
#undef VELMORA_DUCKDB_POINTER

namespace {

// Empty, or the reason why there is no DuckDB.
std::string FindFunctions() {
  std::string failure;
  void* const library = LoadDuckDb(failure);
  if (library == nullptr) return failure;
  // The first function that the library lacks, as an older version may.
  const char* missing = nullptr;
#define VELMORA_DUCKDB_POINTER(name)                                        \
  name = reinterpret_cast<decltype(&::name)>(FindFunction(library, #name)); \
  if (name == nullptr) missing = #name;
  VELMORA_DUCKDB_FUNCTIONS(VELMORA_DUCKDB_POINTER)
#undef VELMORA_DUCKDB_POINTER
  return missing == nullptr ? "" : std::string("The library of DuckDB is too old: it lacks ") + missing + ".";
}

}  // namespace

void RequireDuckDb() {
  static const std::string failure = FindFunctions();
  if (!failure.empty()) throw DataError(failure);
}

}  // namespace velmora
