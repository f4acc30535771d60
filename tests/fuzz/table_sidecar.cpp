// Sidecars of saved tables: applied to a table, they leave one that is sound.
#include <string>
#include <vector>

#include "tests/fuzz/fuzz_support.h"
#include "workbench/data/table_sidecar.h"

namespace velmora {

namespace {

void Run(std::string_view text) {
  const TableSidecar sidecar = ParseSidecar(std::string(text), "fuzz.csv.bundles.json");
  Table table = fuzz::SampleTable();
  std::vector<std::string> warnings;
  ApplySidecar(sidecar, table, warnings);
  fuzz::RequireSound(table);
  for (const VariableBundle& bundle : table.bundles)
    for (const int number : bundle.variableNumbers)
      fuzz::Require(number >= 1 && number <= table.VariableCount(), "bundles hold variables");
  // What is printed of the table gives the same table.
  const std::string printed = PrintSidecar(table, true);
  if (!printed.empty()) static_cast<void>(ParseSidecar(printed, "printed"));
}

}  // namespace

}  // namespace velmora

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  return velmora::fuzz::Try(bytes, size, velmora::Run);
}
