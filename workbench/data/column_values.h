// The numbers of a column: of its own, or lent by an owner, such as a buffer of another program or a
// mapped file. Copies share what is lent.
//
//   for (const double value : column.values) sum += value;
//   column.values.Release();                                    // not needed for a while
//   for (double& value : column.values.Writable()) value += 1;
//   column.values.Own().push_back(3);
#pragma once

#include <algorithm>
#include <initializer_list>
#include <memory>
#include <span>
#include <utility>
#include <vector>

namespace velmora {

// Keeps lent values in memory, alive and unchanged, until the last column that has them is gone.
class ValuesOwner {
 public:
  ValuesOwner() = default;
  ValuesOwner(const ValuesOwner&) = delete;
  ValuesOwner& operator=(const ValuesOwner&) = delete;
  virtual ~ValuesOwner() = default;

  // May give their memory back until they are looked at again. Any thread may call it, also while
  // another reads the values.
  virtual void Release() const noexcept {}
  // The values, for a column that shares them with no other and may change them; empty: they are
  // read-only.
  virtual std::span<double> Writable() { return {}; }
};

class ColumnValues {
 public:
  using value_type = double;

  ColumnValues() = default;
  ColumnValues(std::vector<double> values) : own_(std::move(values)) {}
  ColumnValues(std::initializer_list<double> values) : own_(values) {}
  ColumnValues(std::span<const double> values, std::shared_ptr<ValuesOwner> owner)
      : lent_(values), owner_(std::move(owner)) {}

  const double* data() const { return owner_ ? lent_.data() : own_.data(); }
  std::size_t size() const { return owner_ ? lent_.size() : own_.size(); }
  bool empty() const { return size() == 0; }
  const double* begin() const { return data(); }
  const double* end() const { return data() + size(); }
  const double& operator[](std::size_t index) const { return data()[index]; }
  const double& front() const { return data()[0]; }
  const double& back() const { return data()[size() - 1]; }

  // Says that the values are not needed for a while.
  void Release() const noexcept {
    if (owner_) owner_->Release();
  }
  // The values, to be changed in place: in the owner's memory if possible, else as with Own().
  std::span<double> Writable() {
    if (owner_ && owner_.use_count() == 1) {
      if (const std::span<double> values = owner_->Writable(); !values.empty()) return values;
    }
    return Own();
  }
  // The values, whose number may be changed, too; lent ones are copied first.
  std::vector<double>& Own() {
    if (owner_) {
      own_.assign(lent_.begin(), lent_.end());
      lent_ = {};
      owner_.reset();
    }
    return own_;
  }

  friend bool operator==(const ColumnValues& a, const ColumnValues& b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end());
  }

 private:
  std::vector<double> own_;
  std::span<const double> lent_;
  std::shared_ptr<ValuesOwner> owner_;  // null: own_ has the values
};

}  // namespace velmora
