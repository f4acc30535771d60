// Files that are part of the program: the chart library and the page's own style and scripts.
#pragma once

#include <string_view>

namespace velmora {

std::string_view ChartLibrary();    // ECharts, minified, with its licence notice at its head
std::string_view ChartLibrary3d();  // its 3-D companion
// The licence of the 3-D companion, whose file does not contain it.
std::string_view ChartLicence3d();
std::string_view PageStyle();
std::string_view PageScript();   // the shell of every page: header, sections, tables
std::string_view ChartScript();  // draws charts
std::string_view BinsScript();   // shapes, panels and tables of binned predictors

}  // namespace velmora
