// The data and the command of a report, from which it can be made again. There is no time of day,
// so that equal runs give equal files.
#pragma once

#include <string>
#include <vector>

#include "workbench/documents/workbook.h"
#include "workbench/report/json_text.h"

namespace velmora {

struct Provenance {
  std::string version;
  std::string dataHash;  // SHA-256 of the data file; empty for a table in memory
  std::string command;   // that repeats the run; empty for scripts and programs
};

void AppendProvenance(const Provenance& provenance, std::vector<Fact>& facts);
Json ProvenanceJson(const Provenance& provenance);

}  // namespace velmora
