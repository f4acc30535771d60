// Runs the event scripts that graphs carry: Document_OnToolTipDisplay is asked what to show at a place of the
// graph.
#pragma once

#include <memory>
#include <span>
#include <string>
#include <string_view>

namespace velmora {

struct ScriptProgram;

// Parsed once, asked for any number of places.
class ToolTipScript {
 public:
  // decimalSeparator: of the script's numbers and of the texts it makes; empty: the one that its numbers have.
  // file: what messages call the script. Throws DataError that names file, line and reason.
  explicit ToolTipScript(std::string_view script, std::string_view decimalSeparator = {},
                         const std::string& file = "tooltip script");
  ~ToolTipScript();
  ToolTipScript(ToolTipScript&&) noexcept;
  ToolTipScript& operator=(ToolTipScript&&) noexcept;

  // The text for a place, lines parted by CR LF; empty where there is none. objectType: what TypeName says of
  // the object pointed at, such as Plot2DSimple or PlotBoxWhisker. coordinates: Coords(1), Coords(2), ...
  // Throws DataError.
  std::string Run(std::string_view objectType, std::span<const double> coordinates) const;

 private:
  std::unique_ptr<const ScriptProgram> program_;
  std::string decimalSeparator_;
};

// The same in one call.
std::string RunToolTip(std::string_view script, std::string_view objectType,
                       std::span<const double> coordinates, std::string_view decimalSeparator = {});

}  // namespace velmora
