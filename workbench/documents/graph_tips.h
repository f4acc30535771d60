// The texts that a graph's event script shows at the places of the graph, taken when the graph is written,
// since whoever reads the page has nothing that runs the script.
#pragma once

#include <string>
#include <vector>

#include "workbench/documents/graph.h"

namespace velmora {

struct GraphTips {
  // A stretch of the position axis and its text.
  struct Stretch {
    double from = 0, to = 0;
    std::string text;
  };
  std::vector<Stretch> stretches;                  // of the pieces of a line with gaps, ascending
  std::vector<std::vector<std::string>> elements;  // by series and box; empty where there is no text
};

// Runs the script for a point inside every piece of a line with gaps and at every box and diamond. A script
// that cannot be run gives no texts.
GraphTips TipsOf(const Graph& graph);

}  // namespace velmora
