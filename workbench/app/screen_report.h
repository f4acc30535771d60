// What a screening run found, as plain data that the writers share: read once from the module's results.
#pragma once

#include <string>
#include <vector>

#include "frame/host/screening_results.h"
#include "workbench/app/variable_choice.h"
#include "workbench/data/table.h"

namespace velmora {

struct ScreenedLevel {
  double value = 0;
  std::string text;
  int bin = 0;
};

struct ScreenedBin {
  std::string label;
  vlm::ScreeningBin figures{};
  std::vector<double> counts;  // one a code of the response
};

struct ScreenedPredictor {
  std::string name;
  vlm::ScreeningPredictor figures{};
  std::vector<double> cutPoints;
  std::vector<ScreenedBin> bins;
  ScreenedBin total;                  // all cases; its information value is the predictor's
  std::vector<ScreenedLevel> levels;  // of a categorical predictor, by rising value
};

struct FailedPredictor {
  int number = 0;
  std::string name;
  std::string reason;
};

struct ScreenedResponse {
  vlm::ScreeningResponse kind = vlm::kBinaryResponse;
  std::string name;
  vlm::ScreeningRun run{};
  std::vector<std::string> codes;             // as outputs show them; binary: bad, good
  std::vector<ScreenedPredictor> predictors;  // best first
  std::vector<FailedPredictor> failed;
};

struct ScreenReport {
  std::string dataFile;
  std::int64_t caseCount = 0;
  std::int64_t selectedCases = 0;
  std::string weightVariable;  // empty when there is none
  std::string select, exclude;
  std::string cutPointsFile;
  bool pruned = true;
  int best = 0;  // predictors of each response whose bins are shown to people
  std::vector<ScreenedResponse> responses;
  std::vector<LeftOutVariable> leftOut;
  std::vector<std::string> notices;
};

const char* ResponseKindName(vlm::ScreeningResponse kind);          // "binary"...
const char* PredictorKindName(const ScreenedPredictor& predictor);  // "continuous" or "categorical"

// A statistic of a response kind, as importance tables show it.
struct ScreenStatistic {
  const char* header;
  double vlm::ScreeningPredictor::*value;
  const char* format;  // of ShownNumber; null: a probability
};
const std::vector<ScreenStatistic>& StatisticsOf(vlm::ScreeningResponse kind);
const ScreenStatistic& SortStatisticOf(const ScreenedResponse& response);

// A column of bin tables.
struct ScreenBinColumn {
  const char* header;
  const char* name;  // in JSON
  double vlm::ScreeningBin::*value;
  const char* format;  // null: not shown on a terminal, which is narrow
};
// Empty for a categorical response, whose bins have counts alone.
const std::vector<ScreenBinColumn>& BinColumnsOf(vlm::ScreeningResponse kind);

// The layout is documented in docs/json.md.
std::string ScreenJson(const ScreenReport& report);
// A row a response and predictor, best first, then those that failed.
std::string ScreenImportanceCsv(const ScreenReport& report);
// A row a bin of every predictor.
std::string ScreenBinsCsv(const ScreenReport& report);
// Tables for a person. width: columns of the terminal; without utf8 the bars are ASCII.
std::string ScreenText(const ScreenReport& report, int width, bool utf8);

}  // namespace velmora
