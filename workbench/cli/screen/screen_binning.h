// The options of screen about bins: how they are searched for, what shape they have, where missing
// values go, and by which figure predictors are ranked.
//
//   BinningOptions binning;
//   binning.AddTo(parser);
//   parser.Parse(arguments);
//   binning.Check(parser, request);
//   notes.binning = binning.MakePlan(table, choice);   // null with --classic
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "workbench/cli/options.h"
#include "workbench/cli/screen/screen_choice.h"
#include "workbench/procedures/host_procedures.h"
#include "workbench/report/screen_report.h"

namespace velmora {

class SearchLog;

struct BinningOptions {
  bool classic = false;  // the run exactly as the dialogs make it
  int search = 0;        // --binning: 0 optimal, 1 tree
  int criterion = 0;
  std::vector<std::string> shapes;  // WORD or NAME=WORD
  std::string shapesFile;           // {"NAME": "WORD", ...}; --shape comes before it
  int preBins = 100, maxBins = 8, minBins = 1, binCount = 0, minCases = 0, minEvents = 0;
  double minShare = 0.05, minLevelShare = 0.01, maxAdjacentP = 1;
  int missingBin = -1;        // a vlm::MissingBin; -1: their own bin, left out with trees
  int pureBinCorrection = 0;  // 0 on, 1 off
  int rankBy = 0;             // place among the words of --rank-by
  bool saveChance = false;
  WeightMeaning weights = WeightMeaning::kAsGiven;

  void AddTo(CommandParser& parser);
  // Throws UsageError for options that contradict each other or that no response of the run has.
  void Check(const CommandParser& parser, const ScreenRequest& request) const;
  // Null with --classic. Throws UsageError for a wrong name.
  std::shared_ptr<const BinningPlan> MakePlan(const Table& table, const ScreenChoice& choice) const;
  // Applies to responses that have the figure; see RankPredictors.
  RankBy Ranking(const CommandParser& parser) const;
};

// Bins that hold values other than special codes and missing ones.
std::size_t ValueBinCount(const ScreenedPredictor& predictor);

// A sentence for each response that has predictors with fewer or more bins than the plan asks for,
// because the other rules or the predictor's values allow no others, and for each rule that allows
// only one bin.
std::vector<std::string> UnmetBinCounts(const ScreenReport& report, const BinningPlan& plan);
// A sentence for each response and shape that some predictors do not have, with those that they have.
std::vector<std::string> UnmetShapes(const ScreenReport& report, const SearchLog& log);

}  // namespace velmora
