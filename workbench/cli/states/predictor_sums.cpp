#include "workbench/cli/states/predictor_sums.h"

#include "workbench/binning/deal_folds.h"

namespace velmora {

using binning::PreBins;
using binning::PreBinSums;
using Cell = states::PairSums::Cell;

Cell PredictorSums::At(std::uint32_t group, std::size_t column, std::uint32_t fold) const {
  Cell cell = sums_.At(group, response_.IsMeasured() ? 0 : response_.columnOf[column], fold);
  cell.weight /= unit_;
  cell.deviations /= unit_;
  cell.squares /= unit_ * unit_;
  return cell;
}

SavedCounts PredictorSums::CountsOf(std::uint32_t group) const {
  SavedCounts counts;
  if (!response_.IsMeasured()) {
    for (std::size_t c = 0; c < response_.columns; ++c) counts.push_back(At(group, c).weight);
    return counts;
  }
  const Cell cell = At(group, 0);
  const double mean = response_.measured.Unscaled(cell.mean);
  return {cell.weight, cell.weight * mean,
          cell.deviations * response_.measured.SquareUnit() + cell.weight * mean * mean};
}

PreBinSums PredictorSums::SumsOf(std::uint32_t begin, std::uint32_t end, std::uint32_t fold) const {
  const bool isMeasured = response_.IsMeasured();
  PreBinSums sums;
  sums.classCount = isMeasured ? 0 : static_cast<int>(response_.columns);
  for (std::uint32_t g = begin; g < end; ++g) {
    double cases = 0;
    for (std::size_t c = 0; c < response_.columns; ++c) {
      const Cell cell = At(g, c, fold);
      cases += cell.cases;
      sums.values.push_back(cell.weight);
      sums.squaredWeights += cell.squares;
      if (!isMeasured) continue;
      sums.values.push_back(cell.weight * cell.mean);
      sums.values.push_back(cell.deviations + cell.weight * cell.mean * cell.mean);
    }
    sums.cases.push_back(cases);
  }
  return sums;
}

PreBins PredictorSums::PreBinsOf(std::uint32_t begin, std::uint32_t end) const {
  PreBins bins;
  bins.first.resize(end - begin);
  bins.last.resize(end - begin);
  bins.sums = SumsOf(begin, end, states::kNoGroup);
  for (std::uint32_t fold = 0; response_.IsMeasured() && fold < binning::kFoldCount; ++fold)
    bins.folds.push_back(SumsOf(begin, end, fold));
  return bins;
}

void PredictorSums::DealFolds(PreBins& values, PreBins& missing) const {
  if (response_.IsMeasured()) return;
  std::vector<std::vector<double>> cases;
  for (std::uint32_t g = 0; g <= Groups(); ++g) {
    std::vector<double>& of = cases.emplace_back();
    for (std::size_t c = 0; c < response_.columns; ++c) of.push_back(At(g, c).cases);
  }
  PreBins* const all[] = {&values, &missing};
  binning::DealFolds(all, cases);
}

}  // namespace velmora
