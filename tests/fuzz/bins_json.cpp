// Saved bins: bins that are read can be written and read again unchanged, and written in every
// other language.
#include <string>
#include <vector>

#include "tests/fuzz/fuzz_support.h"
#include "workbench/bins/saved_bins.h"

namespace velmora {

namespace {

void Run(std::string_view text) {
  const SavedBins bins = ParseBinsJson(text, "fuzz.json");
  const std::string printed = BinsJson(bins);
  fuzz::Require(BinsJson(ParseBinsJson(printed, "fuzz.json")) == printed, "bins survive writing and reading");
  std::vector<std::string> notices;
  fuzz::Require(!BinsSql(bins, notices).empty(), "bins have a query");
  fuzz::Require(!BinsPython(bins).empty(), "bins have a module");
}

}  // namespace

}  // namespace velmora

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  return velmora::fuzz::Try(bytes, size, velmora::Run);
}
