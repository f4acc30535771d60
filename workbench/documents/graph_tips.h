// The texts that a graph's event script shows at the places of the graph. They are made when the
// graph is written, because a page does not run the script.
//
//   for (const auto& [from, to, text] : TipsOf(graph).stretches) Draw(from, to, text);
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
  std::vector<Stretch> stretches;                  // of the pieces of a line with gaps, ascending
  std::vector<std::vector<std::string>> elements;  // by series and box
};

// Runs the script for a point inside every piece of a line with gaps and at every box and diamond.
// A script that fails gives no texts.
GraphTips TipsOf(const Graph& graph);

}  // namespace velmora
