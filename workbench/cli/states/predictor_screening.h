// Screening of one predictor of data in parts: the search for bins, their labels and figures.
#pragma once

#include <utility>
#include <vector>

#include "workbench/binning/assess_bins.h"
#include "workbench/cli/states/predictor_sums.h"
#include "workbench/procedures/shared_data.h"
#include "workbench/report/screen_report.h"
#include "workbench/states/variable_survey.h"

namespace velmora {

// Lowest and highest value of each group of a predictor; of a level its code twice.
using GroupEnds = std::vector<std::pair<double, double>>;

class PredictorScreening {
 public:
  // Keeps references to its arguments. unit: see PredictorSums.
  PredictorScreening(const ResponseCounts& response, const states::PairSums& sums, const BinningPlan& plan,
                     const binning::BinningRules& rules, const states::VariableSurvey& survey, double unit)
      : sums_(response, sums, unit), plan_(plan), rules_(rules), survey_(survey), unit_(unit) {}

  // Throws DataError with the reason why it has no bins. number: of the variable; column: its
  // representative.
  ScreenedPredictor Screen(int number, const Column& column, bool categorical, const GroupEnds& ends);

  // Adds the counts of each pre-bin and level, for editing by hand.
  void AddCounts(const ScreenedPredictor& predictor, SavedPredictor& saved) const;

 private:
  const ResponseCounts& Response() const { return sums_.Response(); }
  void FindBins(bool categorical);
  void MakeBins(bool categorical, const Column& column);
  std::vector<std::string> MakeLevels(const Column& column);
  std::vector<std::string> MakeIntervals();
  void PlaceMissingCases(std::vector<std::string>& labels);
  int BinOf(std::uint32_t group) const;
  void CountCases();
  void FillFigures();
  void FillClasses();
  void FillMeasured();
  double GiniOfValues() const;

  PredictorSums sums_;
  const BinningPlan& plan_;
  binning::BinningRules rules_;
  const states::VariableSurvey& survey_;
  double unit_;
  binning::SearchedPredictor searched_;
  binning::OptimalBins found_;
  ScreenedPredictor predictor_;
};

}  // namespace velmora
