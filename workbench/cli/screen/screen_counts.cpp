#include "workbench/cli/screen/screen_counts.h"

#include <algorithm>
#include <map>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "workbench/data/names.h"
#include "workbench/scorecard/binned_cases.h"

namespace velmora {
namespace {

void AddTo(SavedCounts& sums, const SavedCounts& more) {
  for (std::size_t i = 0; i < more.size(); ++i) sums[i] += more[i];
}

// Ascending pre-bins: one per value while there are few, else runs of values with equal shares of
// the cases. None crosses a cut point, so that every bin consists of whole pre-bins.
std::vector<SavedPreBin> PreBinsOf(const SavedPredictor& predictor,
                                   std::vector<std::pair<double, std::size_t>> cases,
                                   const ResponseCases& sums) {
  std::sort(cases.begin(), cases.end());
  std::size_t distinct = 0;
  for (std::size_t i = 0; i < cases.size(); ++i) distinct += i == 0 || cases[i].first != cases[i - 1].first;
  // Each cut point and each run of equal values may add a pre-bin to those made by the shares.
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

void AddCounts(const Column& column, const ResponseCases& sums, SavedPredictor& predictor) {
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
    if (level != levelOf.end() && vlm::NearlyEqual(level->first, value)) {
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
  const CaseWeights weights(table, selected, weight, meaning);
  for (SavedResponse& response : bins.responses) {
    const ResponseCases cases(table, weights, response);
    for (SavedPredictor& predictor : response.predictors) {
      const Column& column = table.Variable(ResolveVariable(table, predictor.name));
      AddCounts(column, cases, predictor);
      column.values.Release();
    }
  }
}

}  // namespace velmora
