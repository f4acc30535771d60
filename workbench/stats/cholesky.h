// The Cholesky factor of a small symmetric positive definite matrix, and solutions by it.
#pragma once

#include <cmath>
#include <cstddef>
#include <span>
#include <vector>

namespace velmora::stats {

class Cholesky {
 public:
  // matrix: size x size, of which the lower triangle is read.
  Cholesky(std::span<const double> matrix, std::size_t size)
      : size_(size), factor_(matrix.begin(), matrix.end()) {
    for (std::size_t j = 0; j < size_; ++j) {
      double diagonal = At(j, j);
      const double before = diagonal;
      for (std::size_t k = 0; k < j; ++k) diagonal -= At(j, k) * At(j, k);
      // A pivot that cancels to fewer than four digits counts as 0: the matrix is singular.
      if (!(diagonal > 1e-12 * before)) {
        failedAt_ = j;
        return;
      }
      const double root = std::sqrt(diagonal);
      At(j, j) = root;
      for (std::size_t i = j + 1; i < size_; ++i) {
        double sum = At(i, j);
        for (std::size_t k = 0; k < j; ++k) sum -= At(i, k) * At(j, k);
        At(i, j) = sum / root;
      }
    }
    definite_ = true;
  }

  bool IsPositiveDefinite() const { return definite_; }
  // The first row that is a linear combination of those before it, when it is not.
  std::size_t FailedAt() const { return failedAt_; }

  // Replaces x by L^-1 x: the sum of its squares is then x' M^-1 x.
  void Solve(double* x) const {
    for (std::size_t i = 0; i < size_; ++i) {
      double sum = x[i];
      for (std::size_t k = 0; k < i; ++k) sum -= At(i, k) * x[k];
      x[i] = sum / At(i, i);
    }
  }
  // Replaces x by L'^-1 x: after Solve, x is M^-1 x.
  void SolveTransposed(double* x) const {
    for (std::size_t i = size_; i-- > 0;) {
      double sum = x[i];
      for (std::size_t k = i + 1; k < size_; ++k) sum -= At(k, i) * x[k];
      x[i] = sum / At(i, i);
    }
  }

 private:
  double& At(std::size_t i, std::size_t j) { return factor_[i * size_ + j]; }
  double At(std::size_t i, std::size_t j) const { return factor_[i * size_ + j]; }

  std::size_t size_;
  std::vector<double> factor_;
  bool definite_ = false;
  std::size_t failedAt_ = 0;
};

}  // namespace velmora::stats
