// A counted reference to an object of the contract, for both sides of the boundary.
//
//   const vlm::Ref<vlm::IGraph> graph = vlm::Ref<vlm::IGraph>::Adopt(host.CreateGraph(kind));
//   if (graph) graph->AddPoint(series, x, y, nullptr, 0);
#pragma once

#include <utility>

namespace vlm {

// Holds one reference of T (an ICounted) while it lives, or nothing.
template <typename T>
class Ref {
 public:
  Ref() = default;
  // Counts a reference of its own.
  explicit Ref(T* object) : object_(object) {
    if (object_) object_->AddReference();
  }
  Ref(const Ref& other) : Ref(other.object_) {}
  Ref(Ref&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  Ref& operator=(Ref other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }
  ~Ref() {
    if (object_) object_->ReleaseReference();
  }

  // Takes over a reference that the caller would otherwise have to release.
  [[nodiscard]] static Ref Adopt(T* object) {
    Ref ref;
    ref.object_ = object;
    return ref;
  }

  [[nodiscard]] T* Get() const { return object_; }
  T* operator->() const { return object_; }
  T& operator*() const { return *object_; }
  explicit operator bool() const { return object_ != nullptr; }

 private:
  T* object_ = nullptr;
};

}  // namespace vlm
