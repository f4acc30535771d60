// The numbers of a column: of its own, or lent by whoever made the table, as a buffer of another
// program is. Copies share what is lent; whoever changes values makes them the column's own first.
//
//   for (const double value : column.values) sum += value;
//   column.values.Own().push_back(3);
#pragma once

#include <algorithm>
#include <initializer_list>
#include <memory>
#include <span>
#include <utility>
#include <vector>

namespace velmora {

class ColumnValues {
 public:
  using value_type = double;

  ColumnValues() = default;
  ColumnValues(std::vector<double> values) : own_(std::move(values)) {}
  ColumnValues(std::initializer_list<double> values) : own_(values) {}
  // owner keeps the memory of values alive and unchanged.
  ColumnValues(std::span<const double> values, std::shared_ptr<const void> owner)
      : lent_(values), owner_(std::move(owner)) {}

  const double* data() const { return owner_ ? lent_.data() : own_.data(); }
  std::size_t size() const { return owner_ ? lent_.size() : own_.size(); }
  bool empty() const { return size() == 0; }
  const double* begin() const { return data(); }
  const double* end() const { return data() + size(); }
  const double& operator[](std::size_t index) const { return data()[index]; }
  const double& front() const { return data()[0]; }
  const double& back() const { return data()[size() - 1]; }

  // The values, to be changed; lent ones are copied once.
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
  std::shared_ptr<const void> owner_;  // null: own_ has the values
};

}  // namespace velmora
