#include "workbench/data/large_pages.h"

#include <cstdlib>

#ifdef __linux__
#include <sys/mman.h>
#endif

namespace velmora {
namespace {

constexpr std::size_t kLargePage = std::size_t{2} << 20;
constexpr std::size_t kCacheLine = 64;

std::size_t RoundedUp(std::size_t byteCount, std::size_t unit) {
  return (byteCount + unit - 1) / unit * unit;
}

}  // namespace

void* AllocateLarge(std::size_t byteCount) noexcept {
  if (byteCount > static_cast<std::size_t>(-1) - kLargePage) return nullptr;
#ifdef __linux__
  if (byteCount >= kLargePage) {
    const std::size_t rounded = RoundedUp(byteCount, kLargePage);
    void* const memory = std::aligned_alloc(kLargePage, rounded);
    // Only a wish: a system without large pages leaves the block as it is.
    if (memory != nullptr) static_cast<void>(madvise(memory, rounded, MADV_HUGEPAGE));
    return memory;
  }
#endif
  return std::aligned_alloc(kCacheLine, RoundedUp(byteCount, kCacheLine));
}

void FreeLarge(void* memory) noexcept { std::free(memory); }

}  // namespace velmora
