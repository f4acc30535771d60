// A scorecard and how well it does, as plain data for all outputs.
#pragma once

#include <string>
#include <vector>

#include "workbench/bins/saved_bins.h"
#include "workbench/documents/workbook.h"
#include "workbench/report/provenance.h"
#include "workbench/report/report_table.h"
#include "workbench/scorecard/scorecard.h"

namespace velmora {

// Cases that a scorecard was measured on.
struct ScorecardSample {
  std::string name;  // "training", "holdout" or "test"
  std::string file;
  ScoreQuality quality;
};

struct ScorecardReport {
  Provenance provenance;
  std::string dataFile, binsFile;
  std::int64_t caseCount = 0;
  std::string weightVariable, countVariable;  // empty when there is none
  bool rawWeights = false;
  std::string select, exclude;
  ScorecardSettings settings;
  FittedScorecard card;
  SavedBins saved;  // the response alone, with its scorecard and the predictors in it
  std::vector<std::vector<SavedCounts>> counts;  // of the training cases: by term, by bin
  std::vector<ScorecardSample> samples;          // the first is the training sample
  // Predictors of the bins that are not in the scorecard.
  std::vector<std::string> leftOut;
  std::vector<std::string> notices;

  const SavedResponse& Response() const { return saved.responses.front(); }
  const SavedScorecard& Scorecard() const { return *Response().scorecard; }
};

// The tables of all outputs.
struct ScorecardTables {
  ReportTable quality, coefficients, points, scores, steps;
};
// upTo: the highest score of each band; that of the last one does not matter.
std::string ScoreBandLabel(const std::vector<double>& upTo, std::size_t band);

ScorecardTables TablesOf(const ScorecardReport& report);

// The layout is documented in docs/json.md.
std::string ScorecardJson(const ScorecardReport& report);
std::string ScorecardText(const ScorecardReport& report, int width, bool utf8);
Workbook ScorecardWorkbook(const ScorecardReport& report);
std::string ScorecardPage(const ScorecardReport& report);

}  // namespace velmora
