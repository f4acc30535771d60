// The tables of a finished analysis, made of the rows of its JSON.
#pragma once

#include <string>

#include "workbench/api/arrow_export.h"
#include "workbench/cli/finished_run.h"

namespace velmora {

// name: "ranking", a row per outcome and predictor, or "bins", a row per bin of a screening. Throws
// UsageError for another name.
ArrowTable ResultTable(FinishedRun& run, const std::string& name);

}  // namespace velmora
