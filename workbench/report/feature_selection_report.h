// What a feature selection run found, as plain data that the writers share: read once from the module's
// results.
#pragma once

#include <string>
#include <vector>

#include "contract/results.h"
#include "workbench/data/table.h"
#include "workbench/session/analysis_notes.h"

namespace velmora {

struct ReportedPredictor {
  int number = 0;
  std::string name;
  Measurement kind = Measurement::kContinuous;
};

struct ReportedDependent {
  int number = 0;
  std::string name;
  Measurement kind = Measurement::kContinuous;
  std::string statisticName;
  std::vector<vlm::FeatureSelectionPair> pairs;  // one a predictor, in the order of the report's predictors
  std::vector<int> best;                         // predictor indices, best first
  std::vector<std::string> notices;
};

enum class DisplayMode { kBest = 0, kBelowP = 1, kBestByP = 2 };

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
};

const char* KindName(Measurement kind);  // "continuous" or "categorical"

// The layout is documented in docs/json.md.
std::string FeatureSelectionJson(const FeatureSelectionReport& report);
// One row a pair, the best of each dependent first.
std::string FeatureSelectionCsv(const FeatureSelectionReport& report);
// Tables for a person. width: columns of the terminal; without utf8 the bars are ASCII.
std::string FeatureSelectionText(const FeatureSelectionReport& report, int width, bool utf8);

}  // namespace velmora
