// The first pass over data in parts, and what both analyses share of the second.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "workbench/cli/options.h"
#include "workbench/cli/states/part_run.h"
#include "workbench/ranking/case_groups.h"
#include "workbench/states/pair_sums.h"
#include "workbench/states/variable_survey.h"

namespace velmora {

// What identifies a run: states of different ones do not merge.
struct PartRunKey {
  std::string analysis;
  std::vector<std::string> words;
  PartSettings settings;

  states::Packed Pack() const;
  static PartRunKey Unpack(const states::Packed& packed);
};

// A run of distinct values that are equal within the tolerance, or a cell of many.
struct SurveyedValue {
  double low = 0, high = 0, cases = 0, mass = 0;
};
// Of the used cases, ascending.
std::vector<SurveyedValue> ValuesOf(const states::VariableSurvey& survey);

// The groups of a variable: its levels, or its intervals. massFactor: what weights are multiplied by to have their
// mean 1.
states::Grouping LevelsOf(const states::VariableSurvey& survey);
states::Grouping IntervalsOf(const states::VariableSurvey& survey, const ranking::IntervalRule& rule,
                             double massFactor);

class SurveyRun : public PartRun {
 public:
  void Take(Table part) final;
  std::vector<std::string> MissingTexts() const final { return SplitList(data_.missingTexts); }

 protected:
  SurveyRun(PartRunKey key, states::CaseRules rules, DataOptions data);

  states::Packed Pack() const final;
  void MergePacked(const states::Packed& packed) final;

  const PartRunKey& Key() const { return key_; }
  const states::CaseRules& Rules() const { return rules_; }
  const states::CaseTotals& Totals() const { return totals_; }
  const states::VariableSurvey& Survey(int variableNumber) const {
    return surveys_[static_cast<std::size_t>(variableNumber - 1)];
  }
  // Weights are taken relative to their mean.
  double MassFactor() const { return rules_.weight.empty() ? 1 : totals_.frequency / totals_.weight; }
  // A table that has every used value of each variable once, with measurements and roles of all cases: options choose
  // variables from it as from the data. Throws RunError when no case is used.
  Table Representatives() const;
  // The variables whose intervals come from cells of more than one value, as a sentence; empty when there are none.
  std::string PrecisionNotice(const std::vector<int>& variables) const;

 private:
  void TakeCounted(const Table& part, const states::PartCases& cases);

  PartRunKey key_;
  states::CaseRules rules_;
  DataOptions data_;
  states::CaseTotals totals_;
  std::vector<states::VariableSurvey> surveys_;
};

// The second pass: sums of every predictor and outcome.
class SumsRun final : public PartRun {
 public:
  struct Outcome {
    states::Grouping classes;  // no variable: it is measured
    states::MeasuredOutcome measured;
    bool IsMeasured() const { return classes.variable.empty(); }
  };
  struct Plan {
    PartRunKey key;
    states::CaseRules rules;
    std::vector<states::Grouping> predictors;
    std::vector<Outcome> outcomes;
    std::vector<std::string> missingCodes, missingTexts;  // of DataOptions
    std::uint32_t folds = 0;                              // of measured outcomes
    std::vector<std::uint8_t> counted;                    // by predictor x outcome; 0: too many cells
  };

  explicit SumsRun(Plan plan);
  static std::unique_ptr<SumsRun> Unpack(const states::Packed& packed);

  void Take(Table part) override;
  std::string SecondPass() const override;
  std::unique_ptr<FinishedRun> Finish(const PartRun& sums, const std::string& moduleWord) const override;
  std::vector<std::string> MissingTexts() const override { return plan_.missingTexts; }

  const Plan& ThePlan() const { return plan_; }
  const states::PairSums& Sums(std::size_t predictor, std::size_t outcome) const {
    return sums_[predictor * plan_.outcomes.size() + outcome];
  }

 protected:
  states::Packed Pack() const override;
  void MergePacked(const states::Packed& packed) override;

 private:
  states::Packed PackPlan() const;
  states::OutcomePart PartOf(const Outcome& outcome, const Table& table,
                             const states::PartCases& cases) const;

  Plan plan_;
  std::vector<states::PairSums> sums_;
};

// Applies the codes for missing values to a part.
void PreparePart(Table& part, const std::vector<std::string>& missingCodes);

std::unique_ptr<PartRun> StartRankingSurvey(const PartRunKey& key);
std::unique_ptr<PartRun> StartScreeningSurvey(const PartRunKey& key);

}  // namespace velmora
