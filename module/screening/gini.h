// Weighted Gini impurity over a table of two counts per row.
#pragma once

namespace vlmfsl {

// Sum over rows with n > 0 of 2 p (1 - p) n / N, n = a + b, p = a / n, N the sum of n over all
// rows: the impurity that is left within the rows. Rows are added in the order given.
class WeightedGini {
 public:
  explicit WeightedGini(double totalCount) : totalCount_(totalCount) {}
  void Add(double a, double b) {
    const double n = a + b;
    // A pure row adds 0, and most rows of a fine table are pure: one test for both counts.
    if (a * b != 0 && n > 0) sum_ += 2 * (a / n) * (b / n) * n / totalCount_;
  }
  [[nodiscard]] double Sum() const { return sum_; }

 private:
  double totalCount_;
  double sum_ = 0;
};

}  // namespace vlmfsl
