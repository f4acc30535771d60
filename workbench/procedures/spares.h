// Scratch objects that threads borrow, made when none is free.
//
//   Spares<stats::SortScratch> scratches;
//   const auto scratch = scratches.Borrow();
//   stats::SortColumn(values, code, {}, *scratch, order);   // given back at the end of the scope
#pragma once

#include <memory>
#include <mutex>
#include <utility>
#include <vector>

namespace velmora {

template <class T>
class Spares {
 public:
  class Lease {
   public:
    Lease(Spares& owner, std::unique_ptr<T> object) : owner_(owner), object_(std::move(object)) {}
    ~Lease() {
      if (object_) owner_.GiveBack(std::move(object_));
    }
    Lease(Lease&&) noexcept = default;
    Lease& operator=(Lease&&) = delete;
    T& operator*() const { return *object_; }
    T* operator->() const { return object_.get(); }

   private:
    Spares& owner_;
    std::unique_ptr<T> object_;
  };

  Lease Borrow() {
    std::unique_ptr<T> object;
    {
      const std::lock_guard lock(mutex_);
      if (!free_.empty()) {
        object = std::move(free_.back());
        free_.pop_back();
      }
    }
    return Lease(*this, object ? std::move(object) : std::make_unique<T>());
  }
  // Frees those that are not borrowed.
  void Clear() {
    const std::lock_guard lock(mutex_);
    free_.clear();
  }

 private:
  void GiveBack(std::unique_ptr<T> object) noexcept {
    try {
      const std::lock_guard lock(mutex_);
      free_.push_back(std::move(object));
    } catch (...) {
      // There is no memory to keep the object, so free it.
    }
  }

  std::mutex mutex_;
  std::vector<std::unique_ptr<T>> free_;
};

}  // namespace velmora
