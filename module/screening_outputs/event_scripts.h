// Event scripts of the screening graphs: pointing at a bin shows its statistics. A script is a frame around one block
// a bin; the blocks come from CFeatureSelectionTemplate::BinConditions, BinConditionsForDiamond and
// BinConditionsForBox.
#pragma once

#include <string>
#include <string_view>

namespace vlmfsl {

// What the pointer must be on for a script to answer.
enum class ScriptTarget {
  kPlot,       // lines and points
  kPlotOrBox,  // these, and box plots
};

// The whole script. blocks may be empty: pointing then shows nothing.
[[nodiscard]] std::string FrameEventScript(ScriptTarget target, std::string_view blocks);

}  // namespace vlmfsl
