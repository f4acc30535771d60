#include "workbench/stats/association.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "workbench/stats/cholesky.h"
#include "workbench/stats/distributions.h"
#include "workbench/stats/noncentral.h"

namespace velmora::stats {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kSmallExpected = 5;

// A table without its empty rows and columns, as shares of the whole.
struct Shares {
  std::size_t rows = 0, columns = 0;
  double cases = 0;  // the number of cases that the shares refer to
  std::vector<double> cell, row, column;
  std::vector<double> squaredWeight;  // sum w^2 / (sum w)^2 of each cell; empty without weights
  std::vector<std::size_t> place;     // of each cell in the sums

  double At(std::size_t i, std::size_t j) const { return cell[i * columns + j]; }
  double Expected(std::size_t i, std::size_t j) const { return row[i] * column[j]; }
};

Shares SharesOf(const CellSums& sums) {
  std::vector<double> rowTotals(sums.rows), columnTotals(sums.columns);
  double total = 0;
  for (std::size_t i = 0; i < sums.rows; ++i) {
    for (std::size_t j = 0; j < sums.columns; ++j) {
      const double weight = sums.weights[i * sums.columns + j];
      rowTotals[i] += weight;
      columnTotals[j] += weight;
    }
    total += rowTotals[i];
  }
  Shares shares;
  shares.cases = sums.squaredWeights.empty() ? total : sums.cases;
  for (std::size_t i = 0; i < sums.rows; ++i) {
    if (!(rowTotals[i] > 0)) continue;
    shares.row.push_back(rowTotals[i] / total);
    for (std::size_t j = 0; j < sums.columns; ++j) {
      if (!(columnTotals[j] > 0)) continue;
      const std::size_t at = i * sums.columns + j;
      shares.cell.push_back(sums.weights[at] / total);
      shares.place.push_back(at);
      if (!sums.squaredWeights.empty())
        shares.squaredWeight.push_back(sums.squaredWeights[at] / total / total);
    }
  }
  for (const double columnTotal : columnTotals) {
    if (columnTotal > 0) shares.column.push_back(columnTotal / total);
  }
  shares.rows = shares.row.size();
  shares.columns = shares.column.size();
  return shares;
}

// Rao and Scott (1984, doi:10.1214/aos/1176346391): under independence Pearson's chi-square is a
// sum of (rows - 1)(columns - 1) independent chi-squares of one degree of freedom, each times a
// generalized design effect, an eigenvalue of Delta = (C' D C)^-1 n C' D V D C. D has 1 / share on
// its diagonal, C spans the interactions, V is the covariance of the shares.
struct GeneralizedEffects {
  double sum = kNaN;        // trace of Delta
  double sumOfSquares = 0;  // trace of Delta^2
};

// C by differences to the last row and the last column: entry ((a, b), (c, d)) of C' diag(x) C.
class InteractionContrasts {
 public:
  explicit InteractionContrasts(const Shares& shares) : rows_(shares.rows), columns_(shares.columns) {}

  std::size_t Count() const { return (rows_ - 1) * (columns_ - 1); }

  std::vector<double> Quadratic(const std::vector<double>& x) const {
    const std::size_t m = Count(), width = columns_ - 1;
    std::vector<double> matrix(m * m);
    for (std::size_t k = 0; k < m; ++k) {
      for (std::size_t l = 0; l <= k; ++l) {
        const std::size_t a = k / width, b = k % width, c = l / width, d = l % width;
        double entry = x[Last()];
        if (a == c) entry += x[a * columns_ + columns_ - 1];
        if (b == d) entry += x[(rows_ - 1) * columns_ + b];
        if (k == l) entry += x[a * columns_ + b];
        matrix[k * m + l] = matrix[l * m + k] = entry;
      }
    }
    return matrix;
  }

  // C' x. stride: from one entry of x to the next.
  void Apply(const double* x, std::size_t stride, double* result) const {
    const auto at = [&](std::size_t i, std::size_t j) { return x[(i * columns_ + j) * stride]; };
    for (std::size_t a = 0, k = 0; a + 1 < rows_; ++a) {
      for (std::size_t b = 0; b + 1 < columns_; ++b, ++k)
        result[k] = at(a, b) - at(a, columns_ - 1) - at(rows_ - 1, b) + at(rows_ - 1, columns_ - 1);
    }
  }

 private:
  std::size_t Last() const { return rows_ * columns_ - 1; }

  std::size_t rows_, columns_;
};

// L^-1 M L^-T of a symmetric M, in place, and its traces.
GeneralizedEffects TracesOf(const Cholesky& denominator, std::vector<double>& numerator, std::size_t m) {
  for (std::size_t row = 0; row < m; ++row) denominator.Solve(&numerator[row * m]);
  std::vector<double> column(m);
  GeneralizedEffects effects{0, 0};
  for (std::size_t j = 0; j < m; ++j) {
    for (std::size_t i = 0; i < m; ++i) column[i] = numerator[i * m + j];
    denominator.Solve(column.data());
    effects.sum += column[j];
    for (const double entry : column) effects.sumOfSquares += entry * entry;
  }
  return effects;
}

// With the observed shares; empty cells have no part in D.
GeneralizedEffects ObservedEffects(const Shares& shares, const CellSums& sums) {
  const InteractionContrasts contrasts(shares);
  const std::size_t m = contrasts.Count(), cells = shares.cell.size();
  std::vector<double> inverse(cells);
  for (std::size_t c = 0; c < cells; ++c) inverse[c] = shares.cell[c] > 0 ? 1 / shares.cell[c] : 0;
  std::vector<double> denominator = contrasts.Quadratic(inverse);
  for (double& entry : denominator) entry /= shares.cases;
  const Cholesky factor(denominator, m);
  if (!factor.IsPositiveDefinite()) return {};

  std::vector<double> numerator;
  if (!sums.design.matrix.empty()) {
    // C' D V D C, one side after the other.
    const std::size_t size = sums.rows * sums.columns;
    std::vector<double> scaled(cells * cells), half(m * cells);
    for (std::size_t c = 0; c < cells; ++c) {
      for (std::size_t d = 0; d < cells; ++d)
        scaled[c * cells + d] =
            inverse[c] * sums.design.matrix[shares.place[c] * size + shares.place[d]] * inverse[d];
    }
    std::vector<double> result(m);
    for (std::size_t c = 0; c < cells; ++c) {
      contrasts.Apply(&scaled[c], cells, result.data());
      for (std::size_t k = 0; k < m; ++k) half[k * cells + c] = result[k];
    }
    numerator.resize(m * m);
    for (std::size_t k = 0; k < m; ++k) contrasts.Apply(&half[k * cells], 1, &numerator[k * m]);
    return TracesOf(factor, numerator, m);
  }
  // V = n / (n - 1) (diag(q) - q p' - p q' + (sum q) p p'), q the squared weights: D p is 1 in
  // every cell that is not empty.
  const double repeated = shares.cases / (shares.cases - 1);
  std::vector<double> squares(cells), first(cells), filled(cells);
  double total = 0;
  for (std::size_t c = 0; c < cells; ++c) {
    total += shares.squaredWeight[c];
    first[c] = shares.squaredWeight[c] * inverse[c];
    squares[c] = first[c] * inverse[c];
    filled[c] = inverse[c] > 0 ? 1 : 0;
  }
  numerator = contrasts.Quadratic(squares);
  std::vector<double> g(m), h(m);
  contrasts.Apply(first.data(), 1, g.data());
  contrasts.Apply(filled.data(), 1, h.data());
  for (std::size_t k = 0; k < m; ++k) {
    for (std::size_t l = 0; l < m; ++l) {
      double& entry = numerator[k * m + l];
      entry = repeated * (entry - g[k] * h[l] - h[k] * g[l] + total * h[k] * h[l]);
    }
  }
  return TracesOf(factor, numerator, m);
}

// With the shares that independence expects, where C (C' D C)^-1 C' is the product of
// diag(r) - r r' and diag(c) - c c' of the row and column shares: linear in the cells, and defined
// whatever cells are empty.
GeneralizedEffects ExpectedEffects(const Shares& shares) {
  const std::size_t rows = shares.rows, columns = shares.columns, cells = shares.cell.size();
  const double repeated = shares.cases / (shares.cases - 1);
  std::vector<double> b(cells), u(cells), v(cells);
  double total = 0;
  for (std::size_t i = 0, c = 0; i < rows; ++i) {
    for (std::size_t j = 0; j < columns; ++j, ++c) {
      const double expected = shares.Expected(i, j);
      u[c] = repeated * shares.squaredWeight[c] / expected;
      b[c] = u[c] / expected;
      v[c] = shares.cell[c] / expected;
      total += repeated * shares.squaredWeight[c];
    }
  }
  // The matrix product above, of a vector of cells.
  const auto project = [&](const std::vector<double>& x) {
    std::vector<double> rowMeans(rows), columnMeans(columns), projected(cells);
    double mean = 0;
    for (std::size_t i = 0, c = 0; i < rows; ++i) {
      for (std::size_t j = 0; j < columns; ++j, ++c) {
        rowMeans[i] += shares.column[j] * x[c];
        columnMeans[j] += shares.row[i] * x[c];
      }
      mean += shares.row[i] * rowMeans[i];
    }
    for (std::size_t i = 0, c = 0; i < rows; ++i) {
      for (std::size_t j = 0; j < columns; ++j, ++c)
        projected[c] = shares.Expected(i, j) * (x[c] - rowMeans[i] - columnMeans[j] + mean);
    }
    return projected;
  };
  const std::vector<double> pu = project(u), pv = project(v);
  double uu = 0, uv = 0, vv = 0, weightedUv = 0, weightedVv = 0;
  GeneralizedEffects effects{0, 0};
  double corner = 0;
  std::vector<double> columnSums(columns);
  for (std::size_t i = 0, c = 0; i < rows; ++i) {
    const double r = shares.row[i];
    double rowSum = 0;
    for (std::size_t j = 0; j < columns; ++j, ++c) {
      const double s = shares.column[j];
      effects.sum += r * (1 - r) * s * (1 - s) * b[c];
      effects.sumOfSquares += r * r * (1 - 2 * r) * s * s * (1 - 2 * s) * b[c] * b[c];
      rowSum += s * s * b[c];
      columnSums[j] += r * r * b[c];
      uu += u[c] * pu[c];
      uv += u[c] * pv[c];
      vv += v[c] * pv[c];
      weightedUv += b[c] * pu[c] * pv[c];
      weightedVv += b[c] * pv[c] * pv[c];
    }
    effects.sumOfSquares += r * r * (1 - 2 * r) * rowSum * rowSum;
    corner += r * r * rowSum;
  }
  for (std::size_t j = 0; j < columns; ++j) {
    const double s = shares.column[j];
    effects.sumOfSquares += s * s * (1 - 2 * s) * columnSums[j] * columnSums[j];
  }
  effects.sumOfSquares += corner * corner;
  // The part -u v' - v u' + t v v' of D V D, t the total.
  effects.sum += total * vv - 2 * uv;
  effects.sumOfSquares += 2 * (total * weightedVv - 2 * weightedUv);
  // K G with K = (0 -1; -1 t) and G the products of u and v.
  const double kg[2][2] = {{-uv, -vv}, {total * uv - uu, total * vv - uv}};
  effects.sumOfSquares += kg[0][0] * kg[0][0] + 2 * kg[0][1] * kg[1][0] + kg[1][1] * kg[1][1];
  effects.sum *= shares.cases;
  effects.sumOfSquares *= shares.cases * shares.cases;
  return effects;
}

void TestWeightedTable(const Shares& shares, const CellSums& sums, Association& result) {
  GeneralizedEffects effects;
  const bool isKnown = !sums.design.isClustered || !sums.design.matrix.empty();
  if (isKnown && result.df1 <= static_cast<double>(kMostObservedInteractions))
    effects = ObservedEffects(shares, sums);
  if (!(effects.sum > 0) && !sums.design.isClustered) effects = ExpectedEffects(shares);
  if (!(effects.sum > 0)) {
    result.logP = result.testStatistic = kNaN;
    return;
  }
  // Satterthwaite's approximation of the sum by a single F (Thomas and Rao 1987,
  // doi:10.1080/01621459.1987.10478472).
  const double known = sums.design.degreesOfFreedom > 0 ? sums.design.degreesOfFreedom : shares.cases - 1;
  result.testDf1 = effects.sum * effects.sum / effects.sumOfSquares;
  result.testDf2 = result.testDf1 * known;
  result.testStatistic = result.statistic / effects.sum;
  result.logP = LogFUpperTail(result.testDf1, result.testDf2, result.testStatistic);
  result.designEffect = effects.sum / result.df1 * (shares.cases - 1) / shares.cases;
}

// The number of cases of a simple random sample in which the figures would be as uncertain.
double EffectiveCases(const Association& result, double cases) { return cases / result.designEffect; }

void AddTableEffect(const Shares& shares, Association& result) {
  const double n = EffectiveCases(result, shares.cases);
  const double r = static_cast<double>(shares.rows), c = static_cast<double>(shares.columns);
  const double phiSquared = result.statistic / shares.cases;
  result.rawEffect = std::min(1.0, std::sqrt(phiSquared / (std::min(r, c) - 1)));
  // Bergsma 2013: phi^2 less its mean under independence, over rows and columns less theirs.
  const double smaller = std::min(r - 1 - (r - 1) * (r - 1) / (n - 1), c - 1 - (c - 1) * (c - 1) / (n - 1));
  const auto corrected = [&](double square) {
    return smaller > 0 && square > 0 ? std::min(1.0, std::sqrt(square / smaller)) : 0.0;
  };
  result.effect = corrected(phiSquared - result.df1 / (n - 1));
  const Interval lambda = ChiSquareNoncentrality(n * phiSquared, result.df1, kEffectLevel);
  result.lower = std::min(corrected(lambda.lower / n), result.effect);
  result.upper = std::max(corrected(lambda.upper / n), result.effect);
}

struct MeanTotals {
  std::size_t groups = 0;
  double weight = 0, mean = 0, between = 0, within = 0;
};

// Groups are merged one after the other, which does not cancel as sums of squares do.
MeanTotals TotalsOf(const GroupSums& sums) {
  MeanTotals totals;
  for (std::size_t g = 0; g < sums.weights.size(); ++g) {
    if (!(sums.weights[g] > 0)) continue;
    const double step = (sums.means[g] - totals.mean) * sums.weights[g];
    totals.weight += sums.weights[g];
    totals.mean += step / totals.weight;
    totals.between += (sums.means[g] - totals.mean) * step;
    totals.within += sums.sumsOfSquares[g];
    ++totals.groups;
  }
  return totals;
}

// Mean of the design effects of the contrasts between the group means: the expected sum of squares
// between groups with equal means, relative to that of a simple random sample. scale: of weights
// with mean 1.
double MeanDesignEffect(const GroupSums& sums, const MeanTotals& totals, double cases) {
  const std::size_t size = sums.weights.size();
  const double between = static_cast<double>(totals.groups) - 1;
  if (sums.design.matrix.empty()) {
    double expected = 0, squares = 0;
    for (std::size_t g = 0; g < size; ++g) {
      if (!(sums.weights[g] > 0)) continue;
      expected += sums.squaredWeights[g] / sums.weights[g];
      squares += sums.squaredWeights[g];
    }
    return (expected - squares / totals.weight) / between * cases / totals.weight;
  }
  double expected = 0, squares = 0;
  for (std::size_t g = 0; g < size; ++g) {
    expected += sums.weights[g] * sums.design.matrix[g * size + g];
    for (std::size_t h = 0; h < size; ++h)
      squares += sums.weights[g] * sums.weights[h] * sums.design.matrix[g * size + h];
  }
  const double groups = static_cast<double>(totals.groups);
  const double variance = totals.within / totals.weight * cases / (cases - groups);
  return (expected - squares / totals.weight) / between / variance * cases / totals.weight;
}

// Wald's test of equal means with the covariance of the means by linearisation, over its degrees of
// freedom: F with groups - 1 and known + 1 - groups (Korn and Graubard 1990,
// doi:10.1080/00031305.1990.10475738, for the degrees of freedom).
void TestWeightedMeans(const GroupSums& sums, double cases, Association& result) {
  const double known = sums.design.degreesOfFreedom > 0 ? sums.design.degreesOfFreedom : cases - 1;
  const double repeated = cases / (cases - 1);
  const std::size_t size = sums.weights.size();
  result.testDf1 = result.df1;
  result.testDf2 = known - result.df1;
  double wald = 0;
  if (sums.design.isClustered && sums.design.matrix.empty()) {
    result.logP = result.testStatistic = kNaN;
    return;
  }
  if (sums.design.matrix.empty()) {
    double precision = 0, mean = 0;
    bool varies = true;
    for (std::size_t g = 0; g < size && varies; ++g) {
      if (!(sums.weights[g] > 0)) continue;
      const double variance = repeated * sums.squaredWeightsSquares[g] / (sums.weights[g] * sums.weights[g]);
      varies = variance > 0;
      const double step = (sums.means[g] - mean) / variance;
      precision += 1 / variance;
      mean += step / precision;
      wald += (sums.means[g] - mean) * step;
    }
    // A group of one case, or of equal values, shows no variance: the variance within all groups is
    // used instead.
    if (!varies) wald = result.statistic * result.df1 / result.designEffect;
  } else {
    std::vector<std::size_t> used;
    for (std::size_t g = 0; g < size; ++g) {
      if (sums.weights[g] > 0) used.push_back(g);
    }
    const std::size_t last = used.back(), m = used.size() - 1;
    const auto v = [&](std::size_t g, std::size_t h) { return sums.design.matrix[g * size + h]; };
    std::vector<double> covariance(m * m), difference(m);
    for (std::size_t a = 0; a < m; ++a) {
      difference[a] = sums.means[used[a]] - sums.means[last];
      for (std::size_t b = 0; b < m; ++b)
        covariance[a * m + b] = v(used[a], used[b]) - v(used[a], last) - v(last, used[b]) + v(last, last);
    }
    const Cholesky factor(covariance, m);
    if (!(result.testDf2 > 0)) {
      result.logP = result.testStatistic = kNaN;
      return;
    }
    if (factor.IsPositiveDefinite()) {
      factor.Solve(difference.data());
      for (const double entry : difference) wald += entry * entry;
    } else {
      // As above where a group shows no variance.
      wald = result.statistic * result.df1 / result.designEffect;
    }
  }
  result.testStatistic = wald / result.df1;
  result.logP = LogFUpperTail(result.testDf1, result.testDf2, result.testStatistic);
}

}  // namespace

Association TableAssociation(const CellSums& sums) {
  const Shares shares = SharesOf(sums);
  Association result;
  result.levels = shares.rows;
  result.classes = shares.columns;
  if (shares.rows < 2 || shares.columns < 2) return result;
  result.computable = true;
  result.cells = shares.cell.size();
  result.smallestExpected = std::numeric_limits<double>::infinity();
  double departure = 0;
  for (std::size_t i = 0; i < shares.rows; ++i) {
    for (std::size_t j = 0; j < shares.columns; ++j) {
      const double expected = shares.Expected(i, j);
      const double gap = shares.At(i, j) - expected;
      departure += gap * gap / expected;
      const double count = expected * shares.cases;
      result.smallestExpected = std::min(result.smallestExpected, count);
      if (count < kSmallExpected) ++result.smallCells;
    }
  }
  result.statistic = departure * shares.cases;
  result.df1 = (static_cast<double>(shares.rows) - 1) * (static_cast<double>(shares.columns) - 1);
  if (sums.squaredWeights.empty()) {
    result.testStatistic = result.statistic;
    result.testDf1 = result.df1;
    result.logP = LogChiSquareUpperTail(result.statistic, result.df1);
  } else {
    TestWeightedTable(shares, sums, result);
  }
  AddTableEffect(shares, result);
  return result;
}

Association MeanAssociation(const GroupSums& sums) {
  const MeanTotals totals = TotalsOf(sums);
  Association result;
  result.levels = totals.groups;
  const bool weighted = !sums.squaredWeights.empty();
  const double cases = weighted ? sums.cases : totals.weight;
  const double groups = static_cast<double>(totals.groups);
  result.df1 = groups - 1;
  result.df2 = cases - groups;
  const bool varies = totals.between + totals.within > totals.weight * sums.rounding * sums.rounding;
  if (totals.groups < 2 || !(result.df2 > 0) || !varies) return result;
  result.computable = true;
  result.statistic = totals.between / result.df1 / (totals.within / result.df2);
  result.rawEffect = totals.between / (totals.between + totals.within);
  if (weighted) {
    result.designEffect = MeanDesignEffect(sums, totals, cases);
    TestWeightedMeans(sums, cases, result);
  } else {
    result.testStatistic = result.statistic;
    result.testDf1 = result.df1;
    result.testDf2 = result.df2;
    result.logP = LogFUpperTail(result.df1, result.df2, result.statistic);
  }
  // Epsilon squared: 1 less the ratio of the within mean square to the total one.
  const double n = EffectiveCases(result, cases);
  const double within = n - groups;
  if (!(within > 0)) return result;
  result.effect = std::max(0.0, 1 - (1 - result.rawEffect) * (n - 1) / within);
  if (totals.within > 0) {
    const double f = result.rawEffect / (1 - result.rawEffect) * within / result.df1;
    const Interval lambda = FNoncentrality(f, result.df1, within, kEffectLevel);
    result.lower = std::min(lambda.lower / (lambda.lower + n), result.effect);
    result.upper = std::max(lambda.upper / (lambda.upper + n), result.effect);
  } else {
    result.lower = result.upper = result.effect;
  }
  return result;
}

}  // namespace velmora::stats
