#include "workbench/cli/screen/screen_design.h"

#include <algorithm>
#include <cmath>

#include "workbench/cli/console.h"
#include "workbench/cli/data_input.h"
#include "workbench/cli/exit_codes.h"
#include "workbench/cli/progress_bar.h"
#include "workbench/cli/screen/screen_binning.h"
#include "workbench/cli/screen/screen_redundancy.h"
#include "workbench/data/errors.h"
#include "workbench/documents/text_table.h"
#include "workbench/ranking/rank_predictors.h"
#include "workbench/ranking/test_pairs.h"

namespace velmora {
namespace {

// Predictors whose bins are in memory at once.
constexpr std::size_t kAtOnce = 64;

// The response, the variables of the sample and the bins of some predictors, as a table of its own.
class DesignTable {
 public:
  DesignTable(const Table& table, const ScreenChoice& choice, const ScreenedResponse& response,
              const ranking::DesignVariables& design, bool weightsAreCounts)
      : table_(table) {
    bins_.caseCount = table.caseCount;
    const int number = Take(choice.Response(response.kind));
    if (response.kind == vlm::kBinaryResponse) {
      Column& column = bins_.Variable(number);
      for (double& value : column.values.Own()) {
        if (!vlm::NearlyEqual(value, choice.good) && !vlm::NearlyEqual(value, choice.bad))
          value = column.missingCode;
      }
    }
    const bool measured = response.kind == vlm::kContinuousResponse;
    (measured ? plan_.continuousDependents : plan_.categoricalDependents) = {number};
    (weightsAreCounts ? plan_.count : plan_.weight) = Take(design.weight);
    plan_.strata = Take(design.strata);
    plan_.clusters = Take(design.clusters);
    fixed_ = bins_.columns.size();
  }

  // The association of each of the predictors with the response.
  std::vector<stats::Association> Test(const std::vector<const ScreenedPredictor*>& predictors,
                                       const CaseBitmap& selected, WorkerPool& pool) {
    bins_.columns.resize(fixed_);
    plan_.categoricalPredictors.clear();
    for (const ScreenedPredictor* predictor : predictors) {
      Column& column = bins_.columns.emplace_back();
      column.name = predictor->name;
      column.measurement = Measurement::kCategorical;
      const std::vector<int> binOf =
          BinOfCases(table_.Variable(predictor->figures.predictorNumber), *predictor);
      std::vector<double>& values = column.values.Own();
      values.resize(binOf.size());
      std::transform(binOf.begin(), binOf.end(), values.begin(),
                     [&](int bin) { return bin < 0 ? column.missingCode : bin; });
      plan_.categoricalPredictors.push_back(static_cast<int>(bins_.columns.size()));
    }
    const ranking::Ranking ranking =
        ranking::RankPredictors(bins_, selected, plan_, pool, [](double) { return !WasInterrupted(); });
    std::vector<stats::Association> associations;
    for (const ranking::RankedPair& pair : ranking.outcomes.front().pairs)
      associations.push_back(pair.association);
    return associations;
  }

 private:
  int Take(int number) {
    if (number == 0) return 0;
    bins_.columns.push_back(table_.Variable(number));
    return static_cast<int>(bins_.columns.size());
  }

  const Table& table_;
  Table bins_;
  ranking::RankingPlan plan_;
  std::size_t fixed_ = 0;
};

}  // namespace

void DesignOptions::AddTo(CommandParser& parser) {
  parser.Text("--strata", strata);
  parser.Text("--clusters", clusters);
}

void DesignOptions::Check(const CommandParser& parser, const CaseOptions& cases) const {
  if (!Any()) return;
  const std::string option = strata.empty() ? "--clusters" : "--strata";
  if (cases.rawWeights)
    throw UsageError(option + " is about a sample, whose weights --raw-weights takes as numbers of cases.");
  CheckStrataOfCounts(strata, clusters, cases.count);
  if (parser.Has("--permutations"))
    throw UsageError("--permutations deals the response out to cases drawn independently; leave out " +
                     option + ".");
}

ranking::DesignVariables DesignOptions::VariablesOf(const Table& table, int weight) const {
  ranking::DesignVariables design;
  design.weight = weight;
  if (!strata.empty()) design.strata = NamedVariable(table, "--strata", strata);
  if (!clusters.empty()) design.clusters = NamedVariable(table, "--clusters", clusters);
  return design;
}

void CheckDesign(const Table& table, const CaseBitmap& selected, const ranking::DesignVariables& design,
                 std::vector<std::string>& notices) {
  if (!design.Any()) return;
  std::vector<std::uint8_t> used(static_cast<std::size_t>(table.caseCount));
  const Column* const weights = design.weight == 0 ? nullptr : &table.Variable(design.weight);
  for (std::size_t i = 0; i < used.size(); ++i) {
    const bool weighted = weights == nullptr ||
                          (!IsMissing(weights->values[i], weights->missingCode) && weights->values[i] > 0);
    used[i] = weighted && selected.Contains(static_cast<std::int64_t>(i)) ? 1 : 0;
  }
  const ranking::SurveySample sample = ranking::MakeSurveySample(table, used, design);
  if (sample.lonelyStrata > 0)
    notices.push_back(Counted(sample.lonelyStrata, "stratum has", "strata have") +
                      " one cluster only, which counts with its distance from the overall mean.");
}

void AddDesign(const ranking::DesignVariables& design, const ScreenChoice& choice, const SearchLog& log,
               const Session& session, int threads, ScreenReport& report) {
  const bool isSample = design.weight != 0 && report.weights == WeightMeaning::kSampling;
  if (!isSample && !design.Any()) return;
  const Table& table = session.Data();
  if (design.strata != 0) report.strataVariable = table.Variable(design.strata).name;
  if (design.clusters != 0) report.clusterVariable = table.Variable(design.clusters).name;
  const CaseBitmap selected = SelectCases(table, {report.select, report.exclude});
  WorkerPool pool(threads);
  for (ScreenedResponse& response : report.responses) {
    ProgressBar bar;
    bar.Start("Testing the predictors of " + response.name + "...");
    DesignTable bins(table, choice, response, design, report.weights == WeightMeaning::kCounts);
    std::vector<ScreenedPredictor>& predictors = response.predictors;
    if (const binning::SearchRecord* const record = log.FindAny(response))
      response.cases.effective /= record->cases->clusterEffect;
    for (std::size_t first = 0; first < predictors.size(); first += kAtOnce) {
      std::vector<const ScreenedPredictor*> some;
      for (std::size_t k = first; k < std::min(first + kAtOnce, predictors.size()); ++k)
        some.push_back(&predictors[k]);
      const std::vector<stats::Association> associations = bins.Test(some, selected, pool);
      for (std::size_t k = 0; k < some.size(); ++k) {
        ScreenedPredictor& predictor = predictors[first + k];
        const binning::SearchRecord* const record = log.Find(response, predictor);
        if (!associations[k].computable) continue;
        predictor.association = associations[k];
        if (record != nullptr && predictor.searched)
          ranking::CorrectForSearch(record->preBinCount, ValueBinCount(predictor),
                                    record->rules.partition.maxBins, !record->categorical,
                                    *predictor.association);
      }
      bar.Update(static_cast<double>(first + some.size()) / static_cast<double>(predictors.size()));
    }
    bar.Finish();
  }
}

}  // namespace velmora
