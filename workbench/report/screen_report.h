// The results of a screening run as plain data, read once from the module. Terminal tables, JSON,
// CSV, the workbook and the page are all made from it.
#pragma once

#include <algorithm>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "contract/screening_results.h"
#include "workbench/binning/cross_validate.h"
#include "workbench/data/table.h"
#include "workbench/documents/workbook.h"
#include "workbench/procedures/host_procedures.h"
#include "workbench/report/provenance.h"
#include "workbench/session/analysis_notes.h"
#include "workbench/stats/association.h"

namespace velmora {

struct ScreenedLevel {
  double value = 0;
  std::string text;
  int bin = 0;
};

struct ScreenedBin {
  std::string label;
  vlm::ScreeningBin figures{};
  std::vector<double> counts;  // one per code of the response
};

// A warning that many predictors of a response can get, each with its figure.
enum class CommonWarning { kNone, kInformationValue, kAuc };

// A reason to be careful with a predictor.
struct ScreenWarning {
  const char* kind;  // in JSON: "leakage", "identifier", "code"
  std::string text;
  CommonWarning common = CommonWarning::kNone;
  double figure = 0;  // of a common warning
};

struct ScreenedPredictor {
  std::string name;
  vlm::ScreeningPredictor figures{};
  std::int64_t cases = 0, missing = 0;  // rows used for the response, with and without a value
  std::vector<double> cutPoints;
  std::vector<ScreenedBin> bins;
  bool missingHasOwnBin = false;      // the last of the bins holds the cases without a value alone
  ScreenedBin total;                  // all cases; its information value is the predictor's
  std::vector<ScreenedLevel> levels;  // of a categorical predictor, by rising value
  // 95 % interval of the out-of-fold figure that the response's predictors are ranked by:
  // information value, or share of variance or deviance explained.
  std::optional<binning::Interval> heldOutInterval;
  // How many of the last bins a search does not join: those of special codes, and of missing values
  // alone.
  std::size_t separateBins = 0;
  // The bins were searched for on these cases, so a test that ignores the search is invalid.
  bool searched = false;
  // P-values of the search for bins, by permutations: for this predictor, and for the best of all.
  // NaN: not tested.
  double searchP = std::numeric_limits<double>::quiet_NaN();
  double adjustedSearchP = std::numeric_limits<double>::quiet_NaN();
  // With sampling weights, strata or clusters: the association of the bins with the response, its
  // test and design effect. p is multiplied by the number of partitions that a search has compared.
  std::optional<stats::Association> association;
  std::vector<ScreenWarning> warnings;
  // Among the predictors that were compared with each other: the cluster, from 1 (0: not compared),
  // the place of the better predictor that says the same (-1: none) with the association of their
  // bins, and the place, from 1, in the order in which they add most, with the share that it adds.
  int cluster = 0;
  int sameAs = -1;
  double sameAsV = 0;
  int addsPlace = 0;
  double addsShare = 0;

  // Whether a bin holds only missing values or special codes, so that it has no place in the order
  // of the others.
  bool IsApart(std::size_t bin) const {
    if (bin + separateBins >= bins.size()) return true;
    const bool interval = figures.categorical != 0 || bin <= cutPoints.size();
    return !interval || (missingHasOwnBin && bin + 1 == bins.size());
  }
};

struct FailedPredictor {
  int number = 0;
  std::string name;
  std::string reason;
};

// How many cases were used, and why the others were not.
struct ScreenedCases {
  std::int64_t used = 0;
  std::int64_t notSelected = 0;
  std::int64_t withoutWeight = 0;    // the weight is missing or not above 0
  std::int64_t withoutResponse = 0;  // missing
  std::int64_t otherCodes = 0;       // the response has a code that was not chosen
  // Of the weights of those used: their sum as the file has them, and how many independent cases
  // without weights they are worth (Kish 1965, Survey Sampling, section 11.7; of a sample of
  // clusters for the response).
  double totalWeight = 0;
  double effective = 0;
};

// "950 used; left out: 30 not selected, 20 without a value".
std::string CasesText(const ScreenedCases& cases);

struct ScreenReport;
// The effective number of cases with weights, strata and clusters: "1,200 cases are worth 960
// (design effect 1.25)"; empty without them.
std::string WeightsText(const ScreenReport& report, const ScreenedCases& cases);

// The figure by which predictors are ranked.
enum class RankBy {
  kPrescribed,  // by the sort choice of the dialog
  kOutOfFold,   // information value, or share of variance or deviance explained, of cases held out
  kOutOfFoldGini,
  kInformationValue,
  kGini,
  kChiSquare,
  kP,
  kCramersV,
  kRSquared,
  kF,
  kRSquaredOfRanks,
};

struct ScreenedResponse {
  vlm::ResponseKind kind = vlm::kBinaryResponse;
  std::string name;
  vlm::ScreeningRun run{};
  RankBy rankedBy = RankBy::kPrescribed;
  bool savesChance = true;  // those no better than chance may be among the best
  ScreenedCases cases;
  std::vector<std::string> codes;             // as outputs show them; binary: bad, good
  std::vector<ScreenedPredictor> predictors;  // best first
  std::vector<FailedPredictor> failed;
  // How many predictors, the first ones, were compared with each other; corrected Cramer's V of
  // their bins, row by row.
  std::size_t compared = 0;
  std::vector<double> associations;
  // How many predictors come before those that say the same as a better one; these are never among
  // the best.
  std::optional<std::size_t> distinct;
};

// How many predictors are better than chance, or not known to be no better; they come first.
std::size_t CountAboveChance(const ScreenedResponse& response);

inline constexpr int kBestOnTerminal = 5;
inline constexpr int kBestInDocuments = 20;

struct StabilityReport;

struct ScreenReport {
  std::string dataFile;
  std::int64_t caseCount = 0;
  std::int64_t selectedCases = 0;
  std::string weightVariable, countVariable;    // empty when there is none
  std::string strataVariable, clusterVariable;  // of a sample's design; empty when there is none
  WeightMeaning weights = WeightMeaning::kAsGiven;
  Provenance provenance;  // empty for scripts
  std::string select, exclude;
  std::string cutPointsFile;
  bool classic = true;            // exactly as the dialogs make it
  bool optimal = false;           // optimal bins, not trees
  bool correctsPureBins = false;  // as vlm::ScreeningSettings::correctPureBins
  bool pruned = true;             // trees
  int permutations = 0;           // of the response, for the p-values of the searches; 0: none
  int seed = 1;                   // of their random numbers
  // Predictors of each response whose bins are shown to people; -1: as many as the output has by
  // default.
  int best = -1;
  std::vector<ScreenedResponse> responses;
  std::vector<LeftOutVariable> leftOut;
  std::vector<std::string> notices;
  std::shared_ptr<const StabilityReport> stability;  // of --by; may be null

  // How many of a response's predictors are among its best.
  static std::size_t BestOf(const ScreenedResponse& response) {
    if (response.distinct) return *response.distinct;
    return response.savesChance ? response.predictors.size() : CountAboveChance(response);
  }
  // How many of a response's predictors are shown with their bins; otherwise: when the user gave no
  // number.
  std::size_t ShownOf(const ScreenedResponse& response, int otherwise) const {
    return std::min(BestOf(response), static_cast<std::size_t>(best < 0 ? otherwise : best));
  }
};

const char* ResponseKindName(vlm::ResponseKind kind);               // "binary"...
const char* PredictorKindName(const ScreenedPredictor& predictor);  // "continuous" or "categorical"

// A statistic of a response kind, as importance tables show it.
struct ScreenStatistic {
  const char* header;
  double vlm::ScreeningPredictor::*value;
  const char* format;  // of ShownNumber; null: a probability
};
// A figure that predictors of a response kind can be ranked by.
struct ScreenRanking {
  RankBy by;
  vlm::ResponseKind kind;
  const char* name;  // in --rank-by and JSON
  ScreenStatistic statistic;
  bool smallestFirst;
};
const std::vector<ScreenRanking>& ScreenRankings();
// The figure of RankBy for the response kind. For kPrescribed, and for a figure that the kind does
// not have, it is the sort choice of the dialog.
const ScreenRanking& RankingOf(vlm::ResponseKind kind, RankBy by, int sortChoice);
const ScreenRanking& RankingOf(const ScreenedResponse& response);

// The statistics that tables of a response show: the one it is ranked by first.
std::vector<ScreenStatistic> StatisticsOf(const ScreenedResponse& response);
// The strength of a predictor by the ranking: not negative, larger is better. Bars show it.
double StrengthOf(const ScreenedResponse& response, const vlm::ScreeningPredictor& figures);
// Whether there are figures of held-out cases.
bool IsCrossValidated(const ScreenedResponse& response);

// A column of bin tables.
struct ScreenBinColumn {
  const char* header;
  const char* name;  // in JSON
  double vlm::ScreeningBin::*value;
  const char* format;  // null: not shown on a terminal, which is narrow
};
// Empty for a categorical response, whose bins have counts alone.
const std::vector<ScreenBinColumn>& BinColumnsOf(vlm::ResponseKind kind);

// The data, the selection, the weights and the settings of the run.
std::vector<Fact> RunFacts(const ScreenReport& report);

// The layout is documented in docs/json.md.
std::string ScreenJson(const ScreenReport& report);
// One row per response and predictor, best first, then those that failed.
std::string ScreenImportanceCsv(const ScreenReport& report);
// One row per bin of every predictor.
std::string ScreenBinsCsv(const ScreenReport& report);
// Tables for people. width: columns of the terminal; without utf8 the bars are ASCII.
std::string ScreenText(const ScreenReport& report, int width, bool utf8);
// Tables for an XLSX file: rankings, all bins, and the bins of the best predictors.
Workbook ScreenWorkbook(const ScreenReport& report);

}  // namespace velmora
