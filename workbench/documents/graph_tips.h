// The tooltips of a graph's event script. A page cannot run the script, so its texts are taken when
// the page is written.
#pragma once

#include <string>
#include <vector>

#include "workbench/documents/graph.h"

namespace velmora {

struct GraphTips {
  // An interval of the position axis and its text.
  struct Stretch {
    double from = 0, to = 0;
    std::string text;
  };
  std::vector<Stretch> stretches;                  // for the pieces of a line with gaps, ascending
  std::vector<std::vector<std::string>> elements;  // by series and box; empty where there is no text
};

// Runs the script for a point inside every piece of a line with gaps, and at every box and diamond.
// A script that cannot be run gives no texts.
GraphTips TipsOf(const Graph& graph);

}  // namespace velmora
