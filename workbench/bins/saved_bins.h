// Bins of screened predictors, apart from the data they were found in: enough to code other cases,
// in any program. Written as JSON, SQL and Python; the JSON is read back.
//
//   SavedBins bins = ParseBinsJson(text, "bins.json");
//   WriteFile("bins.py", BinsPython(bins));
//
// Every predictor gives variables: the label of the case's bin, and figures of the bin: weight of
// evidence of a binary response, mean of a continuous one, a share for each class of a categorical
// one. A value without a bin gives none of them: a missing one, or a level that screening has not
// seen, unless the predictor has a bin for it.
//
// Counts of the cases that bins were made from go along, so that bins can be edited without the
// data (edit_bins.h).
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace velmora {

// Weighted cases. Binary or categorical response: those of each code. Continuous response: their
// number, the sum of the response and the sum of its squares. Empty: not known.
using SavedCounts = std::vector<double>;

struct SavedLevel {
  std::optional<double> number;  // none: the column holds texts
  std::string text;              // of a text column, or the label of the number; may be empty
  int bin = 0;
  SavedCounts counts = {};
};

struct SavedBin {
  std::string label;
  std::vector<double> figures;  // as SavedPredictor::figureVariables; kMissing where there is none
  SavedCounts counts = {};
  bool hasUserLabel = false;
};

// A run of neighboring values of a continuous predictor.
struct SavedPreBin {
  double first = 0, last = 0;
  SavedCounts counts;
};

// A correction of a predictor's bins by hand; see edit_bins.h. Bins are numbered from 0.
struct BinEdit {
  enum class Kind { kMerge, kSplit, kMove, kGroup, kLabel, kReset };
  // A level or a special code, by its number or by a text that is or reads as it.
  struct Value {
    std::optional<double> number;
    std::string text;
  };
  Kind kind = Kind::kMerge;
  std::string response, predictor;
  // Merge: two or more; label: one; group: the target, or none for a new one.
  std::vector<int> bins;
  std::vector<Value> values;    // group
  bool missing = false;         // group: the missing values too
  bool others = false;          // group: levels that are not listed too
  double cutPoint = 0, to = 0;  // split: at cutPoint; move: from cutPoint to the other
  std::string label;            // label; empty: the one that the bin has by itself
};

struct SavedPredictor {
  std::string name;
  bool categorical = false;
  bool isTruth = false;               // categorical: the levels 1 and 0 are true and false
  std::optional<double> missingCode;  // a number in the data that means no answer
  std::string codedVariable;
  std::vector<std::string> figureVariables;
  // Ascending. A bin includes its upper end, and whatever equals it within 15 units in the last
  // place.
  std::vector<double> cutPoints;
  // Of a categorical predictor: its levels. Of a continuous one: its special codes, which the cut
  // points do not apply to.
  std::vector<SavedLevel> levels;
  std::optional<int> missingBin;  // the bin of missing values; none: they are in no bin
  std::optional<int> otherBin;    // categorical: the bin of levels that are not among levels
  std::vector<SavedBin> bins;
  // Of a continuous predictor, ascending, at most kMostPreBins.
  std::vector<SavedPreBin> preBins;
  SavedCounts missingCounts;
  // The predictor before the first edit; null: not edited.
  std::shared_ptr<const SavedPredictor> original;

  // Bins of ordered values, which come before all others: those of a continuous predictor.
  std::size_t IntervalCount() const { return categorical ? 0 : cutPoints.size() + 1; }
};

inline constexpr std::size_t kMostPreBins = 100;

// Points for the bins of a binary response's predictors. The score of a case is the sum of its
// points: basePoints where good to bad is `odds`, and pdo points more where it is
// twice as high.
struct SavedScorecard {
  struct Term {
    std::string predictor;
    double coefficient = 0;      // of the weight of evidence / 100, in the log odds of bad
    std::vector<double> points;  // one per bin
    double neutralPoints = 0;    // of a case without a bin, whose weight of evidence counts as 0
  };
  // A class of scores of the cases that the scorecard was made from.
  struct Band {
    double upTo = 0;  // the highest score in it; the last band has no end
    SavedCounts counts;
  };
  // The variables that it adds: the score and the probability of bad.
  std::string scoreVariable, probabilityVariable;
  double basePoints = 600, odds = 50, pdo = 20;
  double intercept = 0;
  std::vector<Term> terms;
  std::vector<Band> bands;                                  // may be empty
  double areaUnderCurve = kUnknown, ksDistance = kUnknown;  // of those cases
  static constexpr double kUnknown = -1;

  // Probability of bad = 1 / (1 + exp(logitStart + logitSlope * score)).
  double LogitSlope() const;
  double LogitStart() const;
  double Probability(double score) const;
};

struct SavedResponse {
  std::string name;
  std::string kind;                // binary, continuous or categorical
  std::vector<std::string> codes;  // binary: bad, good; categorical: the classes
  // Half a case is added to both counts of a bin without bad or good cases, for its weight of
  // evidence.
  bool correctsPureBins = false;
  std::vector<SavedPredictor> predictors;
  std::optional<SavedScorecard> scorecard;  // of a binary response
};

struct SavedBins {
  std::string dataFile;
  std::vector<SavedResponse> responses;
  std::vector<BinEdit> edits;  // by hand, the oldest first
};

// Numbers in a SavedCounts of this response.
std::size_t CountsPerBin(const SavedResponse& response);

// Layout in docs/json.md.
std::string BinsJson(const SavedBins& bins);
// file: what messages call it. Throws DataError that names the file and the fault in it.
SavedBins ParseBinsJson(std::string_view text, const std::string& file);

enum class SqlDialect {
  kStandard,
  kPostgresql,
  kMysql,  // and MariaDB
  kSqlServer,
  kOracle,
  kBigQuery,
  kSpark,
  kDuckDb,
  kSqlite
};
// Names of the dialects, as options take them, in the order of SqlDialect.
const std::vector<std::string>& SqlDialectNames();
// A query that adds the variables to a table: identifiers quoted, numbers in a form that reads back
// to the same double. Many databases ignore letter case in names: a variable that differs from
// another by it alone gets a number after its name. notices: gets a sentence for each such name,
// and for what the dialect cannot hold; the query says it too.
std::string BinsSql(const SavedBins& bins, std::vector<std::string>& notices,
                    SqlDialect dialect = SqlDialect::kStandard);
// A module with one function, code_case(values), that needs only the standard library.
// With scorecards, a second one, score_case(values).
std::string BinsPython(const SavedBins& bins);
// The only scorecard as PMML 4.4, with the cut points, levels and points of its predictors. Throws
// DataError when the bins have no scorecard or several.
std::string ScorecardPmml(const SavedBins& bins);

}  // namespace velmora
