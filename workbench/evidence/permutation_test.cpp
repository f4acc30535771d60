#include "workbench/evidence/permutation_test.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <optional>
#include <stdexcept>

#include "base/split_mix.h"
#include "workbench/evidence/gain_search.h"

namespace velmora::evidence {
namespace {

using binning::SearchRecord;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kMostCases = 268435456;  // 2^28

// 0 to bound - 1, for bounds far below 2^32.
std::uint32_t Below(std::uint32_t bound, vlm::SplitMix& random) {
  return static_cast<std::uint32_t>(((random.Next() >> 32) * bound) >> 32);
}

template <typename T>
void Shuffle(std::vector<T>& values, vlm::SplitMix& random) {
  for (std::size_t i = values.size(); i > 1; --i)
    std::swap(values[i - 1], values[Below(static_cast<std::uint32_t>(i), random)]);
}

// The cases of a response, one row per case.
struct Cases {
  std::vector<std::uint32_t> rowOf;    // row of the data
  std::vector<std::uint16_t> classOf;  // of a response with classes
  std::vector<double> values;          // of a measured one
  std::vector<double> weights;         // empty: 1
  std::size_t classCount = 0;          // 0: measured

  std::size_t Count() const { return rowOf.size(); }
};

Cases CasesOf(const stats::TreeResponse& response) {
  Cases cases;
  cases.classCount = response.continuous ? 0 : static_cast<std::size_t>(response.classCount);
  double total = 0;
  for (std::size_t i = 0; i < response.caseCount; ++i) {
    if (!binning::CountsForResponse(response, i)) continue;
    double copies = 1;
    if (response.weightsAreCounts && !response.weights.empty()) copies = response.weights[i];
    total += copies;
    if (copies != std::floor(copies) || total > kMostCases)
      throw std::invalid_argument(copies != std::floor(copies)
                                      ? "permutations need whole counts"
                                      : "the counts make too many cases for permutations");
    cases.rowOf.insert(cases.rowOf.end(), static_cast<std::size_t>(copies), static_cast<std::uint32_t>(i));
  }
  const bool weighted = !response.weights.empty() && !response.weightsAreCounts;
  for (const std::uint32_t row : cases.rowOf) {
    if (weighted) cases.weights.push_back(response.weights[row]);
    if (cases.classCount == 0) {
      cases.values.push_back(response.deviations[row]);
    } else {
      // Of two classes the search takes the last one first, because shapes describe its rate.
      const auto c = response.classOf[row];
      cases.classOf.push_back(cases.classCount == 2 ? static_cast<std::uint16_t>(1 - c) : c);
    }
  }
  return cases;
}

// The responses of the cases, in their order, in one permutation.
struct Dealt {
  std::vector<std::uint16_t> classOf;
  std::vector<double> values, weights;
  std::vector<std::uint32_t> second;  // two classes without weights: the cases of the rarer one
  std::uint16_t rarer = 0;
};

struct Scratch {
  Dealt dealt;
  std::vector<std::uint32_t> order, counts;
  std::vector<double> sums;
  GainSearch::Scratch search;
  binning::PreBinSums values, separate;
};

// One search of the test.
class Search {
 public:
  Search(const SearchRecord& record, const Cases& cases)
      : record_(record), preBinCount_(record.preBinCount + record.separateCount) {
    preBinOf_.reserve(cases.Count());
    std::vector<std::uint32_t> counts(preBinCount_ + 1);
    for (const std::uint32_t row : cases.rowOf) {
      const std::uint16_t preBin = record.preBinOf[row];
      const auto place =
          preBin == SearchRecord::kNoPreBin ? static_cast<std::uint16_t>(preBinCount_) : preBin;
      preBinOf_.push_back(place);
      ++counts[place];
    }
    counts.pop_back();
    counts_ = counts;
    if (GainSearch::Supports(record)) fast_.emplace(record, counts_);
  }

  double Gain(const Cases& cases, const LogTable& logs, Scratch& scratch) const {
    if (!fast_) return SlowGain(cases, scratch);
    return cases.classCount == 0 ? GainOfMeans(scratch) : GainOfClasses(cases, logs, scratch);
  }

 private:
  double GainOfClasses(const Cases& cases, const LogTable& logs, Scratch& scratch) const {
    const std::size_t classes = cases.classCount;
    const Dealt& dealt = scratch.dealt;
    scratch.counts.assign((preBinCount_ + 1) * classes, 0);
    if (classes == 2) {
      std::uint32_t* const rarer = scratch.counts.data() + dealt.rarer;
      for (const std::uint32_t i : dealt.second) ++rarer[std::size_t{2} * preBinOf_[i]];
      for (std::size_t b = 0; b < preBinCount_; ++b) {
        std::uint32_t* const pair = &scratch.counts[2 * b];
        pair[1 - dealt.rarer] = counts_[b] - pair[dealt.rarer];
      }
    } else {
      for (std::size_t i = 0; i < preBinOf_.size(); ++i)
        ++scratch.counts[preBinOf_[i] * classes + dealt.classOf[i]];
    }
    return fast_->OfClasses({scratch.counts.data(), preBinCount_ * classes}, classes, logs, scratch.search);
  }

  double GainOfMeans(Scratch& scratch) const {
    scratch.sums.assign(preBinCount_ + 1, 0.0);
    const std::vector<double>& values = scratch.dealt.values;
    double squares = 0;
    for (std::size_t i = 0; i < values.size(); ++i) {
      scratch.sums[preBinOf_[i]] += values[i];
      squares += preBinOf_[i] < preBinCount_ ? values[i] * values[i] : 0;
    }
    return fast_->OfMeans({scratch.sums.data(), preBinCount_}, squares, scratch.search);
  }

  double SlowGain(const Cases& cases, Scratch& scratch) const {
    const Dealt& dealt = scratch.dealt;
    for (binning::PreBinSums* sums : {&scratch.values, &scratch.separate}) {
      const std::size_t count = sums == &scratch.values ? record_.preBinCount : record_.separateCount;
      sums->classCount = static_cast<int>(cases.classCount);
      sums->values.assign(count * sums->Stride(), 0.0);
      sums->cases.assign(count, 0.0);
      sums->squaredWeights = 0;
    }
    for (std::size_t i = 0; i < preBinOf_.size(); ++i) {
      if (preBinOf_[i] == preBinCount_) continue;
      const bool apart = preBinOf_[i] >= record_.preBinCount;
      binning::PreBinSums& sums = apart ? scratch.separate : scratch.values;
      const std::size_t b = apart ? preBinOf_[i] - record_.preBinCount : preBinOf_[i];
      const double weight = dealt.weights.empty() ? 1 : dealt.weights[i];
      sums.cases[b] += 1;
      sums.squaredWeights += weight * weight;
      if (cases.classCount > 0) {
        sums.values[b * cases.classCount + dealt.classOf[i]] += weight;
        continue;
      }
      sums.values[b * 3] += weight;
      sums.values[b * 3 + 1] += weight * dealt.values[i];
      sums.values[b * 3 + 2] += weight * dealt.values[i] * dealt.values[i];
    }
    binning::BinningRules rules = record_.rules;
    if (record_.given) {
      rules = {};
      rules.exactBins = static_cast<int>(record_.preBinCount);
      rules.partition.minShare = 0;
      rules.minLevelShare = 0;
    }
    return binning::SearchGain(scratch.values, scratch.separate, rules,
                               record_.categorical && !record_.given);
  }

  const SearchRecord& record_;
  std::size_t preBinCount_;
  std::vector<std::uint16_t> preBinOf_;  // of each case; preBinCount_: none
  std::vector<std::uint32_t> counts_;    // cases of each pre-bin
  std::optional<GainSearch> fast_;
};

// Deals the responses, with their weights, out to the cases. random: null for the actual order.
void Deal(const Cases& cases, vlm::SplitMix* random, Scratch& scratch) {
  Dealt& dealt = scratch.dealt;
  const std::size_t n = cases.Count();
  if (cases.weights.empty()) {
    if (cases.classCount == 0) {
      dealt.values = cases.values;
      if (random != nullptr) Shuffle(dealt.values, *random);
      return;
    }
    dealt.classOf = cases.classOf;
    if (random != nullptr) Shuffle(dealt.classOf, *random);
    if (cases.classCount != 2) return;
    const auto ones =
        static_cast<std::size_t>(std::count(dealt.classOf.begin(), dealt.classOf.end(), std::uint16_t{1}));
    dealt.rarer = 2 * ones <= n ? 1 : 0;
    dealt.second.clear();
    for (std::size_t i = 0; i < n; ++i) {
      if (dealt.classOf[i] == dealt.rarer) dealt.second.push_back(static_cast<std::uint32_t>(i));
    }
    return;
  }
  scratch.order.resize(n);
  std::iota(scratch.order.begin(), scratch.order.end(), std::uint32_t{0});
  if (random != nullptr) Shuffle(scratch.order, *random);
  const auto take = [&](const auto& from, auto& to) {
    to.resize(from.size());
    for (std::size_t i = 0; i < from.size(); ++i) to[i] = from[scratch.order[i]];
  };
  take(cases.weights, dealt.weights);
  take(cases.classOf, dealt.classOf);
  take(cases.values, dealt.values);
}

// The distance of a gain from the mean of the random ones, in their standard deviations.
class Standardiser {
 public:
  // gains: of the permutations.
  explicit Standardiser(const std::vector<double>& gains) {
    double sum = 0;
    for (const double gain : gains) {
      if (std::isfinite(gain)) sum += gain, ++count_;
    }
    if (count_ == 0) return;
    mean_ = sum / count_;
    double squares = 0;
    for (const double gain : gains) {
      if (std::isfinite(gain)) squares += (gain - mean_) * (gain - mean_);
    }
    deviation_ = std::sqrt(squares / count_);
  }

  double operator()(double gain) const {
    if (!std::isfinite(gain)) return kNoGain;
    if (!(deviation_ > 0)) return gain > mean_ ? std::numeric_limits<double>::max() : 0;
    return (gain - mean_) / deviation_;
  }

 private:
  double count_ = 0, mean_ = 0, deviation_ = 0;
};

// A random number for each response, the actual one last, which ranks those whose gains tie: with
// it p is uniform under the null hypothesis also where a search has few different gains (Dufour
// 2006, doi:10.1016/j.jeconom.2005.06.007). Searches share it, so equal ones have equal p-values.
class TieBreaker {
 public:
  TieBreaker(std::uint64_t seed, std::size_t permutations) {
    vlm::SplitMix random(vlm::RandomBits(~seed));
    for (std::size_t b = 0; b <= permutations; ++b) ranks_.push_back(random.Next());
  }

  // Whether the gain of random response b counts as at least the actual one. Gains that differ by
  // rounding alone are equal. No gain is lower than that of a search without any partition.
  bool Reaches(std::size_t b, double random, double actual) const {
    if (!std::isfinite(actual)) return true;
    const double rounding = 1e-9 * std::max(1.0, std::fabs(actual));
    if (std::fabs(random - actual) <= rounding) return ranks_[b] >= ranks_.back();
    return random > actual;
  }

 private:
  std::vector<std::uint64_t> ranks_;
};

// gains: of each tested search, the actual one last.
void FillProbabilities(const std::vector<std::size_t>& tested, const TieBreaker& ties,
                       std::vector<std::vector<double>>& gains, SearchTest& test) {
  const std::size_t permutations = gains.empty() ? 0 : gains.front().size() - 1;
  const auto shareOf = [&](std::size_t reached) {
    return (1.0 + static_cast<double>(reached)) / (1.0 + static_cast<double>(permutations));
  };
  for (std::size_t t = 0; t < tested.size(); ++t) {
    const double actual = gains[t].back();
    gains[t].pop_back();
    test.gains[tested[t]] = actual;
    std::size_t reached = 0;
    for (std::size_t b = 0; b < permutations; ++b) reached += ties.Reaches(b, gains[t][b], actual) ? 1 : 0;
    test.p[tested[t]] = shareOf(reached);
    const Standardiser standardise(gains[t]);
    for (double& gain : gains[t]) gain = standardise(gain);
    gains[t].push_back(standardise(actual));
  }
  std::vector<std::size_t> order(tested.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::stable_sort(order.begin(), order.end(),
                   [&](std::size_t a, std::size_t b) { return gains[a].back() > gains[b].back(); });
  // From the smallest gain up: the maximum over all gains that are not larger.
  std::vector<double> maxima(permutations, kNoGain);
  std::vector<double> adjusted(tested.size());
  for (std::size_t i = order.size(); i-- > 0;) {
    const std::vector<double>& own = gains[order[i]];
    std::size_t reached = 0;
    for (std::size_t b = 0; b < permutations; ++b) {
      maxima[b] = std::max(maxima[b], own[b]);
      reached += ties.Reaches(b, maxima[b], own.back()) ? 1 : 0;
    }
    adjusted[order[i]] = shareOf(reached);
  }
  double largest = 0;
  for (const std::size_t t : order) {
    // An adjusted p must not be below the predictor's own p, which could happen because equal gains
    // of different predictors may be unequally far from chance.
    largest = std::max({largest, adjusted[t], test.p[tested[t]]});
    test.adjustedP[tested[t]] = largest;
  }
}

}  // namespace

SearchTest TestSearches(std::span<const SearchRecord* const> records, const PermutationOptions& options,
                        WorkerPool& pool, const WorkerPool::Progress& progress) {
  SearchTest test;
  test.gains.assign(records.size(), kNaN);
  test.p = test.adjustedP = test.gains;
  std::vector<std::size_t> tested;
  for (std::size_t i = 0; i < records.size(); ++i) {
    if (!records[i]->preBinOf.empty()) tested.push_back(i);
  }
  if (tested.empty()) return test;
  const Cases cases = CasesOf(*records[tested.front()]->cases);
  std::vector<Search> searches;
  for (const std::size_t i : tested) searches.emplace_back(*records[i], cases);
  const LogTable logs(cases.classCount > 0 ? cases.Count() : 0);

  const auto permutations = static_cast<std::size_t>(options.permutations);
  std::vector<std::vector<double>> gains(tested.size(), std::vector<double>(permutations + 1));
  std::vector<Scratch> scratches(static_cast<std::size_t>(pool.ThreadCount()));
  const bool finished = pool.Run(
      permutations + 1,
      [&](std::size_t b, int worker) {
        Scratch& scratch = scratches[static_cast<std::size_t>(worker)];
        // Each permutation has its own random numbers, whichever thread computes it.
        vlm::SplitMix seeds(options.seed);
        vlm::SplitMix random(seeds.Next() ^ vlm::SplitMix(b).Next());
        Deal(cases, b < permutations ? &random : nullptr, scratch);
        for (std::size_t t = 0; t < searches.size(); ++t) {
          if (pool.IsStopping()) return;
          gains[t][b] = searches[t].Gain(cases, logs, scratch);
        }
      },
      progress);
  if (!finished) {
    test.cancelled = true;
    return test;
  }
  FillProbabilities(tested, TieBreaker(options.seed, permutations), gains, test);
  return test;
}

}  // namespace velmora::evidence
