// Single files with the results of an analysis or a scorecard, each as the command writes it.
//
//   std::string rules = AnalysisFile(*run, "rules", ParseScreen(words).save, {});
#pragma once

#include <string>
#include <vector>

#include "workbench/bins/saved_bins.h"
#include "workbench/cli/finished_run.h"
#include "workbench/cli/screen/screen_save.h"

namespace velmora {

// format: html, xlsx, json, csv (the first table), tables (all of them in a ZIP archive) or text (as
// the terminal shows it); of a screening also rules and recode (a ZIP archive), of the predictors
// that save names. Throws UsageError and RunError.
std::string AnalysisFile(FinishedRun& run, const std::string& format, const SaveOptions& save,
                         const OutputOptions& output);

// Writes the data to file, whose ending says how: of a screening with the coded variables of the
// predictors that save names, of a feature selection with the best predictors as bundles. Throws
// RunError and DataError.
void WriteTableFile(FinishedRun& run, const SaveOptions& save, const OutputOptions& output,
                    const std::string& file);

// format: html, xlsx, json, csv, tables, text, or card (for velmora apply), python, pmml or sql.
std::string ScorecardFile(const ScorecardReport& report, const std::string& format,
                          const std::string& dialect);

// Empty: the first dialect. Throws UsageError.
SqlDialect SqlDialectNamed(const std::string& name);

}  // namespace velmora
