#include "workbench/cli/states/sums_run.h"

#include <algorithm>
#include <bit>

#include "base/fnv_hash.h"
#include "base/split_mix.h"
#include "workbench/cli/exit_codes.h"
#include "workbench/data/absent_value.h"

namespace velmora {

using states::CaseRules;
using states::Get;
using states::Grouping;
using states::Member;
using states::Packed;
using states::PairSums;
using states::PartCases;

namespace {

constexpr std::uint32_t kMostFolds = 255;  // a byte per case

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

// A fold for every case by its content, so that it does not matter which part the case is in.
std::vector<std::uint8_t> FoldsOf(const Table& table, std::uint32_t folds) {
  std::vector<std::uint64_t> bits(static_cast<std::size_t>(table.caseCount), vlm::kSplitMixStep);
  for (const Column& column : table.columns) {
    std::vector<std::uint64_t> ofLabel;
    for (const ValueLabel& label : column.labels) ofLabel.push_back(vlm::FnvHash(label.text));
    for (std::size_t i = 0; i < bits.size(); ++i) {
      const double value = column.values[i];
      const bool isText = column.fromText && !IsAbsent(column, i);
      const std::uint64_t its =
          isText ? ofLabel[static_cast<std::size_t>(value) - 1] : std::bit_cast<std::uint64_t>(value + 0.0);
      bits[i] = vlm::RandomBits(bits[i]) ^ its;
    }
  }
  std::vector<std::uint8_t> foldOf;
  for (const std::uint64_t b : bits) foldOf.push_back(static_cast<std::uint8_t>(vlm::MixBits(b) % folds));
  return foldOf;
}

// A table of more cells is not kept, so that states stay small.
constexpr double kMostCells = 4e6;

bool HasSameGroups(const Grouping& a, const Grouping& b) {
  return a.variable == b.variable && a.isText == b.isText && a.Count() == b.Count();
}

}  // namespace

void SumsRun::Plan::AddPredictor(Grouping groups) {
  for (const Outcome& outcome : outcomes) {
    const double columns = outcome.IsMeasured() ? 1 : outcome.classes.Count();
    counted.push_back((groups.Count() + 1.0) * columns <= kMostCells ? 1 : 0);
  }
  predictors.push_back(std::move(groups));
}

bool SumsRun::Plan::CountsAs(const Plan& other) const {
  return key.Pack() == other.key.Pack() && rows == other.rows &&
         std::equal(predictors.begin(), predictors.end(), other.predictors.begin(), other.predictors.end(),
                    HasSameGroups) &&
         std::equal(outcomes.begin(), outcomes.end(), other.outcomes.begin(), other.outcomes.end(),
                    [](const Outcome& a, const Outcome& b) {
                      return a.measured.variable == b.measured.variable &&
                             HasSameGroups(a.classes, b.classes);
                    });
}

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
    if (cases.used[i] == 0 || IsAbsent(column, i) || !outcome.measured.finite) continue;
    part.classOf[i] = 0;
    part.values[i] = outcome.measured.Scaled(column.values[i]);
  }
  if (plan_.folds > 0) part.folds = FoldsOf(table, plan_.folds);
  return part;
}

void SumsRun::Take(Table part) {
  const bool isCounted = !plan_.rules.cases.empty();
  if (!isCounted) PreparePart(part, plan_.missingCodes);
  const PartCases cases = states::CollectCases(part, plan_.rules);
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
          {"rows", plan_.rows},
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
  plan.rows = Get<double>(from, "rows");
  plan.folds = Get<std::uint32_t>(from, "folds");
  plan.counted = Get<std::vector<std::uint8_t>>(from, "counted");
  for (const Packed& one : Member(from, "predictors")) plan.predictors.push_back(Grouping::Unpack(one));
  for (const Packed& one : Member(from, "outcomes")) {
    plan.outcomes.push_back(
        {Grouping::Unpack(Member(one, "classes")), states::MeasuredOutcome::Unpack(Member(one, "measured"))});
  }
  const Packed& sums = Member(packed, "sums");
  const std::size_t pairs = plan.predictors.size() * plan.outcomes.size();
  if (plan.counted.size() != pairs || !sums.is_array() || sums.size() != pairs || plan.folds > kMostFolds)
    states::FailDamaged();
  for (std::size_t i = 0; i < pairs; ++i) {
    // Checked before anything of the size that the plan asks for is allocated.
    const PairSums one = PairSums::Unpack(sums[i]);
    const Outcome& outcome = plan.outcomes[i % plan.outcomes.size()];
    const std::uint32_t groups = plan.counted[i] != 0 ? plan.predictors[i / plan.outcomes.size()].Count() : 0;
    if (one.Groups() != groups || one.Classes() != (outcome.IsMeasured() ? 0 : outcome.classes.Count()))
      states::FailDamaged();
  }
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
