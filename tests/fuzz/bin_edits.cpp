// Up to four edits of saved bins, one per line: each keeps the counts of all cases or changes
// nothing, undoing all of them gives the bins as they were found.
#include <cmath>
#include <string>
#include <vector>

#include "tests/fuzz/fuzz_support.h"
#include "workbench/bins/edit_bins.h"
#include "workbench/bins/saved_bins.h"

namespace velmora {

namespace {

constexpr char kBins[] = R"json({"format":"velmora bins","version":2,"dataFile":"credit.csv","responses":[
{"name":"risk","kind":"binary","codes":["bad","good"],"pureBinCorrection":true,"predictors":[
{"name":"housing","kind":"categorical","codedVariable":"h","figureVariables":["h_WOE"],
 "levels":[{"level":"for free","bin":1,"counts":[44,64]},{"level":"own","bin":0,"counts":[186,527]},
           {"level":"rent","bin":1,"counts":[70,109]}],
 "bins":[{"label":"own","woe":19.4,"counts":[186,527]},{"label":"others","woe":-43,"counts":[114,173]}]},
{"name":"age","kind":"continuous","codedVariable":"a","figureVariables":["a_WOE"],"cutPoints":[26,40],
 "preBins":[{"first":19,"last":22,"counts":[20,30]},{"first":23,"last":26,"counts":[70,100]},
            {"first":27,"last":40,"counts":[90,200]},{"first":41,"last":75,"counts":[120,370]}],
 "bins":[{"label":"(-Inf, 26]","woe":-40,"counts":[90,130]},{"label":"(26, 40]","woe":4,"counts":[90,200]},
         {"label":"(40, Inf)","woe":27,"counts":[120,370]}]}]}]})json";

void CheckCounts(const SavedBins& bins) {
  for (const SavedResponse& response : bins.responses) {
    for (const SavedPredictor& predictor : response.predictors) {
      fuzz::Require(!predictor.bins.empty(), "a predictor has a bin");
      fuzz::Require(TotalCounts(predictor) == SavedCounts{300, 700}, "every case is in one bin");
    }
  }
}

void Run(std::string_view text) {
  static const SavedBins found = ParseBinsJson(kBins, "bins.json");
  static const std::string printedFound = BinsJson(found);
  SavedBins bins = found;
  std::string printed = printedFound;
  constexpr int kMostEdits = 4;
  std::size_t end = 0;
  for (int i = 0; i < kMostEdits && !text.empty(); ++i, text.remove_prefix(end)) {
    end = std::min(text.find('\n'), text.size() - 1) + 1;
    BinEdit edit;
    try {
      edit = ParseBinEdit(text.substr(0, end));
    } catch (const DataError&) {
      continue;
    }
    try {
      ApplyEdit(edit, bins);
      printed = BinsJson(bins);
    } catch (const DataError&) {
      fuzz::Require(BinsJson(bins) == printed, "an edit that is refused changes nothing");
    }
    CheckCounts(bins);
  }
  if (printed == printedFound) return;
  fuzz::Require(BinsJson(ParseBinsJson(printed, "edited.json")) == printed, "edited bins can be read again");
  while (UndoEdit(bins)) CheckCounts(bins);
  for (std::size_t i = 0; i < bins.responses[0].predictors.size(); ++i) {
    const SavedPredictor& now = bins.responses[0].predictors[i];
    const SavedPredictor& then = found.responses[0].predictors[i];
    fuzz::Require(now.cutPoints == then.cutPoints && now.bins.size() == then.bins.size(),
                  "undoing every edit gives the bins as they were");
  }
}

}  // namespace

}  // namespace velmora

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  return velmora::fuzz::Try(bytes, size, velmora::Run);
}
