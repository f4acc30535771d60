#include "workbench/data/large_pages.h"

#include "workbench/system/system.h"

namespace velmora {
namespace {

constexpr std::size_t kLargePage = std::size_t{2} << 20;
constexpr std::size_t kCacheLine = 64;

}  // namespace

void* AllocateLarge(std::size_t byteCount) noexcept {
  if (byteCount > static_cast<std::size_t>(-1) - kLargePage) return nullptr;
  if (byteCount < kLargePage) return AllocateAligned(kCacheLine, byteCount);
  const std::size_t rounded = (byteCount + kLargePage - 1) / kLargePage * kLargePage;
  void* const memory = AllocateAligned(kLargePage, rounded);
  if (memory != nullptr) AdviseHugePages(memory, rounded);
  return memory;
}

void FreeLarge(void* memory) noexcept { FreeAligned(memory); }

}  // namespace velmora
