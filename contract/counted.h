// The reference count of an object of the contract, for both sides of the boundary.
//
//   class Maker final : public vlm::Counted<Maker, vlm::ISheetMaker> { ... };
//   auto maker = vlm::Ref<vlm::ISheetMaker>::Adopt(new Maker);   // counted once from the start
#pragma once

namespace vlm {

// Self: the class to delete with the last reference. Interface: what it implements, an ICounted.
template <typename Self, typename Interface>
class Counted : public Interface {
 public:
  Counted(const Counted&) = delete;
  Counted& operator=(const Counted&) = delete;

  void AddReference() final { ++references_; }
  void ReleaseReference() final {
    if (--references_ == 0) delete static_cast<Self*>(this);
  }

 protected:
  using Interface::Interface;
  Counted() = default;
  ~Counted() = default;

 private:
  int references_ = 1;
};

}  // namespace vlm
