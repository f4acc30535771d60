#include "workbench/cli/screen/screen_by.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <set>

#include "workbench/cli/console.h"
#include "workbench/cli/data_input.h"
#include "workbench/cli/exit_codes.h"
#include "workbench/cli/progress_bar.h"
#include "workbench/cli/screen/screen_save.h"
#include "workbench/data/date_text.h"
#include "workbench/documents/text_table.h"
#include "workbench/documents/texts.h"
#include "workbench/language/selection.h"
#include "workbench/scorecard/binned_cases.h"

namespace velmora {
namespace {

constexpr int kNoGroup = -1;

std::string GroupName(const Column& column, double value) {
  if (const std::string* label = column.LabelOf(value)) return *label;
  if (column.dateUnit == DateUnit::kDays && InCalendar(value, column.dateUnit)) return IsoDate(value);
  if (column.dateUnit == DateUnit::kSeconds && InCalendar(value, column.dateUnit)) return IsoDateTime(value);
  return ShortestNumber(value);
}

GroupedPredictor Grouped(const SavedPredictor& predictor, const std::vector<std::int32_t>& bins,
                         const ResponseCases& cases, const std::vector<int>& groups,
                         const std::vector<double>& weightSpread) {
  const std::size_t groupCount = weightSpread.size();
  GroupedPredictor grouped;
  grouped.name = predictor.name;
  grouped.weightSpread = weightSpread;
  for (const SavedBin& bin : predictor.bins) {
    grouped.labels.push_back(bin.label);
    grouped.values.push_back(bin.figures.front() == kMissing ? 0 : bin.figures.front());
  }
  const std::size_t binCount = predictor.bins.size();
  grouped.cases.assign(groupCount, std::vector<double>(binCount));
  grouped.counts.assign(groupCount, std::vector<SavedCounts>(binCount, cases.None()));
  grouped.unbinned.assign(groupCount, 0);
  for (std::size_t i = 0; i < bins.size(); ++i) {
    if (groups[i] == kNoGroup || !cases.Uses(i)) continue;
    const auto group = static_cast<std::size_t>(groups[i]);
    if (bins[i] < 0) {
      grouped.unbinned[group] += cases.Weight(i);
      continue;
    }
    const auto bin = static_cast<std::size_t>(bins[i]);
    grouped.cases[group][bin] += cases.Weight(i);
    cases.Add(i, grouped.counts[group][bin]);
  }
  return grouped;
}

}  // namespace

CaseGroups GroupCases(const Column& column, const CaseBitmap& selected) {
  std::map<double, int> groupOf;
  const MissingRange missing(column.missingCode);
  const auto isUsed = [&](std::size_t i) {
    return selected.Contains(static_cast<std::int64_t>(i)) && std::isfinite(column.values[i]) &&
           !missing.Contains(column.values[i]);
  };
  for (std::size_t i = 0; i < column.values.size() && groupOf.size() <= kMostGroups; ++i) {
    if (isUsed(i)) groupOf.emplace(column.values[i], 0);
  }
  if (groupOf.size() < 2)
    throw UsageError("--by: " + column.name + " has " + (groupOf.empty() ? "no value" : "one value") +
                     " in the cases used; groups need two.");
  if (groupOf.size() > kMostGroups)
    throw UsageError("--by: " + column.name + " has more than " + std::to_string(kMostGroups) +
                     " values; name a variable of fewer groups, such as months or regions.");
  CaseGroups groups;
  for (auto& [value, group] : groupOf) {
    group = static_cast<int>(groups.names.size());
    groups.names.push_back(GroupName(column, value));
  }
  groups.groupOf.assign(column.values.size(), kNoGroup);
  for (std::size_t i = 0; i < groups.groupOf.size(); ++i) {
    if (isUsed(i)) {
      groups.groupOf[i] = groupOf.at(column.values[i]);
    } else if (selected.Contains(static_cast<std::int64_t>(i))) {
      ++groups.ungrouped;
    }
  }
  return groups;
}

void ByOptions::AddTo(CommandParser& parser) {
  parser.Text("--by", variable);
  parser.Choice("--by-reference", reference, {"first", "all"});
}

std::shared_ptr<const StabilityReport> StabilityBy(const ByOptions& options, const ScreenReport& report,
                                                   const Session& session) {
  if (options.variable.empty()) return nullptr;
  const Table& table = session.Data();
  const Column& column = table.Variable(NamedVariable(table, "--by", options.variable));
  auto stability = std::make_shared<StabilityReport>();
  stability->dataFile = report.dataFile;
  stability->byVariable = column.name;
  stability->referenceIsAll = options.reference != 0;
  const CaseBitmap selected = SelectCases(table, {report.select, report.exclude});
  const auto [names, groups, ungrouped] = GroupCases(column, selected);
  stability->groups = names;
  stability->ungroupedCases = ungrouped;
  if (stability->ungroupedCases > 0)
    stability->notices.push_back(
        Counted(static_cast<std::size_t>(stability->ungroupedCases), "case", "cases") +
        " without a value of " + column.name + " " + (stability->ungroupedCases == 1 ? "is" : "are") +
        " in no group.");
  constexpr int kAll = 1 << 30;
  const SavedBins bins = SavedBinsOf(report, table, kAll);
  const CaseWeights weights(table, selected, session.WeightVariable(), report.weights);
  ProgressBar bar;
  bar.Start("Comparing the groups of " + column.name);
  for (const SavedResponse& response : bins.responses) {
    ResponseStability& own = stability->responses.emplace_back();
    own.name = response.name;
    own.kind = response.kind;
    own.codes = response.codes;
    const ResponseCases cases(table, weights, response);
    std::vector<double> weightSpread;
    for (int group = 0; group < static_cast<int>(stability->groups.size()); ++group)
      weightSpread.push_back(
          cases.Weights().Spread([&](std::size_t i) { return cases.Uses(i) && groups[i] == group; }));
    for (std::size_t k = 0; k < response.predictors.size(); ++k) {
      bar.Update(static_cast<double>(k) / static_cast<double>(response.predictors.size()));
      std::vector<std::string> notices;  // every level is in the data
      const BinnedPredictor binned = BinCases(response.predictors[k], "the bins", table, notices,
                                              [](double) { return !WasInterrupted(); });
      own.predictors.push_back(
          StabilityOf(Grouped(response.predictors[k], binned.bins, cases, groups, weightSpread),
                      response.kind, stability->referenceIsAll ? kAllGroups : 0));
    }
  }
  bar.Finish();
  return stability;
}

}  // namespace velmora
