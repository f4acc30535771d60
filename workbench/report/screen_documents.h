// The documents that a screening run has made, by their place in the report.
#pragma once

#include <vector>

namespace velmora {

// What MakeScreenDocuments made: ids of the session's workbook.
struct ScreenDocuments {
  struct Panel {
    std::vector<int> tables, graphs;
  };
  // By response; the panels by rank.
  std::vector<std::vector<Panel>> panels;
  int rules = 0;  // the rules of the predictors that have panels; 0: none
};

}  // namespace velmora
