// Arrays in blocks of the host's allocator.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <type_traits>
#include <utility>

#include "contract/engine_services.h"
#include "module/frame/step_result.h"

namespace vlmfsl {

// Allocates count items of the host's memory, their content undefined, and extraBytes after them.
// Returns kOk, or kFailed with a null block when the host has none or the size is beyond what can
// be addressed.
template <typename T>
[[nodiscard]] int AllocateArray(vlm::IEngineServices& services, T** block, std::uint64_t count,
                                std::uint64_t extraBytes = 0) {
  static_assert(std::is_trivially_copyable_v<T> && std::is_trivially_destructible_v<T>);
  *block = nullptr;
  if (count > (std::uint64_t{1} << 48) / sizeof(T)) return kFailed;
  // An empty array takes one item, so that null always means failure.
  const std::uint64_t bytes = std::max<std::uint64_t>(count * sizeof(T) + extraBytes, sizeof(T));
  void* raw = nullptr;
  if (services.AllocMem(&raw, bytes) != 0 || !raw) return kFailed;
  *block = static_cast<T*>(raw);
  return kOk;
}

template <typename T>
void FreeArray(vlm::IEngineServices& services, T** block) {
  if (!*block) return;
  void* raw = *block;
  services.FreeMem(&raw);
  *block = nullptr;
}

// Owns such an array. The services outlive it.
template <typename T>
class HostArray {
 public:
  HostArray() = default;
  explicit HostArray(vlm::IEngineServices& services) : services_(&services) {}
  HostArray(HostArray&& other) noexcept
      : services_(other.services_),
        block_(std::exchange(other.block_, nullptr)),
        count_(std::exchange(other.count_, 0)) {}
  HostArray& operator=(HostArray&& other) noexcept {
    std::swap(services_, other.services_);
    std::swap(block_, other.block_);
    std::swap(count_, other.count_);
    return *this;
  }
  HostArray(const HostArray&) = delete;
  HostArray& operator=(const HostArray&) = delete;
  ~HostArray() { Release(); }

  // Replaces the items by count items of undefined content. Returns kOk, or kFailed and is empty.
  [[nodiscard]] int Allocate(std::uint64_t count, std::uint64_t extraBytes = 0) {
    Release();
    if (!services_ || AllocateArray(*services_, &block_, count, extraBytes) != kOk) return kFailed;
    count_ = static_cast<std::size_t>(count);
    return kOk;
  }

  // The same, filled with zero bytes.
  [[nodiscard]] int AllocateZeroed(std::uint64_t count) {
    if (Allocate(count) != kOk) return kFailed;
    std::memset(static_cast<void*>(block_), 0, count_ * sizeof(T));
    return kOk;
  }

  void Release() {
    if (services_) FreeArray(*services_, &block_);
    count_ = 0;
  }

  [[nodiscard]] T* data() { return block_; }
  [[nodiscard]] const T* data() const { return block_; }
  [[nodiscard]] std::size_t size() const { return count_; }
  [[nodiscard]] std::span<T> Elements() { return {block_, count_}; }
  [[nodiscard]] std::span<const T> Elements() const { return {block_, count_}; }
  T& operator[](std::size_t index) { return block_[index]; }
  const T& operator[](std::size_t index) const { return block_[index]; }
  explicit operator bool() const { return block_ != nullptr; }

 private:
  vlm::IEngineServices* services_ = nullptr;
  T* block_ = nullptr;
  std::size_t count_ = 0;
};

}  // namespace vlmfsl
