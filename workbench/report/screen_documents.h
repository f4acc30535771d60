// The documents that the page of a screening run shows, by their place in the report.
#pragma once

#include <vector>

namespace velmora {

// Ids of documents in the session's workbook.
struct ScreenDocuments {
  struct Panel {
    std::vector<int> graphs;
  };
  std::vector<std::vector<Panel>> panels;  // by response and rank
  int rules = 0;                           // the rules of the predictors that have panels; 0: none
};

}  // namespace velmora
