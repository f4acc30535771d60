// Event scripts of graphs: parsed, and asked for the text at a few places.
#include <array>

#include "tests/fuzz/fuzz_support.h"
#include "workbench/language/event_script.h"

namespace velmora {

namespace {

void Run(std::string_view text) {
  const EventScript script(text, ".");
  for (const char* type : {"Plot2DSimple", "PlotBoxWhisker"})
    for (const double x : {0.0, 1.0, 2.5, -1e300}) (void)script.ToolTip(type, std::array<double, 3>{x, 0.5, 3});
}

}  // namespace

}  // namespace velmora

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  return velmora::fuzz::Try(bytes, size, velmora::Run);
}
