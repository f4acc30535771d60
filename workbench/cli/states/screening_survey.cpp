// Screening of data in parts: the pre-bins that the second pass counts, and bins with their figures from the sums.
#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <memory>

#include "base/distinct_labels.h"
#include "base/number_text.h"
#include "workbench/binning/assess_bins.h"
#include "workbench/binning/deal_folds.h"
#include "workbench/cli/data_input.h"
#include "workbench/cli/exit_codes.h"
#include "workbench/cli/module_path.h"
#include "workbench/cli/screen/screen_command.h"
#include "workbench/cli/screen/screen_save.h"
#include "workbench/cli/states/survey_run.h"
#include "workbench/data/measurement.h"
#include "workbench/documents/terminal_text.h"
#include "workbench/documents/texts.h"
#include "workbench/procedures/shared_data.h"
#include "workbench/stats/distributions.h"

namespace velmora {
namespace {

using binning::PreBins;
using Cell = states::PairSums::Cell;

constexpr double kMostCells = 4e6;

// What screening needs of one response.
struct ResponseCounts {
  vlm::ResponseKind kind = vlm::kBinaryResponse;
  std::size_t columns = 1;              // classes; 1 of a measured response
  std::vector<std::uint32_t> columnOf;  // of each class in the sums; binary: bad, good
  states::MeasuredOutcome measured;
  bool IsMeasured() const { return kind == vlm::kContinuousResponse; }
};

// --- Figures of bins
double Sum(const std::vector<double>& values) {
  double sum = 0;
  for (const double value : values) sum += value;
  return sum;
}

// As tables print it: totals enter weights of evidence with six digits.
double SixDigits(double value) { return std::strtod(vlm::FormatGeneral(value).c_str(), nullptr); }

double Ratio(double a, double b) { return b != 0 ? a / b : kMissing; }

void FillBinaryBin(const std::vector<double>& counts, const std::vector<double>& total, bool corrects,
                   vlm::ScreeningBin& bin) {
  const double bad = counts[0], good = counts[1], all = total[0] + total[1];
  const double allBad = SixDigits(total[0]), allGood = SixDigits(total[1]);
  bin.bad = bad;
  bin.good = good;
  bin.percentValidN = Ratio(100 * (bad + good), std::round(all));
  bin.badRateRow = Ratio(bad, bad + good);
  bin.badRateColumn = Ratio(bad, allBad);
  bin.goodRateColumn = Ratio(good, allGood);
  const bool isPure = !(bad > 0) || !(good > 0);
  const double half = isPure && corrects ? 0.5 : 0;
  bin.woe =
      isPure && !corrects ? kMissing : 100 * std::log(((good + half) / allGood) / ((bad + half) / allBad));
  bin.gini = bad + good > 0 ? 2.0 * (good / (bad + good)) * (1 - good / (good + bad)) : kMissing;
  bin.odds = Ratio(good, bad);
  bin.informationValue = bin.woe == kMissing ? kMissing : (good / allGood - bad / allBad) * 0.01 * bin.woe;
}

void FillMeasuredBin(const Cell& cell, const states::MeasuredOutcome& measured, vlm::ScreeningBin& bin) {
  bin.total = cell.weight;
  bin.mean = cell.weight > 0 ? measured.Unscaled(cell.mean) : kMissing;
  const double df = cell.weight - 1;
  bin.variance = df > 0 ? cell.deviations * measured.SquareUnit() / df : kMissing;
  bin.sumOfSquares = df > 0 ? df * bin.variance : kMissing;
}

vlm::ScreeningBin NoFigures() {
  return {0,        kMissing, kMissing, kMissing, kMissing, kMissing, kMissing, kMissing,
          kMissing, kMissing, kMissing, kMissing, kMissing, kMissing, kMissing};
}

// --- One predictor
class PredictorScreening {
 public:
  // values: of the predictor, as many as sums has groups when it is categorical.
  PredictorScreening(const ResponseCounts& response, const states::PairSums& sums, const BinningPlan& plan,
                     const binning::BinningRules& rules, const states::VariableSurvey& survey, double unit)
      : response_(response), sums_(sums), plan_(plan), rules_(rules), survey_(survey), unit_(unit) {}

  // Throws DataError with the reason why it has no bins. number: of the variable; column: its representative.
  ScreenedPredictor Screen(int number, const Column& column, bool categorical,
                           const std::vector<std::pair<double, double>>& ends) {
    predictor_ = {};
    predictor_.name = column.name;
    vlm::ScreeningPredictor& figures = predictor_.figures;
    for (double vlm::ScreeningPredictor::*figure : kFigures) figures.*figure = kMissing;
    figures.predictorNumber = number;
    figures.categorical = categorical ? 1 : 0;
    figures.missingBin = -1;
    searched_.values = Groups(0, sums_.Groups());
    searched_.values.first.clear();
    searched_.values.last.clear();
    for (const auto& [low, high] : ends) {
      searched_.values.first.push_back(low);
      searched_.values.last.push_back(high);
    }
    PreBins missing = Groups(sums_.Groups(), sums_.Groups() + 1);
    const bool anyMissing = missing.sums.cases[0] > 0;
    searched_.missingPlace = static_cast<vlm::MissingBin>(plan_.screening.missingBin);
    const bool missingHasBin = anyMissing && searched_.missingPlace != vlm::kMissingLeftOut;
    if (searched_.values.Count() == 0) throw DataError("It has no value in the cases used.");
    if (searched_.values.Count() == 1 && !missingHasBin)
      throw DataError("It has one value in the cases used.");
    AddFolds(missing);
    // The search takes the rate of the first class, which of a binary response is that of bad cases.
    const bool swaps = response_.kind == vlm::kCategoricalResponse;
    if (swaps) binning::SwapTwoClasses(searched_.values);
    if (swaps) binning::SwapTwoClasses(missing);
    if (anyMissing) searched_.missing = std::move(missing);
    const binning::OptimalBins found = Find(categorical);
    figures.binCount = found.count;
    FillBins(found, categorical, column, missingHasBin);
    FillFigures();
    return std::move(predictor_);
  }

  // Counts of each pre-bin and level, for editing by hand.
  void AddCounts(const ScreenedPredictor& predictor, SavedPredictor& saved) const {
    for (SavedBin& bin : saved.bins) bin.counts.assign(CountSize(), 0);
    for (std::uint32_t g = 0; g < sums_.Groups(); ++g) {
      const auto bin = static_cast<std::size_t>(binOf_[g]);
      const SavedCounts counts = CountsOf(g);
      Add(counts, saved.bins[bin].counts);
      if (saved.categorical) {
        if (g < saved.levels.size()) saved.levels[g].counts = counts;
      } else if (sums_.Groups() <= kMostPreBins) {
        saved.preBins.push_back({searched_.values.first[g], searched_.values.last[g], counts});
      }
    }
    const SavedCounts missing = CountsOf(sums_.Groups());
    if (!searched_.missing) return;
    saved.missingCounts = missing;
    if (predictor.figures.missingBin >= 0)
      Add(missing, saved.bins[static_cast<std::size_t>(predictor.figures.missingBin)].counts);
  }

 private:
  static constexpr double vlm::ScreeningPredictor::*kFigures[] = {
      &vlm::ScreeningPredictor::badShare,
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

  Cell At(std::uint32_t group, std::size_t column, std::uint32_t fold = states::kNoGroup) const {
    Cell cell = sums_.At(group, response_.IsMeasured() ? 0 : response_.columnOf[column], fold);
    cell.weight /= unit_;
    cell.deviations /= unit_;
    cell.squares /= unit_ * unit_;
    return cell;
  }

  static void AppendCell(const Cell& cell, bool isMeasured, binning::PreBinSums& sums) {
    sums.values.push_back(cell.weight);
    sums.squaredWeights += cell.squares;
    if (!isMeasured) return;
    sums.values.push_back(cell.weight * cell.mean);
    sums.values.push_back(cell.deviations + cell.weight * cell.mean * cell.mean);
  }

  PreBins Groups(std::uint32_t begin, std::uint32_t end) const {
    const bool isMeasured = response_.IsMeasured();
    const auto take = [&](std::uint32_t fold) {
      binning::PreBinSums sums;
      sums.classCount = isMeasured ? 0 : static_cast<int>(response_.columns);
      for (std::uint32_t g = begin; g < end; ++g) {
        double cases = 0;
        for (std::size_t c = 0; c < response_.columns; ++c) {
          const Cell cell = At(g, c, fold);
          cases += cell.cases;
          AppendCell(cell, isMeasured, sums);
        }
        sums.cases.push_back(cases);
      }
      return sums;
    };
    PreBins bins;
    bins.first.resize(end - begin);
    bins.last.resize(end - begin);
    bins.sums = take(states::kNoGroup);
    for (std::uint32_t fold = 0; isMeasured && fold < binning::kFoldCount; ++fold)
      bins.folds.push_back(take(fold));
    return bins;
  }

  void AddFolds(PreBins& missing) {
    if (response_.IsMeasured()) return;
    std::vector<std::vector<double>> cases;
    for (std::uint32_t g = 0; g <= sums_.Groups(); ++g) {
      std::vector<double>& of = cases.emplace_back();
      for (std::size_t c = 0; c < response_.columns; ++c) of.push_back(At(g, c).cases);
    }
    PreBins* const all[] = {&searched_.values, &missing};
    binning::DealFolds(all, cases);
  }

  binning::OptimalBins Find(bool categorical) {
    const auto find = [&](const binning::PreBinSums& sums) {
      return categorical ? binning::FindLevelBins(sums, rules_) : binning::FindOrderedBins(sums, rules_);
    };
    const binning::OptimalBins found = find(searched_.values.sums);
    const binning::Assessment assessment =
        binning::AssessBins(searched_, found.binOf, [&](const binning::PreBinSums& sums) { return find(sums).binOf; });
    vlm::ScreeningPredictor& figures = predictor_.figures;
    figures.mergedGreedily = found.greedy ? 1 : 0;
    figures.shape = binning::ShapeNumber(found.shape);
    figures.noBetterThanChance = assessment.noBetterThanChance ? 1 : 0;
    figures.heldOutExplained = assessment.validation.explained;
    const binning::Validation& validation = assessment.validation;
    predictor_.heldOutInterval = response_.kind == vlm::kBinaryResponse ? validation.informationValueInterval
                                                                        : validation.explainedInterval;
    if (!response_.IsMeasured() && response_.columns == 2) {
      figures.heldOutInformationValue = assessment.validation.informationValue;
      figures.heldOutGini = assessment.validation.gini;
    }
    binOf_ = found.binOf;
    return found;
  }

  void FillBins(const binning::OptimalBins& found, bool categorical, const Column& column,
                bool missingHasBin) {
    vlm::ScreeningPredictor& figures = predictor_.figures;
    const PreBins& values = searched_.values;
    std::vector<std::string> labels(static_cast<std::size_t>(found.count));
    if (categorical) {
      std::vector<std::vector<std::string>> texts(labels.size());
      for (std::size_t g = 0; g < values.Count(); ++g) {
        const double code = values.first[g];
        const std::string* const text = column.LabelOf(code);
        const std::string shown = text != nullptr ? *text : ShortestNumber(code);
        predictor_.levels.push_back({code, shown, binOf_[g]});
        texts[static_cast<std::size_t>(binOf_[g])].push_back(CodeTextOf(column, code));
      }
      for (std::size_t bin = 0; bin < labels.size(); ++bin) labels[bin] = LevelList(texts[bin]);
    } else {
      for (std::size_t g = 1; g < values.Count(); ++g) {
        if (binOf_[g] != binOf_[g - 1])
          predictor_.cutPoints.push_back(binning::CutBetween(values.last[g - 1], values.first[g]));
      }
      labels = IntervalLabels(predictor_.cutPoints);
    }
    figures.cutPointCount = static_cast<int>(predictor_.cutPoints.size());
    labels = vlm::DistinctLabels(std::move(labels));
    if (missingHasBin) {
      const binning::PreBinSums bins =
          binning::SumBins(values.sums, binOf_, static_cast<std::size_t>(found.count));
      figures.missingBin = binning::PlaceOfMissing(searched_.missingPlace, bins, searched_.missing->sums);
      predictor_.missingHasOwnBin = figures.missingBin == found.count;
      if (predictor_.missingHasOwnBin) {
        std::string label = "Missing";
        while (std::find(labels.begin(), labels.end(), label) != labels.end()) label = "(" + label + ")";
        labels.push_back(label);
        ++figures.binCount;
      }
    }
    for (const std::string& label : labels) {
      ScreenedBin& bin = predictor_.bins.emplace_back();
      bin.label = label;
      bin.figures = NoFigures();
    }
  }

  static std::string LevelList(const std::vector<std::string>& texts) {
    constexpr std::size_t kMostListed = 30, kListedOfMany = 3;
    const std::size_t listed = texts.size() > kMostListed ? kListedOfMany : texts.size();
    std::string list;
    for (std::size_t i = 0; i < listed; ++i) list += (i == 0 ? "" : ", ") + texts[i];
    if (listed < texts.size()) list += " and " + std::to_string(texts.size() - listed) + " more";
    return list;
  }

  static std::vector<std::string> IntervalLabels(const std::vector<double>& cutPoints) {
    std::vector<std::string> bounds = vlm::FormatDistinct(cutPoints), labels;
    bounds.insert(bounds.begin(), "-Inf");
    for (std::size_t i = 0; i + 1 < bounds.size(); ++i)
      labels.push_back("(" + bounds[i] + ", " + bounds[i + 1] + "]");
    labels.push_back("(" + bounds.back() + ", Inf)");
    return labels;
  }

  // The bin of a group, the last one being that of missing cases; -1: in none.
  int BinOf(std::uint32_t group) const {
    return group < sums_.Groups() ? binOf_[group] : predictor_.figures.missingBin;
  }

  void FillFigures() {
    const std::size_t bins = predictor_.bins.size();
    std::vector<std::vector<double>> counts(bins, std::vector<double>(response_.columns));
    std::vector<Cell> cells(bins);
    for (std::uint32_t g = 0; g <= sums_.Groups(); ++g) {
      if (BinOf(g) < 0) continue;
      const auto bin = static_cast<std::size_t>(BinOf(g));
      for (std::size_t c = 0; c < response_.columns; ++c) {
        const Cell cell = At(g, c);
        counts[bin][c] += cell.weight;
        if (response_.IsMeasured()) cells[bin].Merge(cell);
      }
    }
    for (std::uint32_t g = 0; g <= sums_.Groups(); ++g) {
      std::int64_t& count = g < sums_.Groups() ? predictor_.cases : predictor_.missing;
      for (std::size_t c = 0; c < response_.columns; ++c) count += static_cast<std::int64_t>(At(g, c).cases);
    }
    predictor_.searched = true;
    FillValueFigures();
    if (response_.IsMeasured()) return FillMeasured(cells);
    std::vector<double> total(response_.columns);
    for (const std::vector<double>& of : counts) Add(of, total);
    if (std::count_if(total.begin(), total.end(), [](double count) { return count > 0; }) < 2)
      throw DataError("The response has one value in the cases used.");
    FillAssociation(counts, total);
    ScreenedBin& all = predictor_.total;
    all.label = "All";
    all.figures = NoFigures();
    for (std::size_t bin = 0; bin <= bins; ++bin) {
      ScreenedBin& one = bin < bins ? predictor_.bins[bin] : all;
      one.counts = bin < bins ? counts[bin] : total;
      one.figures.total = Sum(one.counts);
      if (response_.kind == vlm::kBinaryResponse)
        FillBinaryBin(one.counts, total, plan_.screening.correctPureBins != 0, one.figures);
    }
    if (response_.kind == vlm::kBinaryResponse) FillBinary(total);
  }

  // Where every group is one value, missing ones being another: by cases of a continuous predictor, by their weights
  // of a categorical one.
  double GiniOfValues() const {
    const bool byWeight = predictor_.figures.categorical != 0;
    double all = 0, sum = 0;
    for (std::uint32_t g = 0; g <= sums_.Groups(); ++g) {
      const Cell badCell = At(g, 0), goodCell = At(g, 1);
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

  void FillBinary(const std::vector<double>& total) {
    vlm::ScreeningPredictor& figures = predictor_.figures;
    const double all = total[0] + total[1];
    figures.badShare = total[0] / all;
    figures.goodShare = total[1] / all;
    figures.giniBefore = GiniOfValues();
    figures.informationValue = figures.giniAfter = 0;
    for (const ScreenedBin& bin : predictor_.bins) {
      if (bin.figures.gini != kMissing) figures.giniAfter += bin.figures.total * bin.figures.gini / all;
      if (bin.figures.informationValue != kMissing) figures.informationValue += bin.figures.informationValue;
    }
    predictor_.total.figures.informationValue = figures.informationValue;
  }

  // Pearson: sum of (observed - expected)^2 / expected.
  void FillAssociation(const std::vector<std::vector<double>>& counts, const std::vector<double>& total) {
    const double all = Sum(total);
    double chiSquare = 0, rows = 0, columns = 0;
    for (const double count : total) columns += count > 0 ? 1 : 0;
    for (const std::vector<double>& of : counts) {
      const double row = Sum(of);
      rows += row > 0 ? 1 : 0;
      for (std::size_t c = 0; c < of.size(); ++c) {
        const double expected = row * total[c] / all, difference = of[c] - expected;
        if (expected > 0) chiSquare += difference * difference / expected;
      }
    }
    const double smaller = std::min(rows, columns) - 1;
    predictor_.figures.chiSquare = chiSquare;
    predictor_.figures.cramersV = 0;
    if (smaller < 1) {
      predictor_.figures.chiSquare = 0;
      return;
    }
    predictor_.figures.chiSquareP = stats::ChiSquareUpperTail(chiSquare, (rows - 1) * (columns - 1));
    predictor_.figures.cramersV = std::sqrt(chiSquare / (all * smaller));
  }

  void FillMeasured(const std::vector<Cell>& cells) {
    Cell all;
    double within = 0;
    for (std::size_t bin = 0; bin < cells.size(); ++bin) {
      all.Merge(cells[bin]);
      within += cells[bin].deviations;
      FillMeasuredBin(cells[bin], response_.measured, predictor_.bins[bin].figures);
    }
    predictor_.total.label = "All";
    predictor_.total.figures = NoFigures();
    FillMeasuredBin(all, response_.measured, predictor_.total.figures);
    if (!(all.deviations > 0)) throw DataError("The response has one value in the cases used.");
    vlm::ScreeningPredictor& figures = predictor_.figures;
    figures.rSquared = 1 - within / all.deviations;
    figures.totalSumOfSquares = all.deviations * response_.measured.SquareUnit();
    const auto levels = static_cast<double>(cells.size());
    const double errorDf = all.weight - levels, between = std::max(all.deviations - within, 0.0);
    if (errorDf > 0 && within > 0 && levels > 1)
      figures.fStatistic = (between / (levels - 1)) / (within / errorDf);
  }

  // Of the predictor's own values, among the cases with a response.
  void FillValueFigures() {
    vlm::ScreeningPredictor& figures = predictor_.figures;
    ranking::Moments moments = survey_.UsedMoments();
    moments.mass /= unit_;
    moments.squares /= unit_;
    figures.validN = static_cast<int>(
        std::min(std::round(moments.mass), static_cast<double>(std::numeric_limits<int>::max())));
    const std::vector<SurveyedValue> values = OwnValues();
    figures.minimum = values.empty() ? std::numeric_limits<double>::max() : values.front().low;
    figures.maximum = values.empty() ? std::numeric_limits<double>::lowest() : values.back().high;
    if (values.empty()) return;
    double mean = moments.mean, squares = moments.squares;
    if (values.size() == 1 || survey_.HoldsKind() == states::VariableSurvey::Kind::kTexts) {
      mean = squares = 0;
      for (const SurveyedValue& value : values) mean += value.mass / unit_ / moments.mass * value.low;
      for (const SurveyedValue& value : values)
        squares += value.mass / unit_ * (value.low - mean) * (value.low - mean);
    }
    figures.mean = mean;
    if (moments.mass > 1) figures.standardDeviation = std::sqrt(squares / (moments.mass - 1));
    figures.quartileRange = Quantile(values, 0.75) - Quantile(values, 0.25);
  }

  // Of texts the codes.
  std::vector<SurveyedValue> OwnValues() const {
    if (survey_.HoldsKind() != states::VariableSurvey::Kind::kTexts) return ValuesOf(survey_);
    std::vector<SurveyedValue> values;
    double code = 0;
    for (const auto& [text, count] : survey_.Levels()) {
      ++code;
      if (count.cases > 0) values.push_back({code, code, count.cases, count.mass});
    }
    return values;
  }

  // Definition 2 of Hyndman and Fan 1996, doi:10.2307/2684934.
  double Quantile(const std::vector<SurveyedValue>& cells, double share) const {
    const double wanted = share * survey_.UsedMoments().mass;
    double below = 0;
    for (std::size_t i = 0; i < cells.size(); ++i) {
      below += cells[i].mass;
      if (below == wanted && i + 1 < cells.size()) return (cells[i].high + cells[i + 1].low) / 2;
      if (below > wanted) return cells[i].low;
    }
    return cells.empty() ? kMissing : cells.back().high;
  }

  std::size_t CountSize() const { return response_.IsMeasured() ? 3 : response_.columns; }

  SavedCounts CountsOf(std::uint32_t group) const {
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

  static void Add(const std::vector<double>& more, std::vector<double>& sums) {
    for (std::size_t i = 0; i < more.size(); ++i) sums[i] += more[i];
  }

  const ResponseCounts& response_;
  const states::PairSums& sums_;
  const BinningPlan& plan_;
  binning::BinningRules rules_;
  const states::VariableSurvey& survey_;
  double unit_;  // of the weights
  ScreenedPredictor predictor_;
  binning::SearchedPredictor searched_;
  std::vector<int> binOf_;
};

// --- The run
class ScreeningSurvey final : public SurveyRun {
 public:
  ScreeningSurvey(PartRunKey key, states::CaseRules rules, ScreenOptions options)
      : SurveyRun(std::move(key), std::move(rules), options.data), options_(std::move(options)) {}

  std::string SecondPass() const override {
    const Table table = Representatives();
    return SumsRun(PlanFor(table, Choose(table))).Bytes();
  }

  std::unique_ptr<FinishedRun> Finish(const PartRun& sums, const std::string& moduleWord) const override {
    const auto* const second = dynamic_cast<const SumsRun*>(&sums);
    if (second == nullptr) throw UsageError("The second state is not one of a second pass.");
    std::vector<std::string> words = Key().words;
    words.push_back(moduleWord);
    Table table = Representatives();
    const ScreenChoice choice = Choose(table);
    auto run = std::make_unique<FinishedRun>(
        true, MakeSessionOptions(ParseScreen(words).module, Readers::kPrograms));
    run->session.SetTable(table);
    run->binsOfParts.emplace();
    run->screening = Report(table, choice, *second, *run->binsOfParts);
    return run;
  }

 private:
  ScreenChoice Choose(const Table& table) const {
    // Weighted cases only have been surveyed.
    Table weighted = table;
    const int weight = ChooseWeight(table, Rules().weight, true);
    if (weight != 0) weighted.Variable(weight).values.assign(static_cast<std::size_t>(table.caseCount), 1.0);
    ScreenChoice choice = ChooseForScreening(weighted, options_.request, CaseBitmap(table.caseCount), weight);
    const auto isUncounted = [&](int number) {
      return Survey(number).HasTooManyLevels() || !Survey(number).Cells().IsExact();
    };
    std::erase_if(choice.categoricalPredictors, [&](int number) {
      if (!isUncounted(number)) return false;
      choice.leftOut.push_back(
          {number, table.Variable(number).name, RoleName(Role::kIdentifier), "too many different levels"});
      return true;
    });
    return choice;
  }

  // Sampling weights are taken relative to their mean.
  double WeightUnit() const {
    const bool isSampling = !Rules().weight.empty() && !options_.settings.cases.rawWeights;
    return isSampling ? Totals().weight / Totals().used : 1;
  }

  int ResponseOf(const ScreenChoice& choice) const {
    return choice.binaryResponse + choice.continuousResponse + choice.categoricalResponse;
  }

  // The ends of the groups of a predictor, and the groups themselves.
  struct Groups {
    states::Grouping grouping;
    std::vector<std::pair<double, double>> ends;  // of a level: its code twice
  };
  Groups GroupsOf(const Table& table, int number, bool categorical, int preBins) const {
    const states::VariableSurvey& survey = Survey(number);
    Groups groups;
    if (categorical && survey.HoldsKind() == states::VariableSurvey::Kind::kTexts) {
      groups.grouping = LevelsOf(survey);
      for (const std::string& level : groups.grouping.levels) {
        const double code = *table.Variable(number).ValueOf(level);
        groups.ends.emplace_back(code, code);
      }
      return groups;
    }
    groups.grouping.variable = survey.Name();
    const std::vector<SurveyedValue> values = ValuesOf(survey);
    std::vector<double> masses;
    for (const SurveyedValue& value : values) masses.push_back(value.mass);
    const std::vector<int> binOf = binning::AssignPreBins(
        masses, categorical ? masses.size() + 1 : static_cast<std::size_t>(std::max(preBins, 2)));
    for (std::size_t i = 0; i < values.size(); ++i) {
      if (binOf[i] < 0) continue;  // a value without cases: where those of the next one begin
      if (static_cast<std::size_t>(binOf[i]) == groups.ends.size()) {
        const bool isMarked = i > 0 && binOf[i - 1] < 0;
        groups.ends.emplace_back(values[isMarked ? i - 1 : i].low, values[i].high);
        groups.grouping.highest.push_back(values[i].high);
      }
      groups.ends.back().second = groups.grouping.highest.back() = values[i].high;
    }
    if (categorical) {
      for (auto& [low, high] : groups.ends) high = low;
    }
    return groups;
  }

  SumsRun::Plan PlanFor(const Table& table, const ScreenChoice& choice) const {
    SumsRun::Plan plan;
    plan.key = Key();
    plan.rules = Rules();
    plan.missingCodes = options_.data.missingCodes;
    plan.missingTexts = MissingTexts();
    const states::VariableSurvey& response = Survey(ResponseOf(choice));
    SumsRun::Outcome& outcome = plan.outcomes.emplace_back();
    if (choice.continuousResponse != 0) {
      outcome.measured = states::MeasuredOutcome::Of(response.Name(), response.Lowest(), response.Highest(),
                                                     response.UsedMoments().mean);
      plan.folds = binning::kFoldCount;
    } else {
      outcome.classes = LevelsOf(response);
    }
    const auto add = [&](int number, bool categorical) {
      plan.predictors.push_back(GroupsOf(table, number, categorical, options_.binning.preBins).grouping);
      const double columns = outcome.IsMeasured() ? 1 : outcome.classes.Count();
      plan.counted.push_back((plan.predictors.back().Count() + 1.0) * columns <= kMostCells ? 1 : 0);
    };
    for (const int number : choice.continuousPredictors) add(number, false);
    for (const int number : choice.categoricalPredictors) add(number, true);
    return plan;
  }

  ResponseCounts CountsOf(const Table& table, const ScreenChoice& choice, const SumsRun& sums) const {
    ResponseCounts counts;
    const SumsRun::Outcome& outcome = sums.ThePlan().outcomes.front();
    counts.measured = outcome.measured;
    if (choice.continuousResponse != 0) {
      counts.kind = vlm::kContinuousResponse;
      if (!counts.measured.finite) throw RunError("The response has infinite values.");
      return counts;
    }
    counts.kind = choice.binaryResponse != 0 ? vlm::kBinaryResponse : vlm::kCategoricalResponse;
    const Column& column = table.Variable(ResponseOf(choice));
    const auto placeOf = [&](double code) {
      const states::Grouping& classes = outcome.classes;
      if (classes.isText) {
        const std::string* const text = column.LabelOf(code);
        return static_cast<std::uint32_t>(
            std::lower_bound(classes.levels.begin(), classes.levels.end(), text == nullptr ? "" : *text) -
            classes.levels.begin());
      }
      return static_cast<std::uint32_t>(
          std::lower_bound(classes.highest.begin(), classes.highest.end(), code) - classes.highest.begin());
    };
    if (counts.kind == vlm::kBinaryResponse) {
      counts.columnOf = {placeOf(choice.bad), placeOf(choice.good)};
    } else {
      for (std::uint32_t c = 0; c < outcome.classes.Count(); ++c) counts.columnOf.push_back(c);
    }
    for (const std::uint32_t place : counts.columnOf) {
      if (place >= outcome.classes.Count()) throw RunError("A code of the response is in no case.");
    }
    counts.columns = counts.columnOf.size();
    return counts;
  }

  ScreenReport Report(const Table& table, const ScreenChoice& choice, const SumsRun& sums,
                      SavedBins& bins) const {
    const auto plan = options_.binning.MakePlan(table, choice);
    const states::CaseTotals& totals = Totals();
    const auto whole = [](double count) { return static_cast<std::int64_t>(count); };
    ScreenReport report;
    report.caseCount = whole(totals.rows);
    report.selectedCases = whole(totals.rows - totals.notSelected);
    report.weightVariable = Rules().weight;
    report.select = Rules().select;
    report.exclude = Rules().exclude;
    report.classic = false;
    report.optimal = true;
    report.weights = plan->weights;
    report.correctsPureBins = plan->screening.correctPureBins != 0;
    report.best = options_.settings.best;
    report.leftOut = choice.leftOut;
    if (const std::string notice = PrecisionNotice(choice.continuousPredictors); !notice.empty())
      report.notices.push_back(notice);
    const ResponseCounts counts = CountsOf(table, choice, sums);
    ScreenedResponse& response = report.responses.emplace_back();
    const Column& column = table.Variable(ResponseOf(choice));
    response.kind = counts.kind;
    response.name = column.name;
    response.rankedBy = options_.settings.rankBy;
    response.savesChance = options_.settings.saveChance;
    response.cases = {whole(totals.used),
                      whole(totals.notSelected),
                      whole(totals.withoutWeight),
                      whole(totals.withoutResponse),
                      whole(totals.otherCodes),
                      totals.weight,
                      totals.weight * totals.weight / totals.squares};
    response.run.selected = 1;
    response.run.responseNumber = ResponseOf(choice);
    response.run.sortChoice = counts.kind == vlm::kBinaryResponse       ? options_.settings.sortBinary
                              : counts.kind == vlm::kContinuousResponse ? options_.settings.sortContinuous
                                                                        : options_.settings.sortCategorical;
    response.run.classCount = counts.IsMeasured() ? 0 : static_cast<int>(counts.columns);
    for (const double code : CodesOf(column, choice)) response.codes.push_back(CodeTextOf(column, code));
    const std::vector<std::unique_ptr<PredictorScreening>> screenings =
        ScreenAll(table, choice, sums, counts, *plan, response);
    bins = SavedBinsOf(report, table, std::numeric_limits<int>::max());
    for (std::size_t i = 0; i < bins.responses[0].predictors.size(); ++i)
      screenings[i]->AddCounts(response.predictors[i], bins.responses[0].predictors[i]);
    return report;
  }

  std::vector<double> CodesOf(const Column& column, const ScreenChoice& choice) const {
    if (choice.binaryResponse != 0) return {choice.bad, choice.good};
    std::vector<double> codes;
    if (choice.categoricalResponse == 0) return codes;
    for (const double value : column.values) {
      if (!IsMissing(value, column.missingCode)) codes.push_back(value);
    }
    std::sort(codes.begin(), codes.end());
    return codes;
  }

  // The predictors of the response, best first, and how each was screened.
  std::vector<std::unique_ptr<PredictorScreening>> ScreenAll(const Table& table, const ScreenChoice& choice,
                                                             const SumsRun& sums,
                                                             const ResponseCounts& counts,
                                                             const BinningPlan& plan,
                                                             ScreenedResponse& response) const {
    struct Screened {
      ScreenedPredictor predictor;
      std::unique_ptr<PredictorScreening> screening;
    };
    std::vector<Screened> all;
    std::size_t place = 0;
    const auto screen = [&](int number, bool categorical) {
      const std::size_t p = place++;
      const Column& column = table.Variable(number);
      try {
        if (sums.ThePlan().counted[p] == 0)
          throw DataError("It has too many levels and classes to be counted.");
        auto screening = std::make_unique<PredictorScreening>(
            counts, sums.Sums(p, 0), plan,
            binning::RulesThatApply(plan.RulesFor(number),
                                    counts.IsMeasured() ? 0 : static_cast<int>(counts.columns)),
            Survey(number), WeightUnit());
        ScreenedPredictor predictor = screening->Screen(
            number, column, categorical, GroupsOf(table, number, categorical, options_.binning.preBins).ends);
        all.push_back({std::move(predictor), std::move(screening)});
      } catch (const DataError& error) {
        response.failed.push_back({number, column.name, error.what()});
      }
    };
    if (sums.ThePlan().predictors.size() !=
        choice.continuousPredictors.size() + choice.categoricalPredictors.size())
      throw DataError("The states belong to different runs.");
    for (const int number : choice.continuousPredictors) screen(number, false);
    for (const int number : choice.categoricalPredictors) screen(number, true);
    const ScreenRanking& ranking = RankingOf(response);
    const bool chanceLast = response.rankedBy != RankBy::kPrescribed;
    const auto key = [&](const ScreenedPredictor& one) {
      const double value = one.figures.*ranking.statistic.value;
      if (value == kMissing || std::isnan(value)) return -std::numeric_limits<double>::infinity();
      return ranking.smallestFirst ? -value : value;
    };
    std::stable_sort(all.begin(), all.end(), [&](const Screened& a, const Screened& b) {
      const int chanceA = a.predictor.figures.noBetterThanChance,
                chanceB = b.predictor.figures.noBetterThanChance;
      if (chanceLast && chanceA != chanceB) return chanceB != 0;
      return key(a.predictor) > key(b.predictor);
    });
    std::vector<std::unique_ptr<PredictorScreening>> screenings;
    for (Screened& one : all) {
      response.predictors.push_back(std::move(one.predictor));
      screenings.push_back(std::move(one.screening));
    }
    response.run.predictorCount = static_cast<int>(response.predictors.size());
    response.run.failedCount = static_cast<int>(response.failed.size());
    return screenings;
  }

  ScreenOptions options_;
};

}  // namespace

std::unique_ptr<PartRun> StartScreeningSurvey(const PartRunKey& key) {
  ScreenOptions options = ParseScreen(key.words);
  const ScreenRequest& request = options.request;
  const auto refuse = [](bool is, const char* option) {
    if (is) throw UsageError(std::string(option) + " needs all cases in one place.");
  };
  refuse(options.binning.classic, "--classic");
  refuse(options.binning.search == 1, "--binning tree");
  refuse(!options.settings.cutPointsFile.empty(), "--cut-points");
  refuse(!options.special.codes.empty(), "--special");
  refuse(!options.settings.cases.count.empty(), "--count");
  refuse(options.evidence.permutations > 0, "--permutations");
  refuse(options.redundancy.distinct, "--distinct");
  if ((request.binary.empty() ? 0 : 1) + (request.continuous.empty() ? 0 : 1) +
          (request.categorical.empty() ? 0 : 1) !=
      1)
    throw UsageError("A run on data in parts takes one response.");
  if (!request.binary.empty() && (request.good.empty() || request.bad.empty()))
    throw UsageError("--binary-response " + request.binary + " needs --good CODE and --bad CODE.");
  states::CaseRules rules;
  rules.select = options.settings.cases.select;
  rules.exclude = options.settings.cases.exclude;
  rules.weight = options.settings.cases.weight;
  rules.response = request.binary + request.continuous + request.categorical;
  if (!request.binary.empty()) rules.codes = {request.bad, request.good};
  rules.cases = key.settings.cases;
  rules.squares = key.settings.squares;
  return std::make_unique<ScreeningSurvey>(key, std::move(rules), std::move(options));
}

}  // namespace velmora
