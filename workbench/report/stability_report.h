// How bins, rates and scores differ between groups of cases, as plain data for all outputs: of
// 'velmora screen --by' a part of its report, of 'velmora apply --monitor' the whole.
#pragma once

#include <string>
#include <vector>

#include "workbench/documents/graph.h"
#include "workbench/report/provenance.h"
#include "workbench/report/report_table.h"
#include "workbench/scorecard/score_quality.h"
#include "workbench/scorecard/stability.h"

namespace velmora {

// Levels of a predictor that its bins do not have.
struct UnseenOfPredictor {
  std::string predictor;
  std::int64_t cases = 0;
  std::vector<std::pair<std::string, std::int64_t>> levels;  // the most frequent first
};

struct ResponseStability {
  std::string name, kind;  // kind: binary, continuous or categorical
  std::vector<std::string> codes;
  bool known = true;  // false: the new cases have no response yet
  std::vector<PredictorStability> predictors;
  // Of a scorecard: its score with bands as bins, and its quality in each group, where it is known.
  std::vector<PredictorStability> scores;  // none or one
  std::vector<double> scoreArea, scoreKs;  // by group; kMissing where it is not known
};

// A condition of --fail-on, such as psi>0.25.
struct StabilityCondition {
  std::string text;
  bool isMet = false;
  std::string finding;  // "psi of age is 0.31"; the worst value
};

struct StabilityReport {
  Provenance provenance;
  std::string dataFile;
  std::string byVariable;           // of screen --by
  std::string binsFile;             // of apply --monitor
  std::vector<std::string> groups;  // the first is the reference, unless referenceIsAll
  bool referenceIsAll = false;
  std::int64_t ungroupedCases = 0;  // without a value of byVariable
  std::vector<ResponseStability> responses;
  std::vector<UnseenOfPredictor> unseen;
  std::vector<StabilityCondition> conditions;
  std::vector<std::string> notices;
};

// The common interpretation of a population stability index: "stable", "watch" or "shifted".
const char* ReadingOf(double index);

// The tables of all outputs.
struct StabilityTables {
  ReportTable summary, groups, bins, unseen, conditions;
};
StabilityTables TablesOf(const StabilityReport& report);

// "stability" of the JSON of a screening, and the whole of a monitor's; docs/json.md has the
// layout. Without a line end.
std::string StabilityJson(const StabilityReport& report);
// Tables for people, the summary first.
std::string StabilityText(const StabilityReport& report, int width, bool utf8);
void AddStabilitySheets(const StabilityReport& report, Workbook& workbook);
Workbook StabilityWorkbook(const StabilityReport& report);
// Sections of a page: a table, and small multiples of the least stable predictors.
PageJson StabilitySections(const StabilityReport& report, Page& page);
std::string StabilityPage(const StabilityReport& report);

}  // namespace velmora
