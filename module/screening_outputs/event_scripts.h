// Event scripts of the screening graphs: pointing at a bin shows its statistics. A script is a
// frame around one block per bin:
//   record.resultTexts[kEventScriptText] =
//       FrameEventScript(ScriptTarget::kPlot, BinConditions(analysis, record));
//
// Each block follows a line break; a bin without cases has none. Numbers that are shown follow the
// locale, numbers that the script computes with are as ParseTextBuffer makes them, or (means and
// limits of the diamonds) have a point.
#pragma once

#include <string>
#include <string_view>

#include "module/screening/feature_selection_template.h"

namespace vlmfsl {

// The objects for which a script shows a text.
enum class ScriptTarget {
  kPlot,       // lines and points
  kPlotOrBox,  // these, and box plots
};

// The whole script. With empty blocks it shows nothing.
[[nodiscard]] std::string FrameEventScript(ScriptTarget target, std::string_view blocks);

// These throw HostCallError. The script of a box plot, kept in the record too; the box of a bin is
// at the number of the bin, from 1.
std::string BoxPlotEventCode(CFeatureSelectionTemplate& analysis, PredSummary& record);
// Blocks of default rates; empty without cut points.
[[nodiscard]] std::string BinConditions(CFeatureSelectionTemplate& analysis, PredSummary& record);
// Blocks of the means of a continuous response; likewise.
[[nodiscard]] std::string BinConditionsForDiamond(CFeatureSelectionTemplate& analysis, PredSummary& record);
// Blocks of a box plot of intervals or of levels.
[[nodiscard]] std::string BinConditionsForBox(CFeatureSelectionTemplate& analysis, PredSummary& record);
// The continuous response by bin, on the run's cases and weights: one row per bin that has cases
// (RowOfBin), then all cases; columns BinStatisticsColumn. Made when first asked for, kept in the
// record.
vlm::ISpreadsheet& BinStatistics(CFeatureSelectionTemplate& analysis, PredSummary& record);

}  // namespace vlmfsl
