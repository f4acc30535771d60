// The first pass over data in parts: a survey of every variable.
#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "workbench/cli/options.h"
#include "workbench/cli/states/part_run_key.h"
#include "workbench/cli/states/sums_run.h"
#include "workbench/states/variable_survey.h"

namespace velmora {

// count: variables that have more than cells values; error: the largest share of the cases in a cell.
std::string PrecisionSentence(std::size_t count, std::size_t cells, double error);

class SurveyRun : public PartRun {
 public:
  void Take(Table part) final;
  // To be called before any part when a database has counted the cases: the columns of its table,
  // in order, and the totals of the cases.
  void StartCounted(const std::vector<std::string>& columns, const states::CaseTotals& totals);
  std::string SecondPass() const final;
  std::unique_ptr<FinishedRun> Finish(const PartRun& sums, const std::string& moduleWord) const final;
  std::vector<std::string> MissingTexts() const final { return SplitList(data_.missingTexts); }
  const states::CaseRules& Rules() const { return rules_; }
  const DataOptions& Data() const { return data_; }

 protected:
  SurveyRun(PartRunKey key, states::CaseRules rules, DataOptions data);

  states::Packed Pack() const final;
  void MergePacked(const states::Packed& packed) final;

  const PartRunKey& Key() const { return key_; }
  const states::CaseTotals& Totals() const { return totals_; }
  const states::VariableSurvey& Survey(int variableNumber) const {
    return surveys_[static_cast<std::size_t>(variableNumber - 1)];
  }
  // Weights are taken relative to their mean.
  double MassFactor() const { return rules_.weight.empty() ? 1 : totals_.frequency / totals_.weight; }
  // Whether it has too many levels, or values, to count the cases of each.
  bool IsUncounted(int variableNumber) const {
    return Survey(variableNumber).HasTooManyLevels() || !Survey(variableNumber).Cells().IsExact();
  }
  // The variables whose intervals come from cells of more than one value, as a sentence; empty when
  // there are none.
  std::string PrecisionNotice(const std::vector<int>& variables) const;

 private:
  // table: has every used value of each variable once, with measurements and roles of all cases:
  // options choose variables from it as from the data.
  virtual void PlanSums(const Table& table, SumsRun::Plan& plan) const = 0;
  virtual std::unique_ptr<FinishedRun> FinishRun(Table table, const SumsRun& sums,
                                                 const std::vector<std::string>& words) const = 0;

  Table Representatives() const;
  SumsRun::Plan PlanFor(const Table& table) const;
  void TakeCounted(const Table& part, const states::PartCases& cases);

  PartRunKey key_;
  states::CaseRules rules_;
  DataOptions data_;
  states::CaseTotals totals_;
  std::vector<states::VariableSurvey> surveys_;
};

}  // namespace velmora
