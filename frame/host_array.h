// An array in a block of the host's allocator.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <span>
#include <type_traits>
#include <utility>

#include "frame/host/engine_services.h"

namespace vlmfsl {

// Owns count items of T. The services outlive the array. Not filled by Allocate; AllocateZeroed fills with
// zero bytes.
template <typename T>
class HostArray {
  static_assert(std::is_trivially_copyable_v<T> && std::is_trivially_destructible_v<T>);

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

  // Replaces what the array holds by count items. Returns 0, or 1 (and is empty) when there is no memory.
  [[nodiscard]] int Allocate(std::size_t count) {
    Release();
    if (!services_ || count > std::numeric_limits<std::size_t>::max() / sizeof(T)) return 1;
    void* block = nullptr;
    // A block of no bytes is asked for as one item, so that null always means failure.
    if (services_->AllocMem(&block, std::max<std::size_t>(count, 1) * sizeof(T)) != 0 || !block) return 1;
    block_ = static_cast<T*>(block);
    count_ = count;
    return 0;
  }

  [[nodiscard]] int AllocateZeroed(std::size_t count) {
    if (Allocate(count) != 0) return 1;
    if (count_ > 0) std::memset(static_cast<void*>(block_), 0, count_ * sizeof(T));
    return 0;
  }

  void Release() {
    if (!block_) return;
    void* block = block_;
    services_->FreeMem(&block);
    block_ = nullptr;
    count_ = 0;
  }

  [[nodiscard]] T* Data() { return block_; }
  [[nodiscard]] const T* Data() const { return block_; }
  [[nodiscard]] std::size_t Count() const { return count_; }
  [[nodiscard]] std::span<T> Span() { return {block_, count_}; }
  [[nodiscard]] std::span<const T> Span() const { return {block_, count_}; }
  T& operator[](std::size_t index) { return block_[index]; }
  const T& operator[](std::size_t index) const { return block_[index]; }
  explicit operator bool() const { return block_ != nullptr; }

 private:
  vlm::IEngineServices* services_ = nullptr;
  T* block_ = nullptr;
  std::size_t count_ = 0;
};

}  // namespace vlmfsl
