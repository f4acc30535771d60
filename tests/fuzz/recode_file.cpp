// Recode files, which begin with a bracket.
#include "tests/fuzz/coding_file.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  return velmora::fuzz::Try(
      bytes, size, [](std::string_view text) { velmora::fuzz::RunCodingFile("[" + std::string(text)); });
}
