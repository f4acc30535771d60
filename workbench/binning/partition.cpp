// Dynamic programs over partitions of ordered pre-bins.
#include "workbench/binning/partition.h"

#include <algorithm>
#include <boost/math/distributions/chi_squared.hpp>
#include <boost/math/distributions/students_t.hpp>
#include <cmath>
#include <cstdint>
#include <limits>
#include <numeric>
#include <stdexcept>

#include "workbench/system/log_gamma.h"

namespace velmora::binning {
namespace {

constexpr double kImpossible = std::numeric_limits<double>::infinity();

double XLogX(double x) { return x > 0 ? x * std::log(x) : 0; }

// Figures of any run of pre-bins [first, end), from running sums.
class Runs {
 public:
  Runs(const PreBinSums& sums, const PartitionRules& rules)
      : rules_(rules), classCount_(sums.classCount), stride_(sums.Stride()), count_(sums.Count()) {
    running_.assign((count_ + 1) * (stride_ + 1), 0.0);
    for (std::size_t b = 0; b < count_; ++b) {
      const double* from = &running_[b * (stride_ + 1)];
      double* to = &running_[(b + 1) * (stride_ + 1)];
      for (std::size_t c = 0; c < stride_; ++c) to[c] = from[c] + sums.values[b * stride_ + c];
      to[stride_] = from[stride_] + sums.cases[b];
    }
    total_.assign(&running_[count_ * (stride_ + 1)], &running_[count_ * (stride_ + 1)] + stride_);
    totalWeight_ = sums.TotalWeight();
    if (totalWeight_ > 0) casesPerWeight_ = sums.EffectiveCases() / totalWeight_;
  }

  std::size_t Count() const { return count_; }
  double Sum(std::size_t first, std::size_t end, std::size_t c) const {
    return running_[end * (stride_ + 1) + c] - running_[first * (stride_ + 1) + c];
  }
  double Cases(std::size_t first, std::size_t end) const { return Sum(first, end, stride_); }

  double Weight(std::size_t first, std::size_t end) const {
    if (classCount_ == 0) return Sum(first, end, 0);
    double weight = 0;
    for (std::size_t c = 0; c < stride_; ++c) weight += Sum(first, end, c);
    return weight;
  }

  // Rate of class 0, or the mean.
  double Level(std::size_t first, std::size_t end) const {
    const double weight = Weight(first, end);
    return weight > 0 ? Sum(first, end, classCount_ == 0 ? 1 : 0) / weight : 0;
  }

  bool IsAllowed(std::size_t first, std::size_t end) const {
    // 5 of 100 cases meet a share of 0.05, however the product is rounded.
    constexpr double kSlack = 1 - 1e-12;
    if (Weight(first, end) < rules_.minShare * totalWeight_ * kSlack) return false;
    if (Cases(first, end) < rules_.minCases * kSlack) return false;
    for (std::size_t c = 0; c < stride_ && classCount_ > 0 && rules_.minEvents > 0; ++c) {
      if (Sum(first, end, c) < rules_.minEvents * kSlack) return false;
    }
    return true;
  }

  double SumOfSquares(std::size_t first, std::size_t end) const {
    const double weight = Sum(first, end, 0);
    if (!(weight > 0)) return 0;
    const double sum = Sum(first, end, 1);
    return std::max(0.0, Sum(first, end, 2) - sum * sum / weight);
  }

  double Deviance(std::size_t first, std::size_t end) const {
    if (classCount_ == 0) return SumOfSquares(first, end);
    double sum = XLogX(Weight(first, end));
    for (std::size_t c = 0; c < stride_; ++c) sum -= XLogX(Sum(first, end, c));
    return 2 * std::max(sum, 0.0);
  }

  // The cost to be minimised: the criterion, or the negated information value.
  double Cost(std::size_t first, std::size_t end) const {
    switch (rules_.criterion) {
      case Criterion::kInformationValue:
        return -InformationValue(Sum(first, end, 0), Sum(first, end, 1));
      case Criterion::kGini: {
        const double weight = Weight(first, end);
        double squares = 0;
        for (std::size_t c = 0; c < stride_; ++c) squares += Sum(first, end, c) * Sum(first, end, c);
        return weight > 0 ? weight - squares / weight : 0;
      }
      case Criterion::kDeviance:
      case Criterion::kVariance:
        break;
    }
    return Deviance(first, end);
  }

  // Whether two neighbouring runs differ at the required level.
  bool Differ(std::size_t first, std::size_t middle, std::size_t end) const {
    return classCount_ == 0 ? MeansDiffer(first, middle, end) : SharesDiffer(first, middle, end);
  }

 private:
  double InformationValue(double bad, double good) const {
    double badCount = bad, goodCount = good;
    if (!(bad > 0) || !(good > 0)) {
      if (!rules_.correctPureBins || !(bad + good > 0)) return 0;
      badCount += 0.5;
      goodCount += 0.5;
    }
    const double badShare = bad / total_[0], goodShare = good / total_[1];
    return (goodShare - badShare) * std::log((goodCount / total_[1]) / (badCount / total_[0]));
  }

  // Pearson's Chi-square of the two runs (of weighted cases: scaled to the effective number of
  // cases) against the quantile for classes - 1 degrees of freedom.
  bool SharesDiffer(std::size_t first, std::size_t middle, std::size_t end) const {
    const double left = Weight(first, middle), right = Weight(middle, end);
    if (!(left > 0) || !(right > 0)) return false;
    double statistic = 0;
    for (std::size_t c = 0; c < stride_; ++c) {
      const double a = Sum(first, middle, c), b = Sum(middle, end, c);
      if (!(a + b > 0)) continue;
      const double difference = a * right - b * left;
      statistic += difference * difference / (left * right * (a + b));
    }
    return statistic * casesPerWeight_ >= CriticalChiSquare();
  }

  double CriticalChiSquare() const {
    if (critical_ < 0) {
      const boost::math::chi_squared distribution(static_cast<double>(classCount_ - 1));
      critical_ = boost::math::quantile(boost::math::complement(distribution, rules_.maxAdjacentP));
    }
    return critical_;
  }

  // Welch 1947, doi:10.1093/biomet/34.1-2.28, on unweighted degrees of freedom.
  bool MeansDiffer(std::size_t first, std::size_t middle, std::size_t end) const {
    const double nA = Cases(first, middle), nB = Cases(middle, end);
    if (nA < 2 || nB < 2) return false;
    const double varianceA = SumOfSquares(first, middle) / Sum(first, middle, 0) * nA / (nA - 1) / nA;
    const double varianceB = SumOfSquares(middle, end) / Sum(middle, end, 0) * nB / (nB - 1) / nB;
    const double error = varianceA + varianceB;
    const double difference = std::fabs(Level(first, middle) - Level(middle, end));
    if (!(error > 0)) return difference > 0;
    const double freedom =
        error * error / (varianceA * varianceA / (nA - 1) + varianceB * varianceB / (nB - 1));
    const boost::math::students_t distribution(std::max(freedom, 1.0));
    return 2 * boost::math::cdf(boost::math::complement(distribution, difference / std::sqrt(error))) <=
           rules_.maxAdjacentP;
  }

  const PartitionRules& rules_;
  int classCount_;
  std::size_t stride_, count_;
  std::vector<double> running_;  // (count + 1) rows of stride sums and the cases
  std::vector<double> total_;
  double totalWeight_ = 0;
  double casesPerWeight_ = 1;  // effective cases / weight, over all cases
  mutable double critical_ = -1;
};

// One number for each run [first, end), row by row.
template <class T>
class Triangle {
 public:
  Triangle(std::size_t count, T value) : count_(count), values_(count * (count + 1) / 2, value) {}
  T& At(std::size_t first, std::size_t end) { return values_[Place(first, end)]; }
  const T& At(std::size_t first, std::size_t end) const { return values_[Place(first, end)]; }

 private:
  std::size_t Place(std::size_t first, std::size_t end) const {
    // Row r has count - r runs.
    return first * count_ - first * (first - 1) / 2 + (end - first - 1);
  }

  std::size_t count_;
  std::vector<T> values_;
};

// How the level may change from a bin to its right neighbour: in any way, or only up, or only down.
enum class Step { kAny, kUp, kDown };

// A shape: the steps allowed before and after its turning point.
struct Course {
  Step before = Step::kAny;
  Step after = Step::kAny;
  Shape shape = Shape::kFree;
  bool Turns() const { return before != after; }
};

std::vector<Course> CoursesOf(Shape shape) {
  const Course up{Step::kUp, Step::kUp, Shape::kAscending};
  const Course down{Step::kDown, Step::kDown, Shape::kDescending};
  const Course peak{Step::kUp, Step::kDown, Shape::kPeak};
  const Course valley{Step::kDown, Step::kUp, Shape::kValley};
  switch (shape) {
    case Shape::kFree:
      return {{Step::kAny, Step::kAny, Shape::kFree}};
    case Shape::kAscending:
      return {up};
    case Shape::kDescending:
      return {down};
    case Shape::kMonotone:
      return {up, down};
    case Shape::kPeak:
      return {peak};
    case Shape::kValley:
      return {valley};
    case Shape::kAuto:
      return {up, down, peak, valley};
  }
  return {};
}

class Search {
 public:
  Search(const Runs& runs, const PartitionRules& rules, const std::function<bool()>& isCancelled)
      : runs_(runs), rules_(rules), isCancelled_(isCancelled), costs_(runs.Count(), kImpossible) {
    for (std::size_t first = 0; first < runs.Count(); ++first) {
      for (std::size_t end = first + 1; end <= runs.Count(); ++end) {
        if (runs.IsAllowed(first, end)) costs_.At(first, end) = runs.Cost(first, end);
      }
    }
  }

  // The ends of the best partition of each number of bins along a course; empty where there is
  // none.
  std::vector<std::vector<int>> Best(const Course& course, int maxBins) {
    if (course.before == Step::kAny && rules_.maxAdjacentP >= 1) return BestFree(maxBins);
    return BestOfPairs(course, maxBins);
  }

  bool WasCancelled() const { return cancelled_; }

 private:
  bool Cancelled() {
    cancelled_ = cancelled_ || (isCancelled_ && isCancelled_());
    return cancelled_;
  }

  // Bins do not depend on their neighbours, so the state is where the last bin ends.
  std::vector<std::vector<int>> BestFree(int maxBins) {
    const std::size_t m = runs_.Count();
    std::vector<std::vector<int>> found;
    std::vector<double> last(m + 1, kImpossible), next(m + 1);
    std::vector<std::vector<int>> begins;  // of the last bin, by number of bins and end
    for (std::size_t end = 1; end <= m; ++end) last[end] = costs_.At(0, end);
    begins.emplace_back(m + 1, 0);
    found.push_back(Trace(begins, last[m]));
    for (int bins = 2; bins <= maxBins && !Cancelled(); ++bins) {
      std::fill(next.begin(), next.end(), kImpossible);
      begins.emplace_back(m + 1, 0);
      for (std::size_t first = 1; first < m; ++first) {
        if (last[first] == kImpossible) continue;
        for (std::size_t end = first + 1; end <= m; ++end) {
          const double value = last[first] + costs_.At(first, end);
          if (value < next[end]) {
            next[end] = value;
            begins.back()[end] = static_cast<int>(first);
          }
        }
      }
      last.swap(next);
      found.push_back(Trace(begins, last[m]));
    }
    return found;
  }

  std::vector<int> Trace(const std::vector<std::vector<int>>& begins, double value) const {
    std::vector<int> ends;
    if (value == kImpossible) return ends;
    ends.resize(begins.size());
    int end = static_cast<int>(runs_.Count());
    for (std::size_t bin = begins.size(); bin-- > 0;) {
      ends[bin] = end;
      end = begins[bin][static_cast<std::size_t>(end)];
    }
    return ends;
  }

  // The state is the last bin itself, and whether the course has turned.
  struct State {
    double value = kImpossible;
    int before = -1;      // where the bin before the last one begins; -1: there is none
    bool turned = false;  // whether the state before it had turned
  };
  using Layer = std::vector<Triangle<State>>;  // not turned, turned

  std::vector<std::vector<int>> BestOfPairs(const Course& course, int maxBins) {
    const std::size_t m = runs_.Count();
    const std::size_t phases = course.Turns() ? 2 : 1;
    std::vector<Layer> layers;
    layers.emplace_back(phases, Triangle<State>(m, State{}));
    for (std::size_t end = 1; end <= m; ++end) layers[0][0].At(0, end).value = costs_.At(0, end);
    std::vector<std::vector<int>> found{TracePairs(layers)};
    for (int bins = 2; bins <= maxBins && !Cancelled(); ++bins) {
      layers.emplace_back(phases, Triangle<State>(m, State{}));
      const Layer& from = layers[layers.size() - 2];
      for (std::size_t middle = 1; middle < m && !cancelled_; ++middle) {
        if (middle % 16 == 0 && Cancelled()) break;
        Extend(from, layers.back(), middle, course);
      }
      found.push_back(TracePairs(layers));
    }
    return found;
  }

  // All last bins that begin at middle, from all that end there.
  void Extend(const Layer& from, Layer& to, std::size_t middle, const Course& course) {
    if (!course.Turns()) return Connect(from[0], false, to[0], middle, course.before);
    Connect(from[0], false, to[0], middle, course.before);
    Connect(from[0], false, to[1], middle, course.after);
    Connect(from[1], true, to[1], middle, course.after);
  }

  struct Left {
    double level, value;
    int first;
  };

  void Connect(const Triangle<State>& from, bool turned, Triangle<State>& to, std::size_t middle, Step step) {
    lefts_.clear();
    for (std::size_t first = 0; first < middle; ++first) {
      const double value = from.At(first, middle).value;
      if (value != kImpossible)
        lefts_.push_back({runs_.Level(first, middle), value, static_cast<int>(first)});
    }
    if (lefts_.empty()) return;
    if (rules_.maxAdjacentP < 1) return ConnectDiffering(turned, to, middle, step);
    // The best of all left bins up to a level is a running minimum over those bins, sorted by
    // level.
    const double sign = step == Step::kDown ? -1 : 1;
    std::sort(lefts_.begin(), lefts_.end(), [&](const Left& a, const Left& b) {
      return a.level != b.level ? sign * a.level < sign * b.level : a.first < b.first;
    });
    for (std::size_t i = 1; i < lefts_.size(); ++i) {
      if (!(lefts_[i].value < lefts_[i - 1].value)) {
        lefts_[i].value = lefts_[i - 1].value;
        lefts_[i].first = lefts_[i - 1].first;
      }
    }
    for (std::size_t end = middle + 1; end <= runs_.Count(); ++end) {
      const double cost = costs_.At(middle, end);
      if (cost == kImpossible) continue;
      const double level = sign * runs_.Level(middle, end);
      const auto above = std::partition_point(lefts_.begin(), lefts_.end(),
                                              [&](const Left& left) { return sign * left.level <= level; });
      if (above == lefts_.begin()) continue;
      Improve(to.At(middle, end), (above - 1)->value + cost, (above - 1)->first, turned);
    }
  }

  void ConnectDiffering(bool turned, Triangle<State>& to, std::size_t middle, Step step) {
    for (std::size_t end = middle + 1; end <= runs_.Count(); ++end) {
      const double cost = costs_.At(middle, end);
      if (cost == kImpossible) continue;
      const double level = runs_.Level(middle, end);
      for (const Left& left : lefts_) {
        if (step == Step::kUp && left.level > level) continue;
        if (step == Step::kDown && left.level < level) continue;
        // The test costs more than the comparison, so it comes last.
        if (left.value + cost < to.At(middle, end).value &&
            runs_.Differ(static_cast<std::size_t>(left.first), middle, end)) {
          Improve(to.At(middle, end), left.value + cost, left.first, turned);
        }
      }
    }
  }

  static void Improve(State& state, double value, int before, bool turned) {
    if (value < state.value) state = {value, before, turned};
  }

  std::vector<int> TracePairs(const std::vector<Layer>& layers) const {
    const std::size_t m = runs_.Count();
    double best = kImpossible;
    std::size_t first = 0, phase = 0;
    for (std::size_t p = 0; p < layers.back().size(); ++p) {
      for (std::size_t begin = 0; begin < m; ++begin) {
        const double value = layers.back()[p].At(begin, m).value;
        if (value < best) {
          best = value;
          first = begin;
          phase = p;
        }
      }
    }
    std::vector<int> ends;
    if (best == kImpossible) return ends;
    ends.resize(layers.size());
    std::size_t end = m;
    for (std::size_t bin = layers.size(); bin-- > 0;) {
      ends[bin] = static_cast<int>(end);
      const State& state = layers[bin][phase].At(first, end);
      end = first;
      first = static_cast<std::size_t>(std::max(state.before, 0));
      phase = state.turned ? 1 : 0;
    }
    return ends;
  }

  const Runs& runs_;
  const PartitionRules& rules_;
  const std::function<bool()>& isCancelled_;
  Triangle<double> costs_;
  std::vector<Left> lefts_;
  bool cancelled_ = false;
};

Partition Describe(const Runs& runs, const PartitionRules& rules, std::vector<int> ends, Shape shape) {
  Partition partition;
  std::size_t first = 0;
  for (const int end : ends) {
    const auto last = static_cast<std::size_t>(end);
    const double cost = runs.Cost(first, last);
    partition.criterion += rules.criterion == Criterion::kInformationValue ? -cost : cost;
    partition.deviance += runs.Deviance(first, last);
    first = last;
  }
  partition.ends = std::move(ends);
  partition.shape = shape;
  return partition;
}

void Check(const PreBinSums& sums, const PartitionRules& rules) {
  const bool measured = sums.classCount == 0;
  if (sums.Count() == 0) throw std::invalid_argument("There are no pre-bins.");
  if (rules.criterion == Criterion::kVariance && !measured) {
    throw std::invalid_argument("The criterion variance needs a measured response.");
  }
  if (rules.criterion == Criterion::kGini && measured) {
    throw std::invalid_argument("The criterion gini needs a response of classes.");
  }
  if (rules.criterion == Criterion::kInformationValue && sums.classCount != 2) {
    throw std::invalid_argument("The criterion iv needs a response of two classes.");
  }
  if (rules.shape != Shape::kFree && !measured && sums.classCount != 2) {
    throw std::invalid_argument("A shape needs a response of two classes or a measured one.");
  }
}

}  // namespace

double PreBinSums::TotalWeight() const {
  const std::size_t stride = Stride();
  double weight = 0;
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (classCount > 0 || i % stride == 0) weight += values[i];
  }
  return weight;
}

double PreBinSums::WeightOf(std::size_t bin) const {
  if (classCount == 0) return values[bin * 3];
  const auto from = values.begin() + static_cast<std::ptrdiff_t>(bin * Stride());
  return std::accumulate(from, from + classCount, 0.0);
}

void PreBinSums::Append(const PreBinSums& more) {
  values.insert(values.end(), more.values.begin(), more.values.end());
  cases.insert(cases.end(), more.cases.begin(), more.cases.end());
  squaredWeights += more.squaredWeights;
}

double PreBinSums::EffectiveCases() const {
  const double weight = TotalWeight();
  return squaredWeights > 0 ? weight * weight / squaredWeights : 0;
}

Partitions FindPartitions(const PreBinSums& sums, const PartitionRules& rules,
                          const std::function<bool()>& isCancelled) {
  Check(sums, rules);
  const Runs runs(sums, rules);
  const int maxBins = std::clamp(rules.maxBins, 1, static_cast<int>(sums.Count()));
  Search search(runs, rules, isCancelled);
  Partitions result;
  result.byBinCount.resize(static_cast<std::size_t>(maxBins));
  const double sign = rules.criterion == Criterion::kInformationValue ? -1 : 1;
  for (const Course& course : CoursesOf(rules.shape)) {
    std::vector<std::vector<int>> found = search.Best(course, maxBins);
    if (search.WasCancelled()) return {};
    for (std::size_t k = 1; k < found.size(); ++k) {
      if (found[k].empty()) continue;
      Partition candidate = Describe(runs, rules, std::move(found[k]), course.shape);
      Partition& best = result.byBinCount[k];
      if (best.ends.empty() || sign * candidate.criterion < sign * best.criterion)
        best = std::move(candidate);
    }
  }
  // One bin holds every case, whatever the rules ask of a bin.
  result.byBinCount[0] = Describe(runs, rules, {static_cast<int>(sums.Count())}, Shape::kFree);
  return result;
}

double LogChoose(std::size_t m, std::size_t k) {
  const auto lgamma1 = [](std::size_t n) { return LogGamma(static_cast<double>(n) + 1); };
  return k > m ? -std::numeric_limits<double>::infinity() : lgamma1(m) - lgamma1(k) - lgamma1(m - k);
}

// The recurrence S(m, k) = k S(m - 1, k) + S(m - 1, k - 1), in logarithms.
double LogStirling(std::size_t m, std::size_t k) {
  constexpr double kNone = -std::numeric_limits<double>::infinity();
  if (k > m || k == 0) return m == k ? 0 : kNone;
  std::vector<double> row(k + 1, kNone);
  row[0] = 0;
  for (std::size_t n = 1; n <= m; ++n) {
    for (std::size_t j = std::min(n, k); j > 0; --j) {
      const double keep = row[j] + std::log(static_cast<double>(j));
      const double add = row[j - 1];
      const double high = std::max(keep, add);
      row[j] = high == kNone ? kNone : high + std::log(std::exp(keep - high) + std::exp(add - high));
    }
    row[0] = kNone;
  }
  return row[k];
}

double DescriptionLength(const Partition& partition, const PreBinSums& sums, Ordering ordering,
                         std::size_t chosenFrom) {
  const double weight = sums.TotalWeight();
  const double n = sums.EffectiveCases();
  if (!(weight > 0) || !(n > 0)) return 0;
  const auto bins = static_cast<double>(partition.ends.size());
  double fit = 0;
  if (sums.classCount == 0) {
    // With no error at all the fit would outweigh every other term, so the error is at least that
    // of rounding.
    double whole = 0, mean = 0;
    for (std::size_t b = 0; b < sums.Count(); ++b) {
      whole += sums.values[b * 3 + 2];
      mean += sums.values[b * 3 + 1];
    }
    whole -= mean * mean / weight;
    const double floor = whole * 1e-14;
    fit = whole > 0 ? n / 2 * std::log(std::max(partition.deviance, floor) / weight) : 0;
  } else {
    fit = partition.deviance / 2 * (n / weight);
  }
  const double parameters = sums.classCount == 0 ? 1 : sums.classCount - 1;
  const std::size_t preBins = chosenFrom > 0 ? chosenFrom : sums.Count();
  const double choice = ordering == Ordering::kGiven ? LogChoose(preBins - 1, partition.ends.size() - 1)
                                                     : LogStirling(preBins, partition.ends.size());
  return fit + (bins - 1) * parameters / 2 * std::log(n) + choice;
}

int ChooseBinCount(const Partitions& partitions, const PreBinSums& sums, Ordering ordering, int least,
                   int most, std::size_t chosenFrom, double selectionCost) {
  const int found = static_cast<int>(partitions.byBinCount.size());
  if (most <= 0 || most > found) most = found;
  least = std::clamp(least, 1, std::max(most, 1));
  int chosen = 0;
  double shortest = std::numeric_limits<double>::infinity();
  for (int bins = least; bins <= most; ++bins) {
    const Partition& partition = partitions.byBinCount[static_cast<std::size_t>(bins - 1)];
    if (partition.ends.empty()) continue;
    const double length =
        DescriptionLength(partition, sums, ordering, chosenFrom) + (bins > 1 ? selectionCost : 0);
    if (chosen == 0 || length < shortest) {
      chosen = bins;
      shortest = length;
    }
  }
  // No number of bins in the range is possible: take the nearest below it. One bin is always
  // possible.
  for (int bins = least; chosen == 0 && bins > 0; --bins) {
    if (bins <= found && !partitions.byBinCount[static_cast<std::size_t>(bins - 1)].ends.empty())
      chosen = bins;
  }
  return std::max(chosen, 1);
}

}  // namespace velmora::binning
