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
  GroupedPredictor grouped = EmptyGroups(predictor, weightSpread.size(), cases.None());
  grouped.weightSpread = weightSpread;
  for (std::size_t i = 0; i < bins.size(); ++i) {
    if (groups[i] == kNoGroup || !cases.Uses(i)) continue;
    const auto group = static_cast<std::size_t>(groups[i]);
    grouped.AddCases(group, bins[i], cases.Weight(i));
    if (bins[i] >= 0) cases.Add(i, grouped.counts[group][static_cast<std::size_t>(bins[i])]);
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

std::vector<double> WeightSpreads(const ResponseCases& cases, const CaseGroups& groups) {
  std::vector<double> spreads;
  for (int group = 0; group < static_cast<int>(groups.names.size()); ++group)
    spreads.push_back(
        cases.Weights().Spread([&](std::size_t i) { return cases.Uses(i) && groups.groupOf[i] == group; }));
  return spreads;
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
  const CaseGroups groups = GroupCases(column, selected);
  stability->groups = groups.names;
  stability->ungroupedCases = groups.ungrouped;
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
    const std::vector<double> weightSpread = WeightSpreads(cases, groups);
    for (std::size_t k = 0; k < response.predictors.size(); ++k) {
      bar.Update(static_cast<double>(k) / static_cast<double>(response.predictors.size()));
      std::vector<std::string> notices;  // stays empty: every level is in the data
      const BinnedPredictor binned = BinCases(response.predictors[k], "the bins", table, notices,
                                              [](double) { return !WasInterrupted(); });
      own.predictors.push_back(
          StabilityOf(Grouped(response.predictors[k], binned.bins, cases, groups.groupOf, weightSpread),
                      response.kind, stability->referenceIsAll ? kAllGroups : 0));
    }
  }
  bar.Finish();
  return stability;
}

}  // namespace velmora
