#include "workbench/cli/states/survey_run.h"

#include <algorithm>

#include "workbench/cli/data_input.h"
#include "workbench/cli/exit_codes.h"
#include "workbench/documents/text_table.h"
#include "workbench/documents/texts.h"

namespace velmora {

using states::CaseRules;
using states::Get;
using states::Member;
using states::Packed;
using states::PartCases;
using states::VariableSurvey;

SurveyRun::SurveyRun(PartRunKey key, CaseRules rules, DataOptions data)
    : key_(std::move(key)), rules_(std::move(rules)), data_(std::move(data)) {}

void SurveyRun::Take(Table part) {
  const bool isCounted = !rules_.cases.empty();
  if (!isCounted) PreparePart(part, data_.missingCodes);
  const PartCases cases = states::CollectCases(part, rules_);
  if (isCounted) return TakeCounted(part, cases);
  if (surveys_.empty()) {
    for (const Column& column : part.columns) surveys_.emplace_back(column.name, key_.settings.limits);
  }
  for (VariableSurvey& survey : surveys_)
    survey.Take(states::ColumnNamed(part, survey.Name()), cases, rules_.LeavesOut());
  totals_.Merge(cases.totals);
}

void SurveyRun::TakeCounted(const Table& part, const PartCases& cases) {
  bool anyVariable = false;
  for (const Column& column : part.columns) {
    const std::string& name = column.name;
    if (name == rules_.cases || name == rules_.squares || name == rules_.weight || name == rules_.count)
      continue;
    anyVariable = true;
    auto survey = std::find_if(surveys_.begin(), surveys_.end(),
                               [&](const VariableSurvey& one) { return one.Name() == column.name; });
    if (survey == surveys_.end())
      survey = surveys_.emplace(surveys_.end(), column.name, key_.settings.limits);
    survey->Take(column, cases, false);
  }
  if (!anyVariable) totals_.Merge(cases.totals);
}

void SurveyRun::StartCounted(const std::vector<std::string>& columns, const states::CaseTotals& totals) {
  for (const std::string& name : columns) surveys_.emplace_back(name, key_.settings.limits);
  totals_.Merge(totals);
}

Packed SurveyRun::Pack() const {
  Packed surveys = Packed::array();
  for (const VariableSurvey& survey : surveys_) surveys.push_back(survey.Pack());
  return {{"state", kSurveyKind},
          {"key", key_.Pack()},
          {"totals", totals_.Pack()},
          {"surveys", std::move(surveys)}};
}

void SurveyRun::MergePacked(const Packed& packed) {
  if (Get<std::string>(packed, "state") != kSurveyKind || Member(packed, "key") != key_.Pack())
    throw DataError("The states belong to different runs.");
  std::vector<VariableSurvey> surveys;
  const Packed& list = Member(packed, "surveys");
  if (!list.is_array()) states::FailDamaged();
  for (const Packed& one : list) surveys.push_back(VariableSurvey::Unpack(one));
  const states::CaseTotals totals = states::CaseTotals::Unpack(Member(packed, "totals"));
  if (surveys_.empty()) {
    surveys_ = std::move(surveys);
  } else if (!surveys.empty()) {
    if (surveys.size() != surveys_.size()) throw DataError("Parts of the data have different columns.");
    for (std::size_t i = 0; i < surveys.size(); ++i) {
      if (surveys[i].Name() != surveys_[i].Name())
        throw DataError("Parts of the data have different columns: \"" + surveys_[i].Name() + "\" and \"" +
                        surveys[i].Name() + "\" are in the same place.");
      surveys_[i].Merge(surveys[i]);
    }
  }
  totals_.Merge(totals);
}

std::string SurveyRun::SecondPass() const { return SumsRun(PlanFor(Representatives())).Bytes(); }

std::unique_ptr<FinishedRun> SurveyRun::Finish(const PartRun& sums, const std::string& moduleWord) const {
  const auto* const second = dynamic_cast<const SumsRun*>(&sums);
  if (second == nullptr) throw UsageError("The second state is not one of a second pass.");
  Table table = Representatives();
  if (!PlanFor(table).CountsAs(second->ThePlan()))
    throw DataError("The state of the second pass was not made from this state of the first pass.");
  std::vector<std::string> words = key_.words;
  if (!moduleWord.empty()) words.push_back(moduleWord);
  return FinishRun(std::move(table), *second, words);
}

SumsRun::Plan SurveyRun::PlanFor(const Table& table) const {
  SumsRun::Plan plan;
  plan.key = key_;
  plan.rules = rules_;
  plan.rows = totals_.rows;
  plan.missingCodes = data_.missingCodes;
  plan.missingTexts = MissingTexts();
  PlanSums(table, plan);
  return plan;
}

// Throws RunError when no case is used.
Table SurveyRun::Representatives() const {
  if (surveys_.empty()) throw RunError("The data have no cases.");
  if (totals_.used == 0)
    throw RunError("No case is used: of " + std::to_string(static_cast<std::int64_t>(totals_.rows)) +
                   " cases, the selection leaves out " +
                   std::to_string(static_cast<std::int64_t>(totals_.notSelected)) + ".");
  Table table;
  for (const VariableSurvey& survey : surveys_) table.columns.push_back(survey.Representative({}));
  // Counted parts have sums of weights and counts, not the variables themselves.
  for (const std::string* const name : {&rules_.weight, &rules_.count}) {
    if (rules_.cases.empty() || name->empty()) continue;
    const auto found = std::find_if(table.columns.begin(), table.columns.end(),
                                    [&](const Column& column) { return column.name == *name; });
    Column& column = found == table.columns.end() ? table.columns.emplace_back() : *found;
    column.name = *name;
    column.values = {1};
  }
  std::size_t most = 1;
  for (const Column& column : table.columns) most = std::max(most, column.values.size());
  for (Column& column : table.columns) column.values.Own().resize(most, kMissing);
  table.caseCount = static_cast<std::int64_t>(most);
  OverrideMeasurements(table, data_);
  return table;
}

std::string SurveyRun::PrecisionNotice(const std::vector<int>& variables) const {
  std::size_t count = 0;
  double error = 0;
  for (const int number : variables) {
    const states::ValueCells& cells = Survey(number).Cells();
    if (cells.IsExact()) continue;
    ++count;
    error = std::max(error, cells.RankError());
  }
  return count == 0 ? std::string() : PrecisionSentence(count, key_.settings.limits.cells, error);
}

std::string PrecisionSentence(std::size_t count, std::size_t cells, double error) {
  return Counted(count, "variable has", "variables have") + " more than " + std::to_string(cells) +
         " different values, so ends of intervals are off by up to " + ShownNumber(100 * error, "0.0000") +
         " % of the cases.";
}

}  // namespace velmora
