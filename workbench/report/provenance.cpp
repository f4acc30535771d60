#include "workbench/report/provenance.h"

namespace velmora {

void AppendProvenance(const Provenance& provenance, std::vector<Fact>& facts) {
  if (!provenance.version.empty()) facts.push_back({"Program", "velmora " + provenance.version});
  if (!provenance.dataHash.empty()) facts.push_back({"SHA-256 of the data file", provenance.dataHash});
  if (!provenance.command.empty()) facts.push_back({"Command", provenance.command});
}

Json ProvenanceJson(const Provenance& provenance) {
  return {{"program", "velmora"},
          {"version", TextOrNull(provenance.version)},
          {"dataSha256", TextOrNull(provenance.dataHash)},
          {"command", TextOrNull(provenance.command)}};
}

}  // namespace velmora
