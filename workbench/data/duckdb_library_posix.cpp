#include "workbench/data/duckdb_session.h"

namespace velmora {

void RequireDuckDb() {}  // the system loads it with the program

}  // namespace velmora
