// The covariance of estimated totals under a sample of clusters within strata, by linearisation:
// the clusters of a stratum are taken as drawn with replacement (Wolter 2007, Introduction to
// Variance Estimation, chapter 6; the default of R's survey package).
//
//   const auto addCase = [&](std::uint32_t i, auto add) { add(cellOf[i], weight[i] / total); };
//   const std::vector<double> v = ClusterCovariance(design, cells, addCase, shares);
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace velmora::stats {

struct SurveyDesign {
  struct Range {
    std::size_t begin = 0, end = 0;
  };

  std::vector<std::uint32_t> cases;  // stratum by stratum, cluster by cluster
  std::vector<Range> clusters;       // positions in cases
  std::vector<Range> strata;         // positions in clusters
  double degreesOfFreedom = 0;       // clusters - strata, of those with cases that are used

  bool IsPlain() const { return clusters.empty(); }
};

// The covariance of sums over all cases. contribute(i, add) adds a case's part to some of `size`
// entries; from that the case's total contribution times offset (empty: zeros) is subtracted, which
// turns totals into linearised shares. size x size. A stratum of one cluster counts with the square
// of the cluster's total.
template <typename Contribute>
std::vector<double> ClusterCovariance(const SurveyDesign& design, std::size_t size, Contribute contribute,
                                      std::span<const double> offset = {}) {
  // With t and s the totals of a cluster, t - s p is its part, and the sum of its squares is
  //   sum t t' - (sum s t) p' - p (sum s t)' + (sum s^2) p p',
  // where t has few entries that are not 0.
  std::vector<double> matrix(size * size), cross(size), total(size), stratumTotal(size);
  std::vector<std::uint8_t> isTouched(size);
  std::vector<std::size_t> touched;
  double squares = 0;
  for (const SurveyDesign::Range& stratum : design.strata) {
    const double count = static_cast<double>(stratum.end - stratum.begin);
    const double factor = count > 1 ? count / (count - 1) : 1;
    double stratumSum = 0;
    std::fill(stratumTotal.begin(), stratumTotal.end(), 0.0);
    for (std::size_t k = stratum.begin; k < stratum.end; ++k) {
      double sum = 0;
      touched.clear();
      for (std::size_t at = design.clusters[k].begin; at < design.clusters[k].end; ++at) {
        contribute(design.cases[at], [&](std::size_t entry, double value) {
          if (isTouched[entry] == 0) touched.push_back(entry);
          isTouched[entry] = 1;
          total[entry] += value;
          sum += value;
        });
      }
      for (const std::size_t a : touched) {
        for (const std::size_t b : touched) matrix[a * size + b] += factor * total[a] * total[b];
        cross[a] += factor * sum * total[a];
        stratumTotal[a] += total[a];
      }
      for (const std::size_t a : touched) {
        total[a] = 0;
        isTouched[a] = 0;
      }
      squares += factor * sum * sum;
      stratumSum += sum;
    }
    if (count < 2) continue;
    const auto part = [&](std::size_t a) {
      return stratumTotal[a] - (offset.empty() ? 0 : stratumSum * offset[a]);
    };
    for (std::size_t a = 0; a < size; ++a) {
      for (std::size_t b = 0; b < size; ++b) matrix[a * size + b] -= factor / count * part(a) * part(b);
    }
  }
  if (offset.empty()) return matrix;
  for (std::size_t a = 0; a < size; ++a) {
    for (std::size_t b = 0; b < size; ++b)
      matrix[a * size + b] += squares * offset[a] * offset[b] - cross[a] * offset[b] - offset[a] * cross[b];
  }
  return matrix;
}

}  // namespace velmora::stats
