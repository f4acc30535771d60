// Memory for large blocks that are traversed again and again: aligned to huge pages and offered to
// the system as such, so that a pass over thousands of columns does not wait for address
// translation. Ordinary memory where the system has no huge pages.
//
//   std::vector<double, LargePageAllocator<double>> values(count);
#pragma once

#include <cstddef>
#include <new>

namespace velmora {

// A block of byteCount bytes, aligned at least to cache lines, to be released by FreeLarge; null
// when there is no memory.
[[nodiscard]] void* AllocateLarge(std::size_t byteCount) noexcept;

// For containers whose storage is such a block.
template <class T>
struct LargePageAllocator {
  using value_type = T;
  LargePageAllocator() = default;
  template <class U>
  LargePageAllocator(const LargePageAllocator<U>&) noexcept {}

  T* allocate(std::size_t count) {
    if (count > static_cast<std::size_t>(-1) / sizeof(T)) throw std::bad_array_new_length();
    if (void* const memory = AllocateLarge(count * sizeof(T))) return static_cast<T*>(memory);
    throw std::bad_alloc();
  }
  void deallocate(T* memory, std::size_t) noexcept;

  template <class U>
  friend bool operator==(const LargePageAllocator&, const LargePageAllocator<U>&) {
    return true;
  }
};

void FreeLarge(void* memory) noexcept;

template <class T>
void LargePageAllocator<T>::deallocate(T* memory, std::size_t) noexcept {
  FreeLarge(memory);
}

}  // namespace velmora
