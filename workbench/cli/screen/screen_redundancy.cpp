#include "workbench/cli/screen/screen_redundancy.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <unordered_map>

#include "contract/text.h"
#include "workbench/cli/console.h"
#include "workbench/cli/exit_codes.h"
#include "workbench/cli/progress_bar.h"
#include "workbench/data/errors.h"
#include "workbench/evidence/redundancy.h"

namespace velmora {
namespace {

using evidence::BinTables;

constexpr std::size_t kMeasuredClasses = 10;

// The class of each case; for a continuous response, the tenth of the cases that it is in. Empty
// where there are more classes than a table holds.
std::vector<std::uint8_t> ClassesOf(const stats::TreeResponse& response, std::size_t& classCount) {
  std::vector<std::uint8_t> classOf(response.caseCount, BinTables::kNone);
  if (!response.continuous) {
    classCount = static_cast<std::size_t>(response.classCount);
    if (classCount >= BinTables::kNone) return {};
    for (std::size_t i = 0; i < classOf.size(); ++i) {
      if (binning::CountsForResponse(response, i))
        classOf[i] = static_cast<std::uint8_t>(response.classOf[i]);
    }
    return classOf;
  }
  std::vector<double> values;
  for (std::size_t i = 0; i < classOf.size(); ++i) {
    if (binning::CountsForResponse(response, i)) values.push_back(response.deviations[i]);
  }
  std::vector<double> bounds;
  for (std::size_t tenth = 1; tenth < kMeasuredClasses && !values.empty(); ++tenth) {
    const auto at = values.begin() + static_cast<std::ptrdiff_t>(tenth * values.size() / kMeasuredClasses);
    std::nth_element(values.begin(), at, values.end());
    bounds.push_back(*at);
  }
  classCount = kMeasuredClasses;
  for (std::size_t i = 0; i < classOf.size(); ++i) {
    if (!binning::CountsForResponse(response, i)) continue;
    const auto above = std::upper_bound(bounds.begin(), bounds.end(), response.deviations[i]);
    classOf[i] = static_cast<std::uint8_t>(above - bounds.begin());
  }
  return classOf;
}

}  // namespace

std::vector<int> BinOfCases(const Column& column, const ScreenedPredictor& predictor) {
  const MissingRange missing(column.missingCode);
  std::unordered_map<double, int> levels;
  for (const ScreenedLevel& level : predictor.levels) levels.emplace(level.value, level.bin);
  std::vector<double> ends;
  for (const double cutPoint : predictor.cutPoints) ends.push_back(MissingRange(cutPoint).high);
  std::vector<int> binOf(column.values.size());
  for (std::size_t i = 0; i < binOf.size(); ++i) {
    const double value = column.values[i];
    if (std::isnan(value) || missing.Contains(value)) {
      binOf[i] = predictor.figures.missingBin;
    } else if (const auto level = levels.find(value); level != levels.end()) {
      binOf[i] = level->second;
    } else if (predictor.figures.categorical != 0) {
      binOf[i] = -1;
    } else {
      binOf[i] = static_cast<int>(std::lower_bound(ends.begin(), ends.end(), value) - ends.begin());
    }
  }
  return binOf;
}

namespace {

// Moves the predictors that say the same as a better one after those that do not.
void PutDistinctFirst(vlm::IScreeningResults& results, ScreenedResponse& response) {
  std::vector<ScreenedPredictor>& predictors = response.predictors;
  std::vector<std::size_t> order(predictors.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  const std::size_t ranked = CountAboveChance(response);
  const auto isDistinct = [&](std::size_t i) { return predictors[i].sameAs < 0; };
  const auto end = order.begin() + static_cast<std::ptrdiff_t>(ranked);
  response.distinct =
      static_cast<std::size_t>(std::stable_partition(order.begin(), end, isDistinct) - order.begin());

  vlm::IntegerSink indices;
  results.GetOrder(response.kind, &indices);
  std::vector<int> newIndices, placeOf(order.size());
  std::vector<ScreenedPredictor> sorted;
  for (std::size_t place = 0; place < order.size(); ++place) {
    newIndices.push_back(indices.numbers[order[place]]);
    placeOf[order[place]] = static_cast<int>(place);
    sorted.push_back(std::move(predictors[order[place]]));
  }
  for (ScreenedPredictor& predictor : sorted) {
    if (predictor.sameAs >= 0) predictor.sameAs = placeOf[static_cast<std::size_t>(predictor.sameAs)];
  }
  // The associations follow; those that were not compared stay last.
  std::vector<double> associations;
  std::vector<std::size_t> compared;
  for (const std::size_t i : order) {
    if (i < response.compared) compared.push_back(i);
  }
  for (const std::size_t i : compared) {
    for (const std::size_t j : compared)
      associations.push_back(response.associations[i * response.compared + j]);
  }
  response.associations = std::move(associations);
  predictors = std::move(sorted);
  results.SetOrder(response.kind, newIndices.data(), static_cast<int>(newIndices.size()),
                   static_cast<int>(*response.distinct));
}

}  // namespace

void RedundancyOptions::AddTo(CommandParser& parser) {
  parser.WholeNumber("--compare", compare, 0, 2000);
  parser.Share("--same-from", sameFrom, true);
  parser.Flag("--distinct", distinct);
  parser.Flag("--adds", adds);
}

void RedundancyOptions::Check(const CommandParser& parser, bool classic) const {
  for (const char* option : {"--compare", "--same-from", "--distinct", "--adds"}) {
    if (classic && parser.Has(option))
      throw UsageError(std::string(option) +
                       " is about optimal bins; leave it out, or --classic and --binning tree.");
    if (compare == 0 && parser.Has(option) && option != std::string("--compare"))
      throw UsageError(std::string(option) + " needs --compare of at least 2.");
  }
}

void AddRedundancy(const RedundancyOptions& options, int threads, const SearchLog& log, Session& session,
                   ScreenReport& report) {
  const Table& table = session.Data();
  WorkerPool pool(threads);
  for (ScreenedResponse& response : report.responses) {
    const std::size_t count = std::min(CountAboveChance(response), static_cast<std::size_t>(options.compare));
    const binning::SearchRecord* const record = log.FindAny(response);
    if (count < 2 || record == nullptr) continue;
    std::size_t classCount = 0;
    const std::vector<std::uint8_t> classOf = ClassesOf(*record->cases, classCount);
    const bool fits = std::all_of(
        response.predictors.begin(), response.predictors.begin() + static_cast<std::ptrdiff_t>(count),
        [](const ScreenedPredictor& one) { return one.bins.size() < BinTables::kNone; });
    if (classOf.empty() || !fits) continue;
    BinTables tables(classOf, classCount);
    for (std::size_t i = 0; i < count; ++i) {
      const ScreenedPredictor& predictor = response.predictors[i];
      const std::vector<int> binOf = BinOfCases(table.Variable(predictor.figures.predictorNumber), predictor);
      std::vector<std::uint8_t> narrow(binOf.size());
      std::transform(binOf.begin(), binOf.end(), narrow.begin(),
                     [](int bin) { return bin < 0 ? BinTables::kNone : static_cast<std::uint8_t>(bin); });
      tables.Add(narrow, predictor.bins.size());
      table.Variable(predictor.figures.predictorNumber).values.Release();
      StopIfInterrupted();
    }
    ProgressBar bar;
    bar.Start("Comparing predictors...");
    if (!tables.Count(pool, [&](double fraction) {
          bar.Update(fraction);
          return !WasInterrupted();
        }))
      throw Cancelled();
    bar.Finish();
    response.compared = count;
    response.associations = evidence::Associations(tables);
    const std::vector<evidence::Likeness> alike =
        evidence::Cluster(response.associations, count, options.sameFrom);
    for (std::size_t i = 0; i < count; ++i) {
      ScreenedPredictor& predictor = response.predictors[i];
      predictor.cluster = alike[i].cluster + 1;
      predictor.sameAs = alike[i].sameAs;
      predictor.sameAsV = alike[i].v;
    }
    if (options.adds) {
      int place = 0;
      for (const evidence::Step& step : evidence::OrderOfAdding(tables)) {
        response.predictors[step.predictor].addsPlace = ++place;
        response.predictors[step.predictor].addsShare = step.share;
      }
    }
    if (options.distinct) PutDistinctFirst(*session.ScreeningResults(), response);
  }
}

}  // namespace velmora
