// Runs the event scripts that graphs carry: Document_OnToolTipDisplay gives the text for a place of
// the graph.
//
//   const EventScript script(graph.eventScript, graph.decimalSeparator);
//   std::string text = script.ToolTip("Plot2DSimple", std::array{2.5, 40.0});
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "workbench/language/basic_program.h"

namespace velmora {

// Parsed once, then run for any number of places.
class EventScript {
 public:
  // decimalSeparator: of the script's numbers and of the texts it makes. file: what messages call
  // the script. Throws DataError that names file, line and reason.
  EventScript(std::string_view script, std::string_view decimalSeparator,
              const std::string& file = "event script");

  // The text for a place, lines separated by CR LF; empty where there is none. objectType: what
  // TypeName says of the object pointed at, such as Plot2DSimple or PlotBoxWhisker. coordinates:
  // Coords(1), Coords(2), ... Throws DataError.
  std::string ToolTip(std::string_view objectType, std::span<const double> coordinates) const;

 private:
  BasicProgram program_;
  char decimalMark_;
};

}  // namespace velmora
