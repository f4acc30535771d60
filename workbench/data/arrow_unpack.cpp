// The compressed buffers of Arrow IPC, by liblz4 and libzstd.
#include <lz4frame.h>
#include <zstd.h>

#include <memory>
#include <new>

#include "workbench/data/arrow_batch.h"

namespace velmora {

namespace {

bool UnpackLz4(std::span<const std::byte> packed, std::span<std::byte> unpacked) {
  LZ4F_dctx* context = nullptr;
  if (LZ4F_isError(LZ4F_createDecompressionContext(&context, LZ4F_VERSION)) != 0U) throw std::bad_alloc();
  const std::unique_ptr<LZ4F_dctx, decltype(&LZ4F_freeDecompressionContext)> owner(
      context, &LZ4F_freeDecompressionContext);
  for (std::size_t done = 0;;) {
    std::size_t taken = packed.size();
    std::size_t filled = unpacked.size() - done;
    const std::size_t left =
        LZ4F_decompress(context, unpacked.data() + done, &filled, packed.data(), &taken, nullptr);
    if (LZ4F_isError(left) != 0U) return false;
    packed = packed.subspan(taken);
    done += filled;
    if (packed.empty()) return left == 0 && done == unpacked.size();
    if (taken == 0 && filled == 0) return false;
  }
}

}  // namespace

void UnpackArrowBuffer(ArrowCodec codec, std::span<const std::byte> packed, std::span<std::byte> unpacked) {
  bool whole = false;
  if (codec == ArrowCodec::kLz4)
    whole = UnpackLz4(packed, unpacked);
  else if (codec == ArrowCodec::kZstd)
    whole =
        ZSTD_decompress(unpacked.data(), unpacked.size(), packed.data(), packed.size()) == unpacked.size();
  else
    throw ArrowError("its buffers are compressed in an unknown way");
  if (!whole) throw ArrowError("a compressed buffer is damaged");
}

}  // namespace velmora
