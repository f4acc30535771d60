// The second pass over data in parts: the cases of each predictor and outcome are counted.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "workbench/cli/states/part_run_key.h"
#include "workbench/states/pair_sums.h"

namespace velmora {

class SumsRun final : public PartRun {
 public:
  struct Outcome {
    states::Grouping classes;  // without a variable: the outcome is measured
    states::MeasuredOutcome measured;
    bool IsMeasured() const { return classes.variable.empty(); }
  };
  struct Plan {
    PartRunKey key;
    states::CaseRules rules;
    std::vector<states::Grouping> predictors;
    std::vector<Outcome> outcomes;
    std::vector<std::string> missingCodes, missingTexts;  // of DataOptions
    double rows = 0;                                      // of the first pass
    std::uint32_t folds = 0;                              // of measured outcomes
    // By predictor x outcome; 0: too many cells.
    std::vector<std::uint8_t> counted;

    // To be called after all outcomes have been added.
    void AddPredictor(states::Grouping groups);
    // Whether the other plan was made from a first pass over the same number of cases, with the
    // same numbers of groups and classes.
    bool CountsAs(const Plan& other) const;
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

}  // namespace velmora
