// The association of a grouped predictor with an outcome: strength with its confidence interval,
// test and design effect, from sums that one pass over the cases makes.
//
//   CellSums sums(levels, classes);
//   ... sums.weights[level * classes + c] += 1 for every case ...
//   const Association a = TableAssociation(sums);   // a.effect, a.lower, a.upper, std::exp(a.logP)
//
// Without weights the tests are Pearson's and the one-way analysis of variance. With weights they
// take the variance of the weighted figures from linearisation, so that p is that of the cases that
// were drawn and no figure depends on the unit of the weights.
#pragma once

#include <cstddef>
#include <vector>

namespace velmora::stats {

inline constexpr double kEffectLevel = 0.95;  // of the intervals of effects

// Cases are sampled with replacement: individually, or in clusters within strata. The covariance of
// estimates is then a sum over clusters, whose number says how well it is known.
struct DesignCovariance {
  // The covariance of cell shares, or of group means, as a full matrix in the order of the sums;
  // empty: it follows from the sums of squared weights.
  std::vector<double> matrix;
  // With strata or clusters: the matrix is needed, and its absence means too many cells.
  bool isClustered = false;
  double degreesOfFreedom = 0;  // clusters - strata; without a design cases - 1
};

// Cells, row by row, of a predictor's levels by an outcome's classes.
struct CellSums {
  CellSums(std::size_t rowCount, std::size_t columnCount)
      : rows(rowCount), columns(columnCount), weights(rowCount * columnCount) {}

  std::size_t rows, columns;
  std::vector<double> weights;
  std::vector<double> squaredWeights;  // sums of squared weights; empty: every weight is 1
  double cases = 0;                    // with weights: how many cases were drawn
  DesignCovariance design;
};

// Groups of a measured outcome by a predictor's levels.
struct GroupSums {
  explicit GroupSums(std::size_t groupCount)
      : weights(groupCount), means(groupCount), sumsOfSquares(groupCount) {}

  std::vector<double> weights;
  std::vector<double> means;                  // weighted, relative to any origin
  std::vector<double> sumsOfSquares;          // weighted, about the group's mean
  std::vector<double> squaredWeights;         // empty: every weight is 1
  std::vector<double> squaredWeightsSquares;  // sums of w^2 (y - mean)^2; as long as squaredWeights
  double cases = 0;                           // with weights: how many cases were drawn
  double rounding = 0;                        // of a value; an outcome that varies less is constant
  DesignCovariance design;
};

struct Association {
  bool computable = false;  // at least two levels, and an outcome that varies
  std::size_t levels = 0;   // that have cases
  std::size_t classes = 0;  // likewise; 0 for a measured outcome

  // Chi-square of the cases, (rows - 1)(columns - 1) degrees of freedom, df2 = 0; or the one-way F.
  // Weights are taken relative to their mean.
  double statistic = 0, df1 = 0, df2 = 0;
  // Cramer's V, or eta squared.
  double rawEffect = 0;
  // Corrected for the number of levels, so that noise has 0 on average whatever its levels: V after
  // Bergsma 2013 (doi:10.1016/j.jkss.2012.10.002), epsilon squared after Kelley 1935
  // (doi:10.1073/pnas.21.9.554). lower, upper: its 95 % interval.
  double effect = 0, lower = 0, upper = 0;

  // The test behind p: chi-square or F, or with weights Rao and Scott's F or Wald's F.
  double testStatistic = 0, testDf1 = 0, testDf2 = 0;  // testDf2 0: chi-square
  double logP = 0;                                     // natural logarithm
  // Variance of the estimates relative to a simple random sample of as many cases: 1 without
  // weights.
  double designEffect = 1;

  // Tables: cells with expected counts below 5, the smallest of them, and how many cells there are.
  std::size_t cells = 0, smallCells = 0;
  double smallestExpected = 0;
};

// Beyond this many degrees of freedom the covariance of a table's cells, or of means, is not
// formed.
inline constexpr std::size_t kMostObservedInteractions = 128;

Association TableAssociation(const CellSums& sums);
Association MeanAssociation(const GroupSums& sums);

}  // namespace velmora::stats
