// Rules scripts: begun like one, since recode files and files of bins are other targets.
#include "tests/fuzz/coding_file.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  return velmora::fuzz::Try(
      bytes, size, [](std::string_view text) { velmora::fuzz::RunCodingFile("If( " + std::string(text)); });
}
