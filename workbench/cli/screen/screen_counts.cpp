#include "workbench/cli/screen/screen_counts.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <map>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "workbench/data/names.h"

namespace velmora {
namespace {

// The value that a code's text means: its label's, else the number it reads as.
double ValueOfCode(const Column& column, const std::string& code) {
  if (const double* labelled = column.ValueOf(code)) return *labelled;
  double value = kMissing;
  std::from_chars(code.data(), code.data() + code.size(), value);
  return value;
}

bool IsMissingIn(const Column& column, double value) {
  return !std::isfinite(value) || IsMissing(value, column.missingCode);
}

// What every case adds to the counts of its place.
class ResponseSums {
 public:
  ResponseSums(const Table& table, const CaseBitmap& selected, int weight, WeightMeaning meaning,
               const SavedResponse& response)
      : column_(table.Variable(ResolveVariable(table, response.name))),
        weights_(weight == 0 ? nullptr : &table.Variable(weight)),
        isContinuous_(response.kind == "continuous"),
        size_(CountsPerBin(response)),
        classOf_(column_.values.size(), kNotUsed) {
    std::vector<double> codes;
    for (const std::string& code : response.codes) codes.push_back(ValueOfCode(column_, code));
    for (std::size_t i = 0; i < classOf_.size(); ++i) {
      const double value = column_.values[i];
      if (!selected.Contains(static_cast<std::int64_t>(i)) || !(Weight(i) > 0) || IsMissingIn(column_, value))
        continue;
      if (isContinuous_) {
        classOf_[i] = 0;
        continue;
      }
      for (std::size_t code = 0; code < codes.size(); ++code) {
        if (NearlyEqualDoubles(value, codes[code])) classOf_[i] = static_cast<int>(code);
      }
    }
    if (meaning == WeightMeaning::kSampling) unit_ = MeanWeight();
  }

  bool Uses(std::size_t i) const { return classOf_[i] != kNotUsed; }
  SavedCounts None() const { return SavedCounts(size_); }
  double Weight(std::size_t i) const {
    if (weights_ == nullptr) return 1;
    const double weight = weights_->values[i];
    return IsMissingIn(*weights_, weight) ? 0 : weight / unit_;
  }
  void Add(std::size_t i, SavedCounts& counts) const {
    const double weight = Weight(i);
    if (!isContinuous_) {
      counts[static_cast<std::size_t>(classOf_[i])] += weight;
      return;
    }
    const double y = column_.values[i];
    counts[0] += weight;
    counts[1] += weight * y;
    counts[2] += weight * y * y;
  }

 private:
  static constexpr int kNotUsed = -1;

  double MeanWeight() const {
    double sum = 0, count = 0;
    for (std::size_t i = 0; i < classOf_.size(); ++i) {
      if (!Uses(i)) continue;
      sum += Weight(i);
      ++count;
    }
    return sum > 0 && std::isfinite(sum) ? sum / count : 1;
  }

  const Column& column_;
  const Column* const weights_;
  const bool isContinuous_;
  const std::size_t size_;
  double unit_ = 1;  // the weight in the table that counts as one case
  std::vector<int> classOf_;
};

void AddTo(SavedCounts& sums, const SavedCounts& more) {
  for (std::size_t i = 0; i < more.size(); ++i) sums[i] += more[i];
}

// Ascending pre-bins: each value its own while there are few, else as many values as make an equal
// share of the cases. None reaches over a cut point, so that every bin is some of them.
std::vector<SavedPreBin> PreBinsOf(const SavedPredictor& predictor,
                                   std::vector<std::pair<double, std::size_t>> cases,
                                   const ResponseSums& sums) {
  std::sort(cases.begin(), cases.end());
  std::size_t distinct = 0;
  for (std::size_t i = 0; i < cases.size(); ++i) distinct += i == 0 || cases[i].first != cases[i - 1].first;
  // Each cut point and each run of equal values may make one more than the shares do.
  const std::size_t limit =
      kMostPreBins > 2 * predictor.bins.size() ? kMostPreBins - predictor.bins.size() : predictor.bins.size();
  const std::size_t perPreBin = distinct <= kMostPreBins ? 1 : (cases.size() + limit - 1) / limit;
  std::vector<double> bounds;
  for (const double cutPoint : predictor.cutPoints) bounds.push_back(MissingRange(cutPoint).high);
  std::vector<SavedPreBin> preBins;
  std::size_t held = 0, interval = 0;  // cases of the last pre-bin; bin of its values
  for (std::size_t i = 0; i < cases.size(); ++i) {
    const double value = cases[i].first;
    if (i == 0 || value != cases[i - 1].first) {
      const auto at =
          static_cast<std::size_t>(std::lower_bound(bounds.begin(), bounds.end(), value) - bounds.begin());
      if (i == 0 || held >= perPreBin || at != interval) {
        preBins.push_back({value, value, sums.None()});
        held = 0;
      }
      interval = at;
    }
    preBins.back().last = value;
    sums.Add(cases[i].second, preBins.back().counts);
    ++held;
  }
  return preBins;
}

void AddCounts(const Column& column, const ResponseSums& sums, SavedPredictor& predictor) {
  for (SavedBin& bin : predictor.bins) bin.counts = sums.None();
  for (SavedLevel& level : predictor.levels) level.counts = sums.None();
  predictor.missingCounts = sums.None();
  std::unordered_map<std::string_view, double> valueOf;
  for (const ValueLabel& label : column.labels) valueOf.emplace(label.text, label.value);
  std::map<double, std::size_t> levelOf;
  for (std::size_t i = 0; i < predictor.levels.size(); ++i) {
    const SavedLevel& level = predictor.levels[i];
    if (level.number) {
      levelOf[*level.number] = i;
    } else if (const auto labelled = valueOf.find(level.text); labelled != valueOf.end()) {
      levelOf[labelled->second] = i;
    }
  }
  std::vector<std::pair<double, std::size_t>> ordered;
  bool anyMissing = false;
  for (std::size_t i = 0; i < column.values.size(); ++i) {
    if (!sums.Uses(i)) continue;
    const double value = column.values[i];
    if (IsMissingIn(column, value)) {
      sums.Add(i, predictor.missingCounts);
      anyMissing = true;
      continue;
    }
    const auto level = levelOf.lower_bound(MissingRange(value).low);
    if (level != levelOf.end() && NearlyEqualDoubles(level->first, value)) {
      sums.Add(i, predictor.levels[level->second].counts);
    } else if (!predictor.categorical) {
      ordered.emplace_back(value, i);
    }
  }
  const auto bin = [&](int number) -> SavedCounts& {
    return predictor.bins[static_cast<std::size_t>(number)].counts;
  };
  if (!predictor.categorical) {
    predictor.preBins = PreBinsOf(predictor, std::move(ordered), sums);
    std::size_t interval = 0;
    for (const SavedPreBin& one : predictor.preBins) {
      while (interval < predictor.cutPoints.size() &&
             one.first > MissingRange(predictor.cutPoints[interval]).high)
        ++interval;
      AddTo(bin(static_cast<int>(interval)), one.counts);
    }
  }
  for (const SavedLevel& level : predictor.levels) AddTo(bin(level.bin), level.counts);
  if (predictor.missingBin) AddTo(bin(*predictor.missingBin), predictor.missingCounts);
  if (!anyMissing) predictor.missingCounts.clear();
}

}  // namespace

void AddCounts(const Table& table, const CaseBitmap& selected, int weight, WeightMeaning meaning,
               SavedBins& bins) {
  for (SavedResponse& response : bins.responses) {
    const ResponseSums sums(table, selected, weight, meaning, response);
    for (SavedPredictor& predictor : response.predictors)
      AddCounts(table.Variable(ResolveVariable(table, predictor.name)), sums, predictor);
  }
}

}  // namespace velmora
