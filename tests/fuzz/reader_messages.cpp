// Messages of the process that reads foreign files: unpacked messages pack to the same bytes.
#include <string>

#include "tests/fuzz/fuzz_support.h"
#include "workbench/data/reader_protocol.h"

namespace velmora {

namespace {

template <class Unpacked>
void Check(const Unpacked& unpack, std::string_view bytes) {
  const std::string packed = Pack(unpack(bytes));
  fuzz::Require(Pack(unpack(packed)) == packed, "a message survives packing");
}

void Run(std::string_view bytes) {
  if (bytes.empty()) return;
  const char kind = bytes[0];
  bytes.remove_prefix(1);
  if (kind % 3 == 0) Check(UnpackRequest, bytes);
  if (kind % 3 == 1) Check(UnpackHeader, bytes);
  if (kind % 3 == 2) Check(UnpackDetails, bytes);
}

}  // namespace

}  // namespace velmora

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  return velmora::fuzz::Try(bytes, size, velmora::Run);
}
