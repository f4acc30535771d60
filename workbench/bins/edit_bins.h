// Corrections of saved bins by hand, with the figures that follow from the saved counts. The data
// are not needed.
//
//   SavedBins bins = ParseBinsJson(text, "bins.json");
//   ApplyEdit({.kind = BinEdit::Kind::kMerge, .predictor = "age", .bins = {1, 2}}, bins);
//   UndoEdit(bins);   // as it was
//
// The edits are kept in the bins. Undo starts from the bins as they were found and repeats all
// edits but the last, so it works on a file that was closed in between.
#pragma once

#include <string>
#include <string_view>

#include "workbench/bins/saved_bins.h"

namespace velmora {

// Merge: bins of ordered values must be neighbors; any bin takes levels, special codes and missing
// values. Split: a bin of ordered values in two at a cut point that the saved pre-bins resolve.
// Move: a cut point to another place between its neighbors. Group: levels, special codes, missing
// values or other levels into one bin, an existing one or a new one; a bin left empty is removed.
// Label: a bin's own text. Reset: the predictor, or without one all of them, as they were found.
//
// An empty response means the one that has the predictor. Throws DataError with one sentence and
// leaves the bins as they were.
void ApplyEdit(const BinEdit& edit, SavedBins& bins);

// The edit that a member of "edits" in the JSON of saved bins describes (docs/json.md). Throws
// DataError.
BinEdit ParseBinEdit(std::string_view json);

// Takes the last edit back; false when there is none.
bool UndoEdit(SavedBins& bins);

// The predictor of a response; an empty response means the only one that has it. Throws DataError
// with the nearest name.
const SavedPredictor& FindPredictor(const SavedBins& bins, const std::string& response,
                                    const std::string& predictor);

// The response's sums over all bins of the predictor; empty when counts are not known.
SavedCounts TotalCounts(const SavedPredictor& predictor);
// The part of a binary response's information value that a bin adds; kMissing when it has none.
double InformationValue(const SavedBin& bin, const SavedCounts& total);

}  // namespace velmora
