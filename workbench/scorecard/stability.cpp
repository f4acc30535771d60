#include "workbench/scorecard/stability.h"

#include <algorithm>
#include <cmath>

#include "workbench/scorecard/score_quality.h"
#include "workbench/stats/area_under_curve.h"

namespace velmora {
namespace {

constexpr char kBinary[] = "binary", kContinuous[] = "continuous";

double Sum(const std::vector<double>& values) {
  double sum = 0;
  for (const double value : values) sum += value;
  return sum;
}

void AddTo(std::vector<double>& sums, const std::vector<double>& more) {
  if (sums.empty()) sums.resize(more.size());
  for (std::size_t i = 0; i < more.size(); ++i) sums[i] += more[i];
}

// Counts of one group. The last entry is that of cases without a bin, where some group has them.
struct Group {
  std::vector<double> cases;
  std::vector<SavedCounts> counts;  // of the bins; empty: not known
  double weightSpread = 1;
};

double WeightOfEvidence(double bad, double good, double allBad, double allGood) {
  if (!(allBad > 0 && allGood > 0)) return kMissing;
  if (!(bad > 0 || good > 0)) return 0;
  if (!(bad > 0 && good > 0)) {
    bad += 0.5;
    good += 0.5;
  }
  return 100 * std::log((good / allGood) / (bad / allBad));
}

SavedCounts TotalOf(const Group& group) {
  SavedCounts total;
  for (const SavedCounts& counts : group.counts) AddTo(total, counts);
  return total;
}

double InformationValueOf(const PredictorInGroup& figures, const Group& group, const SavedCounts& total) {
  double value = 0;
  for (std::size_t bin = 0; bin < group.counts.size(); ++bin) {
    if (figures.bins[bin].woe == kMissing) return kMissing;
    value +=
        (group.counts[bin][1] / total[1] - group.counts[bin][0] / total[0]) * figures.bins[bin].woe / 100;
  }
  return value;
}

// 1 - sum of squares within the bins / sum of squares of all.
double ExplainedVariance(const Group& group, const SavedCounts& total) {
  const double all = total[2] - total[1] * total[1] / total[0];
  double within = 0;
  for (const SavedCounts& counts : group.counts) {
    if (counts[0] > 0) within += counts[2] - counts[1] * counts[1] / counts[0];
  }
  return all > 0 ? 1 - within / all : kMissing;
}

double CramersV(const Group& group, const SavedCounts& total) {
  const double all = Sum(total);
  double chiSquare = 0;
  std::size_t rows = 0;
  for (const SavedCounts& counts : group.counts) {
    const double row = Sum(counts);
    if (!(row > 0)) continue;
    ++rows;
    for (std::size_t c = 0; c < counts.size(); ++c) {
      const double expected = row * total[c] / all;
      if (expected > 0) chiSquare += (counts[c] - expected) * (counts[c] - expected) / expected;
    }
  }
  const auto columns = static_cast<std::size_t>(
      std::count_if(total.begin(), total.end(), [](double count) { return count > 0; }));
  const std::size_t smaller = std::min(rows, columns);
  return smaller > 1 ? std::sqrt(chiSquare / (all * static_cast<double>(smaller - 1))) : kMissing;
}

PredictorInGroup FiguresOf(const Group& group, const GroupedPredictor& predictor, const std::string& kind) {
  PredictorInGroup figures;
  figures.cases = Sum(group.cases);
  const std::size_t binCount = predictor.labels.size();
  for (std::size_t bin = 0; bin < group.cases.size(); ++bin) {
    BinInGroup& one = figures.bins.emplace_back();
    one.cases = group.cases[bin];
    one.share = figures.cases > 0 ? one.cases / figures.cases : 0;
    if (bin >= binCount) figures.unbinnedShare = one.share;
  }
  if (group.counts.empty()) return figures;
  const SavedCounts total = TotalOf(group);
  std::vector<stats::CountedValue> values;
  for (std::size_t bin = 0; bin < binCount; ++bin) {
    const SavedCounts& counts = group.counts[bin];
    BinInGroup& one = figures.bins[bin];
    if (kind == kBinary) {
      if (counts[0] + counts[1] > 0) one.rate = counts[0] / (counts[0] + counts[1]);
      one.woe = WeightOfEvidence(counts[0], counts[1], total[0], total[1]);
      values.push_back({predictor.values[bin], counts[0], counts[1]});
    } else if (kind == kContinuous && counts[0] > 0) {
      one.rate = counts[1] / counts[0];
    }
  }
  if (!(Sum(total) > 0)) return figures;
  if (kind == kBinary) {
    if (!(total[0] > 0 && total[1] > 0)) return figures;
    figures.strength = InformationValueOf(figures, group, total);
    figures.areaUnderCurve = stats::AreaUnderCurve(std::move(values));
  } else {
    figures.strength = kind == kContinuous ? ExplainedVariance(group, total) : CramersV(group, total);
  }
  return figures;
}

// The variance of the rate of a bin, by Kish's effective number of its cases.
double RateVariance(const SavedCounts& counts, const std::string& kind, double weightSpread) {
  if (kind == kBinary) {
    const double all = counts[0] + counts[1], n = all / weightSpread;
    const double p = (counts[0] / weightSpread + 0.5) / (n + 1);
    return p * (1 - p) / n;
  }
  const double n = counts[0] / weightSpread, mean = counts[1] / counts[0];
  return n > 1 ? std::max(0.0, counts[2] / counts[0] - mean * mean) / (n - 1) : 0;
}

int CrossingsOf(const PredictorInGroup& figures, const Group& group, const PredictorInGroup& reference,
                const std::string& kind) {
  int crossings = 0;
  if (group.counts.empty()) return crossings;
  for (std::size_t a = 0; a < group.counts.size(); ++a) {
    for (std::size_t b = 0; b < a; ++b) {
      const double before = reference.bins[a].rate - reference.bins[b].rate;
      const double now = figures.bins[a].rate - figures.bins[b].rate;
      const bool known = reference.bins[a].rate != kMissing && reference.bins[b].rate != kMissing &&
                         figures.bins[a].rate != kMissing && figures.bins[b].rate != kMissing;
      if (!known || !(before * now < 0)) continue;
      const double error = std::sqrt(RateVariance(group.counts[a], kind, group.weightSpread) +
                                     RateVariance(group.counts[b], kind, group.weightSpread));
      if (std::fabs(now) > error) ++crossings;
    }
  }
  return crossings;
}

double WoeIndexOf(const PredictorInGroup& figures, const PredictorInGroup& reference,
                  const SavedCounts& total, std::size_t binCount) {
  if (!(total[0] > 0 && total[1] > 0)) return kMissing;
  const double prior = std::log(total[0] / total[1]);
  double index = 0, shares = 0;
  for (std::size_t bin = 0; bin < binCount; ++bin) {
    const BinInGroup &now = figures.bins[bin], &before = reference.bins[bin];
    if (now.woe == kMissing || before.woe == kMissing) return kMissing;
    if (!(now.cases > 0 && before.cases > 0)) continue;  // nothing is known of its rate
    const double logitNow = prior - now.woe / 100, logitBefore = prior - before.woe / 100;
    index += before.share * (1 / (1 + std::exp(-logitNow)) - 1 / (1 + std::exp(-logitBefore))) *
             (logitNow - logitBefore);
    shares += before.share;
  }
  return shares > 0 ? index / shares : kMissing;
}

double TrendOf(const std::vector<PredictorInGroup>& groups) {
  double n = 0, sumX = 0, sumY = 0, sumXX = 0, sumXY = 0;
  for (std::size_t g = 0; g < groups.size(); ++g) {
    if (groups[g].strength == kMissing) continue;
    const auto x = static_cast<double>(g);
    ++n;
    sumX += x;
    sumY += groups[g].strength;
    sumXX += x * x;
    sumXY += x * groups[g].strength;
  }
  return n > 2 ? (n * sumXY - sumX * sumY) / (n * sumXX - sumX * sumX) : kMissing;
}

template <typename Member>
std::size_t WorstBy(const std::vector<PredictorInGroup>& groups, Member member) {
  std::size_t worst = 0;
  const auto key = [&](std::size_t g) { return groups[g].*member == kMissing ? -1 : groups[g].*member; };
  for (std::size_t g = 1; g < groups.size(); ++g) {
    if (key(g) > key(worst)) worst = g;
  }
  return worst;
}

}  // namespace

void GroupedPredictor::AddCases(std::size_t group, int bin, double weight) {
  (bin < 0 ? unbinned[group] : cases[group][static_cast<std::size_t>(bin)]) += weight;
}

GroupedPredictor EmptyGroups(const SavedPredictor& predictor, std::size_t groupCount,
                             const SavedCounts& none) {
  GroupedPredictor grouped;
  grouped.name = predictor.name;
  for (const SavedBin& bin : predictor.bins) {
    grouped.labels.push_back(bin.label);
    grouped.values.push_back(bin.figures.front() == kMissing ? 0 : bin.figures.front());
  }
  const std::size_t binCount = predictor.bins.size();
  grouped.cases.assign(groupCount, std::vector<double>(binCount));
  grouped.counts.assign(groupCount, std::vector<SavedCounts>(binCount, none));
  grouped.unbinned.assign(groupCount, 0);
  return grouped;
}

std::size_t PredictorStability::WorstShare() const { return WorstBy(groups, &PredictorInGroup::shareIndex); }
std::size_t PredictorStability::WorstWoe() const { return WorstBy(groups, &PredictorInGroup::woeIndex); }

PredictorStability StabilityOf(const GroupedPredictor& predictor, const std::string& kind,
                               int referenceGroup) {
  PredictorStability stability;
  stability.name = predictor.name;
  stability.labels = predictor.labels;
  const bool anyUnbinned = Sum(predictor.unbinned) > 0;
  if (anyUnbinned) stability.labels.emplace_back("(without a bin)");
  std::vector<Group> groups;
  Group all;
  for (std::size_t g = 0; g < predictor.cases.size(); ++g) {
    Group& group = groups.emplace_back(Group{predictor.cases[g], predictor.counts[g], 1});
    if (anyUnbinned) group.cases.push_back(predictor.unbinned[g]);
    if (!predictor.weightSpread.empty()) group.weightSpread = predictor.weightSpread[g];
    AddTo(all.cases, group.cases);
    if (group.counts.empty()) continue;
    all.counts.resize(group.counts.size());
    for (std::size_t bin = 0; bin < group.counts.size(); ++bin) AddTo(all.counts[bin], group.counts[bin]);
  }
  const Group& reference =
      referenceGroup == kAllGroups ? all : groups[static_cast<std::size_t>(referenceGroup)];
  stability.reference = FiguresOf(reference, predictor, kind);
  const SavedCounts total = TotalOf(reference);
  for (const Group& group : groups) {
    PredictorInGroup figures = FiguresOf(group, predictor, kind);
    figures.shareIndex = StabilityIndex(reference.cases, group.cases);
    if (kind == kBinary && !group.counts.empty() && !reference.counts.empty())
      figures.woeIndex = WoeIndexOf(figures, stability.reference, total, predictor.labels.size());
    figures.crossings = CrossingsOf(figures, group, stability.reference, kind);
    stability.groups.push_back(std::move(figures));
  }
  stability.trend = TrendOf(stability.groups);
  return stability;
}

}  // namespace velmora
