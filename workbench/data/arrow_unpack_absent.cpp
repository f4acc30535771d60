// Replaces arrow_unpack_present.cpp in builds without liblz4 and libzstd.
#include "workbench/data/arrow_batch.h"

namespace velmora {

void UnpackArrowBuffer(ArrowCodec, std::span<const std::byte>, std::span<std::byte>) {
  throw ArrowError(
      "its buffers are compressed, which this build of velmora does not read; write it without compression");
}

}  // namespace velmora
