#include "workbench/documents/embedded_files.h"

#include "workbench/documents/embed.h"

VELMORA_EMBED(velmora_chart_library, VELMORA_CHART_LIBRARY_FILE);
VELMORA_EMBED(velmora_chart_library_3d, VELMORA_CHART_LIBRARY_3D_FILE);
VELMORA_EMBED(velmora_chart_licence_3d, VELMORA_CHART_LICENCE_3D_FILE);
VELMORA_EMBED(velmora_page_style, VELMORA_PAGE_FOLDER "/page.css");
VELMORA_EMBED(velmora_page_script, VELMORA_PAGE_FOLDER "/page.js");
VELMORA_EMBED(velmora_chart_script, VELMORA_PAGE_FOLDER "/charts.js");
VELMORA_EMBED(velmora_bins_script, VELMORA_PAGE_FOLDER "/bins.js");

namespace velmora {

#define VELMORA_TEXT(function, name) \
  std::string_view function() { return VELMORA_EMBEDDED(name); }

VELMORA_TEXT(ChartLibrary, velmora_chart_library)
VELMORA_TEXT(ChartLibrary3d, velmora_chart_library_3d)
VELMORA_TEXT(ChartLicence3d, velmora_chart_licence_3d)
VELMORA_TEXT(PageStyle, velmora_page_style)
VELMORA_TEXT(PageScript, velmora_page_script)
VELMORA_TEXT(ChartScript, velmora_chart_script)
VELMORA_TEXT(BinsScript, velmora_bins_script)

}  // namespace velmora
