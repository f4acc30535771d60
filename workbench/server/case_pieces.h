// The cases of a predictor in the smallest pieces that edits of its bins move: pre-bins, levels,
// special codes, missing values. How the pieces fall into folds and into groups of cases gives the
// figures of held-out cases and the stability over groups after every edit, without the data.
//
//   const std::optional<CasePieces> pieces = CountPieces(cases, response);  // a child of the worker
//   if (pieces) WorthOfCases(*pieces, edited)["outOfFold"];                 // the server, after an edit
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "workbench/binning/pre_bins.h"
#include "workbench/bins/saved_bins.h"
#include "workbench/cli/screen/screening_cases.h"
#include "workbench/report/json_text.h"

namespace velmora {

struct CasePieces {
  // In the order: pre-bins, levels or special codes, missing values when there are any.
  SavedPredictor predictor;  // its pieces, without counts
  bool hasMissing = false;
  std::vector<binning::PreBinSums> folds;
  std::string by;  // variable of the groups; empty: there are none
  std::vector<std::string> groups;
  bool referenceIsAll = false;
  std::vector<std::vector<SavedCounts>> counts;  // by group, by piece
  std::vector<std::vector<double>> cases;
  std::vector<double> weightSpread;  // by group, as of GroupedPredictor
};

// response: of the screening of these cases, with one predictor and its counts. Nothing for a
// predictor of too many pieces. Throws DataError for a response that the cases do not have.
std::optional<CasePieces> CountPieces(const ScreeningCases& cases, const SavedResponse& response);

std::string PiecesJson(const CasePieces& pieces);
CasePieces ParsePieces(const std::string& json);

// "outOfFold": information value and Gini, or the share explained, of the bins as they are,
// the mean over folds whose cases had no part in their figures; with groups "stability":
// "by", and "psi" and "strength" of each of the "groups". response: its one predictor is
// that of the pieces, edited.
Json WorthOfCases(const CasePieces& pieces, const SavedResponse& response);

}  // namespace velmora
