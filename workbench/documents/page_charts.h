// Graphs as parts of a page, which page/charts.js draws.
#pragma once

#include <string>

#include "workbench/documents/graph.h"
#include "workbench/documents/page.h"
#include "workbench/documents/short_names.h"

namespace velmora {

// The chart part of a graph, or null when the page does not draw it. id: of the chart's element.
// tableId: of the table that holds the same values, may be empty. Records in the page which
// libraries the chart needs.
PageJson ChartPart(const Graph& graph, const std::string& id, const std::string& tableId,
                   const ShortNames& shortNames, Page& page);

}  // namespace velmora
