// The results of a feature selection run as plain data, read once from the module. Terminal tables,
// JSON, CSV, the workbook and the page are all made from it.
//
//   FeatureSelectionReport report = ReadFeatureSelection(session, frontend);
//   std::string json = FeatureSelectionJson(report);
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "contract/results.h"
#include "workbench/data/table.h"
#include "workbench/documents/workbook.h"
#include "workbench/ranking/rank_predictors.h"
#include "workbench/report/provenance.h"
#include "workbench/session/analysis_notes.h"

namespace velmora {

struct ReportedPredictor {
  int number = 0;
  std::string name;
  Measurement kind = Measurement::kContinuous;
};

enum class PairStatistic { kF, kChiSquare, kCramersV };

struct ReportedDependent {
  int number = 0;
  std::string name;
  Measurement kind = Measurement::kContinuous;
  PairStatistic statistic = PairStatistic::kF;
  std::string statisticName;
  vlm::FeatureSelectionDependent cases{};  // accepted cases with and without a value
  // One per predictor, in the order of the report's predictors.
  std::vector<vlm::FeatureSelectionPair> pairs;
  std::vector<int> best;  // predictor indices, best first
  std::vector<std::string> notices;
  // Empty when there are only the module's figures: in runs of dialogs and scripts, and with
  // --classic.
  std::optional<ranking::RankedOutcome> ranked = std::nullopt;
};

enum class DisplayMode { kBest = 0, kBelowP = 1, kBestByP = 2 };

// How the predictors were ranked, for a report whose dependents are `ranked`.
struct ReportedRanking {
  ranking::RankKey key = ranking::RankKey::kEffect;
  stats::Adjustment adjustment = stats::Adjustment::kBenjaminiHochberg;
  bool adjustedAcrossDependents = false;
  double alpha = 0.05;
  ranking::IntervalMethod intervals = ranking::IntervalMethod::kQuantiles;
  std::int64_t incompleteCases = 0;
  double designEffect = 1;  // of the weights (Kish 1965)
  int replicates = 0;       // of exact tests; 0: none were asked for
  int seed = 1;
  std::string strataVariable, clusterVariable;  // empty: none
  std::size_t strata = 0, clusters = 0;         // with cases that are used
};

struct FeatureSelectionReport {
  std::string dataFile;
  vlm::FeatureSelectionRun run{};
  std::string weightVariable, countVariable;  // empty when there is none
  std::string select, exclude;
  DisplayMode displayMode = DisplayMode::kBest;
  int best = 10, bestByP = 10;
  double pCriterion = 0.01;
  std::vector<ReportedPredictor> predictors;  // the continuous ones first
  std::vector<ReportedDependent> dependents;  // likewise
  std::vector<LeftOutVariable> leftOut;
  std::optional<ReportedRanking> ranking;
  std::vector<std::string> notices;  // of the run
  Provenance provenance;

  // Whether the predictors are chosen by a p-value that none of them has.
  bool NoneMeetsCriterion(const ReportedDependent& dependent) const {
    return displayMode == DisplayMode::kBelowP && dependent.best.empty();
  }
};

const char* KindName(Measurement kind);  // "continuous" or "categorical"
const char* StatisticName(PairStatistic statistic);
const char* StatisticMeaning(PairStatistic statistic);
// "epsilon squared" or "corrected Cramer's V".
const char* EffectName(PairStatistic statistic);
const char* EffectMeaning(PairStatistic statistic);
// "bh", "by", "holm", "none", and in words.
const char* AdjustmentName(stats::Adjustment adjustment);
const char* AdjustmentMeaning(stats::Adjustment adjustment);
const char* RankKeyName(ranking::RankKey key);
const char* IntervalMethodName(ranking::IntervalMethod method);
std::string ShownStatistic(const ReportedDependent& dependent, const vlm::FeatureSelectionPair& pair);
// "9, 190" for F, "9" for the others.
std::string DegreesOfFreedomText(const vlm::FeatureSelectionPair& pair);
// The rows that tables for people show of OrderedPredictors: the best ones, and up to their number
// those below that are no better than chance.
std::size_t ShownRows(const FeatureSelectionReport& report, const ReportedDependent& dependent);
// "the 10 best of 33 predictors", or "no predictor of 33 has p <= 0.01".
std::string ShownPredictors(const FeatureSelectionReport& report, const ReportedDependent& dependent);
// All predictor indices: the best ones, then the others by statistic or p-value, those without a
// score last.
std::vector<int> OrderedPredictors(const FeatureSelectionReport& report, const ReportedDependent& dependent);
// The data, the selection, the weights and the settings of the run.
std::vector<Fact> RunFacts(const FeatureSelectionReport& report);

// The layout is documented in docs/json.md.
std::string FeatureSelectionJson(const FeatureSelectionReport& report);
// One row per pair, the best of each dependent first.
std::string FeatureSelectionCsv(const FeatureSelectionReport& report);
// Tables for people. width: columns of the terminal; without utf8 the bars are ASCII.
std::string FeatureSelectionText(const FeatureSelectionReport& report, int width, bool utf8);
// A table per dependent, for an XLSX file.
Workbook FeatureSelectionWorkbook(const FeatureSelectionReport& report);
// One self-contained page.
std::string FeatureSelectionPage(const FeatureSelectionReport& report);

}  // namespace velmora
