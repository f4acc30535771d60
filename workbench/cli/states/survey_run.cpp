#include "workbench/cli/states/survey_run.h"

#include <algorithm>
#include <bit>
#include <cmath>

#include "base/tolerant.h"
#include "workbench/cli/data_input.h"
#include "workbench/cli/exit_codes.h"
#include "workbench/data/readers.h"
#include "workbench/documents/terminal_text.h"
#include "workbench/documents/text_table.h"
#include "workbench/documents/texts.h"

namespace velmora {

using states::CaseRules;
using states::Get;
using states::Grouping;
using states::Member;
using states::Packed;
using states::PairSums;
using states::PartCases;
using states::VariableSurvey;

namespace {

constexpr char kSurveyKind[] = "survey";
constexpr char kSumsKind[] = "sums";

Packed PackRules(const CaseRules& rules) {
  return {{"select", rules.select},
          {"exclude", rules.exclude},
          {"weight", rules.weight},
          {"count", rules.count},
          {"strict", rules.refusesNegativeWeights},
          {"complete", rules.complete},
          {"cases", rules.cases},
          {"squares", rules.squares},
          {"response", rules.response},
          {"codes", rules.codes}};
}

CaseRules UnpackRules(const Packed& packed) {
  CaseRules rules;
  const std::pair<const char*, std::string*> texts[] = {
      {"select", &rules.select},  {"exclude", &rules.exclude},   {"weight", &rules.weight},
      {"count", &rules.count},    {"response", &rules.response}, {"cases", &rules.cases},
      {"squares", &rules.squares}};
  for (const auto& [name, text] : texts) *text = Get<std::string>(packed, name);
  rules.refusesNegativeWeights = Get<bool>(packed, "strict");
  rules.complete = Get<std::vector<std::string>>(packed, "complete");
  rules.codes = Get<std::vector<std::string>>(packed, "codes");
  return rules;
}

// Well mixed bits of a number (Steele, Lea and Flood 2014, doi:10.1145/2660193.2660195).
std::uint64_t Mix(std::uint64_t z) {
  z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9u;
  z = (z ^ (z >> 27)) * 0x94D049BB133111EBu;
  return z ^ (z >> 31);
}

std::uint64_t TextBits(const std::string& text) {
  std::uint64_t bits = 0xcbf29ce484222325u;
  for (const char c : text) bits = (bits ^ static_cast<unsigned char>(c)) * 0x100000001b3u;
  return bits;
}

// A fold for every case by what is in it, so that it does not matter in which part the case is.
std::vector<std::uint8_t> FoldsOf(const Table& table, std::uint32_t folds) {
  std::vector<std::uint64_t> bits(static_cast<std::size_t>(table.caseCount), 0x9E3779B97F4A7C15u);
  for (const Column& column : table.columns) {
    std::vector<std::uint64_t> ofLabel;
    for (const ValueLabel& label : column.labels) ofLabel.push_back(TextBits(label.text));
    for (std::size_t i = 0; i < bits.size(); ++i) {
      const double value = column.values[i];
      const bool isText = column.fromText && !states::IsAbsent(column, i);
      const std::uint64_t its =
          isText ? ofLabel[static_cast<std::size_t>(value) - 1] : std::bit_cast<std::uint64_t>(value + 0.0);
      bits[i] = Mix(bits[i] + 0x9E3779B97F4A7C15u) ^ its;
    }
  }
  std::vector<std::uint8_t> foldOf;
  for (const std::uint64_t b : bits) foldOf.push_back(static_cast<std::uint8_t>(Mix(b) % folds));
  return foldOf;
}

}  // namespace

// --- Runs
void PartRun::Merge(std::string_view bytes) { MergePacked(states::Unsealed(bytes)); }
std::string PartRun::Bytes() const { return states::Sealed(Pack()); }

Packed PartRunKey::Pack() const {
  return {{"analysis", analysis},           {"words", words},
          {"cells", settings.limits.cells}, {"levels", settings.limits.levels},
          {"cases", settings.cases},        {"squares", settings.squares}};
}

PartRunKey PartRunKey::Unpack(const Packed& packed) {
  return {Get<std::string>(packed, "analysis"),
          Get<std::vector<std::string>>(packed, "words"),
          {{Get<std::size_t>(packed, "cells"), Get<std::size_t>(packed, "levels")},
           Get<std::string>(packed, "cases"),
           Get<std::string>(packed, "squares")}};
}

std::unique_ptr<PartRun> StartPartRun(const std::string& analysis, const std::vector<std::string>& words,
                                      const PartSettings& settings) {
  if (analysis == "feature-selection") return StartRankingSurvey({analysis, words, settings});
  if (analysis == "screen") return StartScreeningSurvey({analysis, words, settings});
  throw UsageError("There is no analysis " + ShortenedText(analysis) +
                   "; the analyses are feature-selection and screen.");
}

std::unique_ptr<PartRun> ReadPartRun(std::string_view bytes) {
  const Packed packed = states::Unsealed(bytes);
  if (Get<std::string>(packed, "state") == kSumsKind) return SumsRun::Unpack(packed);
  const PartRunKey key = PartRunKey::Unpack(Member(packed, "key"));
  std::unique_ptr<PartRun> run = StartPartRun(key.analysis, key.words, key.settings);
  run->Merge(bytes);
  return run;
}

void PreparePart(Table& part, const std::vector<std::string>& missingCodes) {
  for (const std::string& option : missingCodes) ApplyMissingOption(part, option);
}

// --- Values and groups
std::vector<SurveyedValue> ValuesOf(const VariableSurvey& survey) {
  std::vector<SurveyedValue> values;
  const bool isExact = survey.Cells().IsExact();
  for (const states::ValueCell& cell : survey.Cells().Cells()) {
    if (isExact && !values.empty() && vlm::NearlyEqual(values.back().high, cell.low)) {
      SurveyedValue& last = values.back();
      last.high = cell.high;
      last.cases += cell.cases;
      last.mass += cell.mass;
    } else {
      values.push_back({cell.low, cell.high, cell.cases, cell.mass});
    }
  }
  return values;
}

Grouping LevelsOf(const VariableSurvey& survey) {
  Grouping grouping;
  grouping.variable = survey.Name();
  grouping.isText = survey.HoldsKind() == VariableSurvey::Kind::kTexts;
  if (grouping.isText) {
    for (const auto& [text, count] : survey.Levels()) {
      if (count.cases > 0) grouping.levels.push_back(text);
    }
  } else {
    for (const SurveyedValue& value : ValuesOf(survey)) grouping.highest.push_back(value.high);
  }
  return grouping;
}

Grouping IntervalsOf(const VariableSurvey& survey, const ranking::IntervalRule& rule, double massFactor) {
  Grouping grouping;
  grouping.variable = survey.Name();
  const std::vector<SurveyedValue> values = ValuesOf(survey);
  if (values.empty()) return grouping;
  std::vector<double> bounds;
  if (rule.method == ranking::IntervalMethod::kEqualWidth) {
    ranking::Moments moments = survey.UsedMoments();
    moments.mass *= massFactor;
    moments.squares *= massFactor;
    bounds = ranking::EqualWidthBounds(values.front().low, moments, rule.intervals);
  } else {
    std::vector<ranking::ValueMass> masses;
    for (const SurveyedValue& value : values) masses.push_back({value.high, value.mass});
    bounds = ranking::QuantileBounds(masses, rule.intervals);
  }
  std::size_t bound = 0;
  for (const SurveyedValue& value : values) {
    bool isNext = grouping.highest.empty();
    for (; bound < bounds.size() && vlm::GreaterBeyondTolerance(value.low, bounds[bound]); ++bound)
      isNext = true;
    if (isNext) grouping.highest.push_back(value.high);
    grouping.highest.back() = value.high;
  }
  return grouping;
}

// --- First pass
SurveyRun::SurveyRun(PartRunKey key, CaseRules rules, DataOptions data)
    : key_(std::move(key)), rules_(std::move(rules)), data_(std::move(data)) {}

void SurveyRun::Take(Table part) {
  PreparePart(part, data_.missingCodes);
  const PartCases cases = states::CollectCases(part, rules_);
  if (!rules_.cases.empty()) return TakeCounted(part, cases);
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
    if (column.name == rules_.cases || column.name == rules_.squares || column.name == rules_.weight)
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

Table SurveyRun::Representatives() const {
  if (surveys_.empty()) throw RunError("The data have no cases.");
  if (totals_.used == 0)
    throw RunError("No case is used: of " + std::to_string(static_cast<std::int64_t>(totals_.rows)) +
                   " cases, the selection leaves out " +
                   std::to_string(static_cast<std::int64_t>(totals_.notSelected)) + ".");
  Table table;
  for (const VariableSurvey& survey : surveys_) table.columns.push_back(survey.Representative({}));
  // Counted parts have sums of weights, not the variable itself.
  if (!rules_.cases.empty() && !rules_.weight.empty()) {
    Column& weight = table.columns.emplace_back();
    weight.name = rules_.weight;
    weight.values = {1};
  }
  std::size_t most = 1;
  for (const Column& column : table.columns) most = std::max(most, column.values.size());
  for (Column& column : table.columns) column.values.resize(most, kMissing);
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
  if (count == 0) return {};
  return Counted(count, "variable has", "variables have") + " more than " +
         std::to_string(key_.settings.limits.cells) +
         " different values, so ends of intervals are off by up to " + ShownNumber(100 * error, "0.0000") +
         " % of the cases.";
}

// --- Second pass
SumsRun::SumsRun(Plan plan) : plan_(std::move(plan)) {
  for (std::size_t p = 0; p < plan_.predictors.size(); ++p) {
    for (std::size_t d = 0; d < plan_.outcomes.size(); ++d) {
      const Outcome& outcome = plan_.outcomes[d];
      const bool counted = plan_.counted[p * plan_.outcomes.size() + d] != 0;
      sums_.emplace_back(counted ? plan_.predictors[p].Count() : 0,
                         outcome.IsMeasured() ? 0 : outcome.classes.Count(),
                         outcome.IsMeasured() ? plan_.folds : 0);
    }
  }
}

states::OutcomePart SumsRun::PartOf(const Outcome& outcome, const Table& table,
                                    const PartCases& cases) const {
  states::OutcomePart part;
  if (!outcome.IsMeasured()) {
    part.classes = outcome.classes.Count();
    part.classOf = outcome.classes.Assign(states::ColumnNamed(table, outcome.classes.variable), cases);
    for (std::uint32_t& one : part.classOf) one = one == part.classes ? states::kNoGroup : one;
    return part;
  }
  const Column& column = states::ColumnNamed(table, outcome.measured.variable);
  part.classOf.assign(cases.Count(), states::kNoGroup);
  part.values.assign(cases.Count(), 0);
  for (std::size_t i = 0; i < cases.Count(); ++i) {
    if (cases.used[i] == 0 || states::IsAbsent(column, i) || !outcome.measured.finite) continue;
    part.classOf[i] = 0;
    part.values[i] = outcome.measured.Scaled(column.values[i]);
  }
  if (plan_.folds > 0) part.folds = FoldsOf(table, plan_.folds);
  return part;
}

void SumsRun::Take(Table part) {
  PreparePart(part, plan_.missingCodes);
  const PartCases cases = states::CollectCases(part, plan_.rules);
  const bool isCounted = !plan_.rules.cases.empty();
  std::vector<states::OutcomePart> outcomes;
  for (const Outcome& outcome : plan_.outcomes) {
    const std::string& name = outcome.IsMeasured() ? outcome.measured.variable : outcome.classes.variable;
    const bool isAbsent = isCounted && states::FindColumn(part, name) == nullptr;
    outcomes.push_back(isAbsent ? states::OutcomePart{} : PartOf(outcome, part, cases));
  }
  for (std::size_t p = 0; p < plan_.predictors.size(); ++p) {
    const Grouping& grouping = plan_.predictors[p];
    if (isCounted && states::FindColumn(part, grouping.variable) == nullptr) continue;
    const auto groupOf = grouping.Assign(states::ColumnNamed(part, grouping.variable), cases);
    for (std::size_t d = 0; d < outcomes.size(); ++d) {
      const std::size_t at = p * outcomes.size() + d;
      if (plan_.counted[at] != 0 && !outcomes[d].classOf.empty()) sums_[at].Take(groupOf, outcomes[d], cases);
    }
  }
}

Packed SumsRun::PackPlan() const {
  Packed predictors = Packed::array(), outcomes = Packed::array();
  for (const Grouping& grouping : plan_.predictors) predictors.push_back(grouping.Pack());
  for (const Outcome& outcome : plan_.outcomes)
    outcomes.push_back({{"classes", outcome.classes.Pack()}, {"measured", outcome.measured.Pack()}});
  return {{"key", plan_.key.Pack()},
          {"rules", PackRules(plan_.rules)},
          {"predictors", std::move(predictors)},
          {"outcomes", std::move(outcomes)},
          {"missingCodes", plan_.missingCodes},
          {"missingTexts", plan_.missingTexts},
          {"folds", plan_.folds},
          {"counted", plan_.counted}};
}

Packed SumsRun::Pack() const {
  Packed sums = Packed::array();
  for (const PairSums& one : sums_) sums.push_back(one.Pack());
  return {{"state", kSumsKind}, {"plan", PackPlan()}, {"sums", std::move(sums)}};
}

std::unique_ptr<SumsRun> SumsRun::Unpack(const Packed& packed) {
  const Packed& from = Member(packed, "plan");
  Plan plan;
  plan.key = PartRunKey::Unpack(Member(from, "key"));
  plan.rules = UnpackRules(Member(from, "rules"));
  plan.missingCodes = Get<std::vector<std::string>>(from, "missingCodes");
  plan.missingTexts = Get<std::vector<std::string>>(from, "missingTexts");
  plan.folds = Get<std::uint32_t>(from, "folds");
  plan.counted = Get<std::vector<std::uint8_t>>(from, "counted");
  for (const Packed& one : Member(from, "predictors")) plan.predictors.push_back(Grouping::Unpack(one));
  for (const Packed& one : Member(from, "outcomes")) {
    plan.outcomes.push_back(
        {Grouping::Unpack(Member(one, "classes")), states::MeasuredOutcome::Unpack(Member(one, "measured"))});
  }
  const Packed& sums = Member(packed, "sums");
  const std::size_t pairs = plan.predictors.size() * plan.outcomes.size();
  if (plan.counted.size() != pairs || !sums.is_array() || sums.size() != pairs) states::FailDamaged();
  auto run = std::make_unique<SumsRun>(std::move(plan));
  run->MergePacked(packed);
  return run;
}

void SumsRun::MergePacked(const Packed& packed) {
  if (Get<std::string>(packed, "state") != kSumsKind || Member(packed, "plan") != PackPlan())
    throw DataError("The states belong to different runs.");
  const Packed& sums = Member(packed, "sums");
  if (!sums.is_array() || sums.size() != sums_.size()) states::FailDamaged();
  for (std::size_t i = 0; i < sums_.size(); ++i) sums_[i].Merge(PairSums::Unpack(sums[i]));
}

std::string SumsRun::SecondPass() const { throw UsageError("The state is one of the second pass already."); }

std::unique_ptr<FinishedRun> SumsRun::Finish(const PartRun& /*sums*/,
                                             const std::string& /*moduleWord*/) const {
  throw UsageError("Results are made from the state of the first pass and that of the second.");
}

}  // namespace velmora
