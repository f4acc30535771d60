// Files that are part of the program: the chart library and the page's own styles and scripts.
#pragma once

#include <string_view>

namespace velmora {

std::string_view ChartLibrary();     // ECharts, minified, its licence notice at its head
std::string_view ChartLibrary3d();   // its 3-D companion
std::string_view ChartLicence3d();   // which does not hold its licence itself
std::string_view PageStyle();        // of every page
std::string_view PageScript();       // what every page's script stands on
std::string_view ChartScript();      // draws charts
std::string_view WorkbookScript();   // of a workbook's page
std::string_view ScreeningStyle();   // of a screening run's page, behind PageStyle
std::string_view ScreeningScript();  // of a screening run's page

}  // namespace velmora
