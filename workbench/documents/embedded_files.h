// Files that are part of the program: the chart library and the page's own style and script.
#pragma once

#include <string_view>

namespace velmora {

std::string_view ChartLibrary();  // ECharts, minified, its licence notice at its head
std::string_view PageStyle();
std::string_view PageScript();

}  // namespace velmora
