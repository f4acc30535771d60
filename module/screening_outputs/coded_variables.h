// The bins of screened predictors as variables of the input table, and the lists of best predictors
// as its bundles.
//
//   if (AddCodedVariables(analysis, 10, false) == Addition::kAdded) Show("Saved.");
#pragma once

#include <span>
#include <vector>

#include "module/screening/feature_selection_template.h"

namespace vlmfsl {

// The bin of a value, by the comparisons of the host when it runs a recode file or a rules script:
// with the cut points as they are printed there, and equality within the tolerance.
class BinFinder {
 public:
  explicit BinFinder(const PredSummary& record);
  // From 0; -1 for not-a-number and for a level that has no bin.
  [[nodiscard]] int BinOf(double value) const;

 private:
  struct Level {
    double code;
    int bin;
  };
  bool levels_;
  std::vector<double> bounds_;  // a value is above a cut point when it is greater than the bound
  std::vector<Level> levelBins_;
};

enum class Addition { kAdded, kCancelled, kNotAdded };

// Adds a coded variable to the input spreadsheet for each of the best predictors of each response
// kind, at most count of each: node numbers of the bins, with the bins' labels; missing where the
// predictor is missing and such cases have no bin, or its level has none. Every case is coded,
// selected or not. toBundle: with a bundle of them for each response. Shows progress and can be
// cancelled. Unless kAdded, the spreadsheet is as it was. Throws std::bad_alloc.
[[nodiscard]] Addition AddCodedVariables(CFeatureSelectionTemplate& analysis, int count, bool toBundle);

// Adds two bundles for each response, the best continuous and the best categorical predictors among
// the first count, and informs the user. Returns kOk, or kFailed and adds none.
[[nodiscard]] int SavePredictorBundles(CFeatureSelectionTemplate& analysis, int count);

}  // namespace vlmfsl
