#include "workbench/cli/states/predictor_screening.h"

#include <algorithm>
#include <tuple>

#include "base/distinct_labels.h"
#include "base/number_text.h"
#include "workbench/cli/states/bin_figures.h"
#include "workbench/documents/texts.h"

namespace velmora {
namespace {

using Cell = states::PairSums::Cell;

constexpr double vlm::ScreeningPredictor::*kFigures[] = {&vlm::ScreeningPredictor::badShare,
                                                         &vlm::ScreeningPredictor::goodShare,
                                                         &vlm::ScreeningPredictor::informationValue,
                                                         &vlm::ScreeningPredictor::giniBefore,
                                                         &vlm::ScreeningPredictor::giniAfter,
                                                         &vlm::ScreeningPredictor::chiSquare,
                                                         &vlm::ScreeningPredictor::chiSquareP,
                                                         &vlm::ScreeningPredictor::cramersV,
                                                         &vlm::ScreeningPredictor::rSquared,
                                                         &vlm::ScreeningPredictor::fStatistic,
                                                         &vlm::ScreeningPredictor::rSquaredRanks,
                                                         &vlm::ScreeningPredictor::totalSumOfSquares,
                                                         &vlm::ScreeningPredictor::mean,
                                                         &vlm::ScreeningPredictor::standardDeviation,
                                                         &vlm::ScreeningPredictor::quartileRange,
                                                         &vlm::ScreeningPredictor::heldOutInformationValue,
                                                         &vlm::ScreeningPredictor::heldOutGini,
                                                         &vlm::ScreeningPredictor::heldOutExplained};

std::string LevelList(const std::vector<std::string>& texts) {
  constexpr std::size_t kMostListed = 30, kListedOfMany = 3;
  const std::size_t listed = texts.size() > kMostListed ? kListedOfMany : texts.size();
  std::string list;
  for (std::size_t i = 0; i < listed; ++i) list += (i == 0 ? "" : ", ") + texts[i];
  if (listed < texts.size()) list += " and " + std::to_string(texts.size() - listed) + " more";
  return list;
}

ScreenedPredictor NoFigures(int number, const std::string& name, bool categorical) {
  ScreenedPredictor predictor;
  predictor.name = name;
  for (double vlm::ScreeningPredictor::*figure : kFigures) predictor.figures.*figure = kMissing;
  predictor.figures.predictorNumber = number;
  predictor.figures.categorical = categorical ? 1 : 0;
  predictor.figures.missingBin = -1;
  predictor.searched = true;
  return predictor;
}

}  // namespace

ScreenedPredictor PredictorScreening::Screen(int number, const Column& column, bool categorical,
                                             const GroupEnds& ends) {
  predictor_ = NoFigures(number, column.name, categorical);
  searched_.values = sums_.Values();
  for (std::size_t g = 0; g < ends.size(); ++g)
    std::tie(searched_.values.first[g], searched_.values.last[g]) = ends[g];
  binning::PreBins missing = sums_.Missing();
  const bool anyMissing = missing.sums.cases[0] > 0;
  searched_.missingPlace = static_cast<vlm::MissingBin>(plan_.screening.missingBin);
  const bool missingHasBin = anyMissing && searched_.missingPlace != vlm::kMissingLeftOut;
  if (searched_.values.Count() == 0) throw DataError("It has no value in the cases used.");
  if (searched_.values.Count() == 1 && !missingHasBin) throw DataError("It has one value in the cases used.");
  sums_.DealFolds(searched_.values, missing);
  // Shapes are those of the rate of bad cases, the first class of a binary response here.
  if (Response().kind == vlm::kCategoricalResponse) {
    binning::SwapTwoClasses(searched_.values);
    binning::SwapTwoClasses(missing);
  }
  if (anyMissing) searched_.missing = std::move(missing);
  searched_.selectionCost = binning::SelectionCost(rules_);
  FindBins(categorical);
  MakeBins(categorical, column);
  CountCases();
  FillFigures();
  return std::move(predictor_);
}

void PredictorScreening::AddCounts(const ScreenedPredictor& predictor, SavedPredictor& saved) const {
  const std::size_t size = sums_.CountsOf(sums_.Groups()).size();
  for (SavedBin& bin : saved.bins) bin.counts.assign(size, 0);
  for (std::uint32_t g = 0; g < sums_.Groups(); ++g) {
    const SavedCounts counts = sums_.CountsOf(g);
    Add(counts, saved.bins[static_cast<std::size_t>(found_.binOf[g])].counts);
    if (saved.categorical) {
      if (g < saved.levels.size()) saved.levels[g].counts = counts;
    } else if (sums_.Groups() <= kMostPreBins) {
      saved.preBins.push_back({searched_.values.first[g], searched_.values.last[g], counts});
    }
  }
  if (!searched_.missing) return;
  saved.missingCounts = sums_.CountsOf(sums_.Groups());
  if (predictor.figures.missingBin >= 0)
    Add(saved.missingCounts, saved.bins[static_cast<std::size_t>(predictor.figures.missingBin)].counts);
}

void PredictorScreening::FindBins(bool categorical) {
  const auto find = [&](const binning::PreBinSums& sums) {
    return categorical ? binning::FindLevelBins(sums, rules_) : binning::FindOrderedBins(sums, rules_);
  };
  found_ = find(searched_.values.sums);
  const binning::Assessment assessment = binning::AssessBins(
      searched_, found_.binOf, [&](const binning::PreBinSums& sums) { return find(sums).binOf; });
  const binning::Validation& validation = assessment.validation;
  vlm::ScreeningPredictor& figures = predictor_.figures;
  figures.mergedGreedily = found_.greedy ? 1 : 0;
  figures.shape = binning::ShapeNumber(found_.shape);
  figures.noBetterThanChance = assessment.noBetterThanChance ? 1 : 0;
  figures.heldOutExplained = validation.explained;
  predictor_.heldOutInterval = Response().kind == vlm::kBinaryResponse ? validation.informationValueInterval
                                                                       : validation.explainedInterval;
  if (!Response().IsMeasured() && Response().columns == 2) {
    figures.heldOutInformationValue = validation.informationValue;
    figures.heldOutGini = validation.gini;
  }
}

void PredictorScreening::MakeBins(bool categorical, const Column& column) {
  predictor_.figures.binCount = found_.count;
  std::vector<std::string> labels = vlm::DistinctLabels(categorical ? MakeLevels(column) : MakeIntervals());
  predictor_.figures.cutPointCount = static_cast<int>(predictor_.cutPoints.size());
  if (searched_.missing && searched_.missingPlace != vlm::kMissingLeftOut) PlaceMissingCases(labels);
  for (const std::string& label : labels) {
    ScreenedBin& bin = predictor_.bins.emplace_back();
    bin.label = label;
    bin.figures = NoBinFigures();
  }
}

// Returns the labels of the bins.
std::vector<std::string> PredictorScreening::MakeLevels(const Column& column) {
  std::vector<std::vector<std::string>> texts(static_cast<std::size_t>(found_.count));
  for (std::size_t g = 0; g < searched_.values.Count(); ++g) {
    const double code = searched_.values.first[g];
    const std::string* const text = column.LabelOf(code);
    predictor_.levels.push_back({code, text != nullptr ? *text : ShortestNumber(code), found_.binOf[g]});
    texts[static_cast<std::size_t>(found_.binOf[g])].push_back(CodeTextOf(column, code));
  }
  std::vector<std::string> labels;
  for (const std::vector<std::string>& ofBin : texts) labels.push_back(LevelList(ofBin));
  return labels;
}

// Returns the labels of the bins.
std::vector<std::string> PredictorScreening::MakeIntervals() {
  const binning::PreBins& values = searched_.values;
  for (std::size_t g = 1; g < values.Count(); ++g) {
    if (found_.binOf[g] != found_.binOf[g - 1])
      predictor_.cutPoints.push_back(binning::CutBetween(values.last[g - 1], values.first[g]));
  }
  std::vector<std::string> bounds = vlm::FormatDistinct(predictor_.cutPoints), labels;
  bounds.insert(bounds.begin(), "-Inf");
  for (std::size_t i = 0; i + 1 < bounds.size(); ++i)
    labels.push_back("(" + bounds[i] + ", " + bounds[i + 1] + "]");
  labels.push_back("(" + bounds.back() + ", Inf)");
  return labels;
}

void PredictorScreening::PlaceMissingCases(std::vector<std::string>& labels) {
  const binning::PreBinSums bins =
      binning::SumBins(searched_.values.sums, found_.binOf, static_cast<std::size_t>(found_.count));
  vlm::ScreeningPredictor& figures = predictor_.figures;
  figures.missingBin = binning::PlaceOfMissing(searched_.missingPlace, bins, searched_.missing->sums);
  predictor_.missingHasOwnBin = figures.missingBin == found_.count;
  if (!predictor_.missingHasOwnBin) return;
  std::string label = "Missing";
  while (std::find(labels.begin(), labels.end(), label) != labels.end()) label = "(" + label + ")";
  labels.push_back(label);
  ++figures.binCount;
}

// The bin of a group, the last one being that of missing cases; -1: in none.
int PredictorScreening::BinOf(std::uint32_t group) const {
  return group < sums_.Groups() ? found_.binOf[group] : predictor_.figures.missingBin;
}

void PredictorScreening::CountCases() {
  for (std::uint32_t g = 0; g <= sums_.Groups(); ++g) {
    std::int64_t& count = g < sums_.Groups() ? predictor_.cases : predictor_.missing;
    for (std::size_t c = 0; c < Response().columns; ++c)
      count += static_cast<std::int64_t>(sums_.At(g, c).cases);
  }
}

void PredictorScreening::FillFigures() {
  FillValueFigures(survey_, unit_, predictor_.figures);
  predictor_.total.label = "All";
  predictor_.total.figures = NoBinFigures();
  if (Response().IsMeasured()) {
    FillMeasured();
  } else {
    FillClasses();
  }
}

void PredictorScreening::FillClasses() {
  std::vector<double> total(Response().columns);
  std::vector<std::vector<double>> counts(predictor_.bins.size(), total);
  for (std::uint32_t g = 0; g <= sums_.Groups(); ++g) {
    if (BinOf(g) < 0) continue;
    std::vector<double>& ofBin = counts[static_cast<std::size_t>(BinOf(g))];
    for (std::size_t c = 0; c < total.size(); ++c) ofBin[c] += sums_.At(g, c).weight;
  }
  for (const std::vector<double>& ofBin : counts) Add(ofBin, total);
  if (std::count_if(total.begin(), total.end(), [](double count) { return count > 0; }) < 2)
    throw DataError("The response has one value in the cases used.");
  FillAssociation(counts, total, predictor_.figures);
  const bool isBinary = Response().kind == vlm::kBinaryResponse;
  const auto fill = [&](const std::vector<double>& of, ScreenedBin& bin) {
    bin.counts = of;
    bin.figures.total = Sum(of);
    if (isBinary) FillBinaryBin(of, total, plan_.screening.correctPureBins != 0, bin.figures);
  };
  for (std::size_t bin = 0; bin < counts.size(); ++bin) fill(counts[bin], predictor_.bins[bin]);
  fill(total, predictor_.total);
  if (!isBinary) return;
  FillBinaryFigures(predictor_.bins, total, predictor_.figures);
  predictor_.figures.giniBefore = GiniOfValues();
  predictor_.total.figures.informationValue = predictor_.figures.informationValue;
}

void PredictorScreening::FillMeasured() {
  BinCells cells(predictor_.bins.size());
  for (std::uint32_t g = 0; g <= sums_.Groups(); ++g) {
    if (BinOf(g) >= 0) cells[static_cast<std::size_t>(BinOf(g))].Merge(sums_.At(g, 0));
  }
  Cell all;
  for (const Cell& cell : cells) all.Merge(cell);
  const states::MeasuredOutcome& measured = Response().measured;
  for (std::size_t bin = 0; bin < cells.size(); ++bin)
    FillMeasuredBin(cells[bin], measured, predictor_.bins[bin].figures);
  FillMeasuredBin(all, measured, predictor_.total.figures);
  if (!(all.deviations > 0)) throw DataError("The response has one value in the cases used.");
  FillMeasuredFigures(cells, all, measured, predictor_.figures);
}

// Gini index before binning, where every group is one value and missing ones are another: by cases
// of a continuous predictor, by their weights of a categorical one. Missing where a group holds
// several values.
double PredictorScreening::GiniOfValues() const {
  const bool byWeight = predictor_.figures.categorical != 0;
  double all = 0, sum = 0;
  for (std::uint32_t g = 0; g <= sums_.Groups(); ++g) {
    const Cell badCell = sums_.At(g, 0), goodCell = sums_.At(g, 1);
    const double bad = byWeight ? badCell.weight : badCell.cases,
                 good = byWeight ? goodCell.weight : goodCell.cases;
    const bool isValue = g < sums_.Groups();
    if (isValue && searched_.values.first[g] != searched_.values.last[g]) return kMissing;
    if (!isValue && BinOf(g) < 0) continue;
    all += bad + good;
    if (bad + good > 0) sum += 2 * bad * good / (bad + good);
  }
  return all > 0 ? sum / all : kMissing;
}

}  // namespace velmora
