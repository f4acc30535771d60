#include "tests/feature_selection/reference_engine.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <utility>

namespace vlmfsl::testing {

namespace {

constexpr double kQuantile = 2.5758293009489543;

std::uint64_t Image(double v) {
  const auto bits = std::bit_cast<std::uint64_t>(v);
  const std::uint64_t half = std::uint64_t{1} << 63;
  return (bits & half) != 0 ? half - (bits & ~half) : half + bits;
}

bool Same(double a, double b) {
  if (!std::isfinite(a) || !std::isfinite(b)) return false;
  const std::uint64_t x = Image(a), y = Image(b);
  return (x > y ? x - y : y - x) <= 15;
}

struct Less {
  bool operator()(double a, double b) const { return std::isnan(b) ? !std::isnan(a) : a < b; }
};
struct PairLess {
  bool operator()(const std::pair<double, double>& a, const std::pair<double, double>& b) const {
    if (Less{}(a.first, b.first)) return true;
    return !Less{}(b.first, a.first) && Less{}(a.second, b.second);
  }
};

struct Group {
  double weight, mean, sum, count;
};
using Groups = std::map<double, Group, Less>;
using Cells = std::map<std::pair<double, double>, double, PairLess>;

double Key(double x, const ContinuousVarMoments& m, int cuts) {
  double lower = m.mean - kQuantile * std::sqrt(m.variance);
  if (m.minimum <= lower) lower = m.minimum;
  if (cuts < 1) cuts = 1;
  for (int i = 0;; ++i) {
    double upper = lower + (i + 1.0) * m.width;
    const bool last = i == cuts - 1;
    if (last && !(upper > m.maximum)) upper = m.maximum;
    if (last || !(x > upper && !Same(x, upper))) return upper;
  }
}

class Reference {
 public:
  Reference(vlm::IEngineServices& services, const FeatureSelectionSettings& s) : services_(services), s_(s) {
    for (const auto role : {VariableRole::kContinuousDependent, VariableRole::kCategoricalDependent,
                            VariableRole::kContinuousPredictor, VariableRole::kCategoricalPredictor}) {
      for (const int number : s.Variables(role)) list_.push_back(number);
    }
    if (s.useCountVariable != 0) list_.push_back(s.countVariable);
    for (const int number : list_) {
      double code = 0;
      services.getmd5(number, &code);
      codes_.push_back(code);
    }
    dependents_ = s.nContinuousDependents + s.nCategoricalDependents;
    predictors_ = s.nContinuousPredictors + s.nCategoricalPredictors;
    cut_ = s.treatContinuousDependentAsCategorical != 0;
    casewise_ = s.casewiseDeletion != 0;
  }

  ReferenceResult Run() {
    Moments();
    Statistics();
    return std::move(out_);
  }

 private:
  double Value(int entry) const { return values_[static_cast<std::size_t>(entry) + 1]; }
  bool Missing(int entry) const { return Same(Value(entry), codes_[static_cast<std::size_t>(entry)]); }
  std::size_t At(int d, int p) const { return static_cast<std::size_t>(d * predictors_ + p); }

  void EachCase(const std::function<void(double weight, double count)>& use) {
    values_.assign(list_.size() + 1, 0.0);
    services_.dstart(s_.numberOfCases);
    bool first = true;
    for (int i = 1; i <= s_.numberOfCases; ++i) {
      services_.termom(i);
      int weighted = 0;
      double weight = 1;
      if (services_.cstrtw_ex_Long(0, i, list_.data(), static_cast<int>(list_.size()), values_.data(),
                                   &weighted, &weight, nullptr) != vlm::kCaseUse) {
        continue;
      }
      if (first) weighted_ = weighted != 0;
      first = false;
      if (!weighted_) weight = 1;
      if (weighted_ && s_.useWeightsAsGiven == 0) {
        const double down = std::floor(std::fabs(weight));
        const double nearest = std::fabs(weight) - down >= 0.5 ? down + 1 : down;
        weight = weight > 0 && nearest >= 1 ? nearest : std::isnan(weight) ? weight : 0;
      }
      if (Same(weight, 0.0)) continue;
      double count = 1;
      if (s_.useCountVariable != 0) {
        const int last = static_cast<int>(list_.size()) - 1;
        count = Value(last);
        if (Missing(last) || (count < 1 && !Same(count, 1))) continue;
      }
      use(weight, count);
    }
    services_.dstop();
  }

  void Moments() {
    const ContinuousVarMoments start{1e307, -1e307, 0, 0, 0};
    out_.predictorMoments.assign(static_cast<std::size_t>(s_.nContinuousPredictors), start);
    if (cut_) out_.dependentMoments.assign(static_cast<std::size_t>(s_.nContinuousDependents), start);
    std::vector<std::pair<int, ContinuousVarMoments*>> all;  // entry of the read list, record
    for (int d = 0; cut_ && d < s_.nContinuousDependents; ++d) {
      all.emplace_back(d, &out_.dependentMoments[static_cast<std::size_t>(d)]);
    }
    for (int p = 0; p < s_.nContinuousPredictors; ++p) {
      all.emplace_back(dependents_ + p, &out_.predictorMoments[static_cast<std::size_t>(p)]);
    }
    double caseMass = 0, weights = 0;
    ranges_.assign(static_cast<std::size_t>(dependents_), {HUGE_VAL, -HUGE_VAL});
    EachCase([&](double weight, double count) {
      const double f = weight * count;
      weights += weight;
      caseMass += f;
      for (int d = 0; d < dependents_; ++d) {
        auto& [smallest, largest] = ranges_[static_cast<std::size_t>(d)];
        if (Missing(d) || !std::isfinite(Value(d))) continue;
        smallest = std::min(smallest, Value(d));
        largest = std::max(largest, Value(d));
      }
      for (const auto& [entry, m] : all) {
        if (Missing(entry)) {
          if (casewise_) return;
          continue;
        }
        const double x = Value(entry);
        if (x < m->minimum) m->minimum = x;
        if (x > m->maximum) m->maximum = x;
        const double d = (x - m->mean) * f;
        m->mean = m->mean + d / caseMass;
        m->variance = m->variance + (x - m->mean) * d;
      }
    });
    out_.totalWeight = weighted_ ? weights : 1.0;
    for (const auto& [entry, m] : all) {
      if (!Same(caseMass, 1.0)) m->variance = m->variance / (caseMass - 1.0);
      const double cuts = entry < dependents_ ? s_.cutsContinuousDependent : s_.cutsContinuousPredictor;
      m->width = kQuantile * 2.0 * std::sqrt(m->variance) / (cuts + 1.0);
    }
  }

  // A dependent's value, minus its minimum where it lies far from zero, in units of its size where
  // squares would overflow or vanish.
  double Carried(int d) const {
    const auto [smallest, largest] = ranges_[static_cast<std::size_t>(d)];
    if (!(smallest < largest)) return Value(d);
    double size = std::max(std::fabs(smallest), std::fabs(largest)), shift = 0;
    if (size / (largest - smallest) > 65536) {
      shift = smallest;
      size = largest - smallest;
    }
    int exponent = std::ilogb(size);
    if (exponent <= 500) exponent = std::ilogb(largest - smallest);
    if (exponent >= -500 && exponent <= 500) exponent = 0;
    return std::ldexp(Value(d) - shift, -std::max(exponent, -1000));
  }

  double PredictorKey(int p) const {
    const double x = Value(dependents_ + p);
    if (p >= s_.nContinuousPredictors) return x;
    return Key(x, out_.predictorMoments[static_cast<std::size_t>(p)], s_.cutsContinuousPredictor);
  }

  // One case; returns false when casewise deletion abandons it.
  bool Treat(double weight, double count) {
    const double T = out_.totalWeight;
    for (int d = 0; d < dependents_; ++d) {
      if (Missing(d)) continue;
      ++out_.dependentCases[static_cast<std::size_t>(d)];
      if (!std::isfinite(Value(d))) infinite_.insert(d);
    }
    for (int p = 0; p < predictors_; ++p) {
      if (Missing(dependents_ + p)) {
        if (casewise_) return false;
        continue;
      }
      const double key = PredictorKey(p);
      for (int d = 0; d < dependents_; ++d) {
        if (Missing(d)) {
          if (casewise_) return false;
          continue;
        }
        const double y = d < s_.nContinuousDependents && !cut_ ? Carried(d) : Value(d);
        ++out_.basis[At(d, p)].usedCases;
        if (d < s_.nContinuousDependents && !cut_) {
          const double a = count * weight;
          const auto [found, isNew] = groups_[At(d, p)].try_emplace(key, Group{a / T, y, 0, count});
          if (isNew) continue;
          Group& g = found->second;
          g.weight = g.weight + a / T;
          const double delta = (y - g.mean) * a / T;
          g.mean = g.mean + delta / g.weight;
          g.sum = g.sum + (y - g.mean) * delta;
          g.count = g.count + count;
        } else {
          const double class_ =
              d < s_.nContinuousDependents
                  ? Key(y, out_.dependentMoments[static_cast<std::size_t>(d)], s_.cutsContinuousDependent)
                  : y;
          const auto [found, isNew] = cells_[At(d, p)].try_emplace({key, class_}, count * weight);
          if (!isNew) found->second += count * weight;
        }
      }
    }
    return true;
  }

  void Statistics() {
    const auto size = static_cast<std::size_t>(dependents_ * predictors_);
    groups_.resize(size);
    cells_.resize(size);
    out_.basis.assign(size, PairBasis{});
    out_.dependentCases.assign(static_cast<std::size_t>(dependents_), 0);
    EachCase([&](double weight, double count) { out_.validCases += Treat(weight, count) ? 1 : 0; });
    if (out_.validCases < 3) {
      out_.result = 1;
      return;
    }
    out_.statistic.assign(size, 0.0);
    out_.pValue.assign(size, 1.0);
    out_.notComputable.assign(size, 1);
    for (int p = 0; p < predictors_; ++p) {
      for (int d = 0; d < dependents_; ++d) {
        if (d < s_.nContinuousDependents && !cut_) {
          OneWay(At(d, p), infinite_.contains(d));
        } else {
          Cross(At(d, p));
        }
      }
    }
  }

  void OneWay(std::size_t at, bool hasInfinite) {
    double W = 0, M = 0, SSB = 0, SSW = 0, N = 0;
    int k = 0;
    for (const auto& [key, g] : groups_[at]) {
      const double d = (g.mean - M) * g.weight;
      N = N + g.count;
      W = W + g.weight;
      M = M + d / W;
      SSB = SSB + (g.mean - M) * d;
      SSW = SSW + g.sum;
      k = k + 1;
    }
    PairBasis& basis = out_.basis[at];
    basis.count = N;
    if (k > 0) basis.df1 = k - 1, basis.df2 = N - k;
    if (Same(SSW, 0) || k < 2 || Same(SSB, 0)) return;
    const double F = SSB * (N - k) / SSW / (k - 1);
    if (hasInfinite && !std::isfinite(F)) return;
    out_.statistic[at] = F;
    out_.pValue[at] = services_.FDistributionUpperTail(k - 1, N - k, out_.statistic[at]);
    out_.notComputable[at] = 0;
  }

  void Cross(std::size_t at) {
    std::map<double, double, Less> R, C;
    double N = 0;
    for (const auto& [key, mass] : cells_[at]) {
      R[key.first] += mass;
      C[key.second] += mass;
      N += mass;
    }
    double chiSquare = 0;
    for (const auto& [row, rowTotal] : R) {
      auto cell = cells_[at].lower_bound({row, -std::numeric_limits<double>::infinity()});
      for (const auto& [column, columnTotal] : C) {
        const double E = rowTotal * columnTotal / N;
        if (cell != cells_[at].end() && !PairLess{}({row, column}, cell->first)) {
          const double O = cell->second;
          chiSquare += (O - E) * (O - E) / E;
          ++cell;
        } else {
          chiSquare += E;
        }
      }
    }
    const double r = static_cast<double>(R.size()), c = static_cast<double>(C.size());
    const double df = (r - 1) * (c - 1);
    out_.basis[at].count = N;
    if (r > 0) out_.basis[at].df1 = df;
    if (Same(chiSquare, 0) || df < 1) return;
    out_.pValue[at] = 1.0 - services_.ChiSquareDistribution(chiSquare, df);
    out_.statistic[at] = s_.useCramersV ? std::sqrt(chiSquare / N / (std::min(r, c) - 1)) : chiSquare;
    out_.notComputable[at] = 0;
  }

  vlm::IEngineServices& services_;
  const FeatureSelectionSettings& s_;
  std::vector<int> list_;
  std::vector<double> codes_, values_;
  int dependents_ = 0, predictors_ = 0;
  bool cut_ = false, casewise_ = false, weighted_ = false;
  std::vector<std::pair<double, double>> ranges_;  // of the dependents' finite values
  std::set<int> infinite_;                         // dependents with a value that is not finite
  std::vector<Groups> groups_;
  std::vector<Cells> cells_;
  ReferenceResult out_;
};

}  // namespace

ReferenceResult RunReference(vlm::IEngineServices& services, const FeatureSelectionSettings& settings) {
  return Reference(services, settings).Run();
}

}  // namespace vlmfsl::testing
