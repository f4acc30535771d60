// The assembler includes the files as they are; CMake names them and makes this file depend on
// them.
#include "workbench/documents/embedded_files.h"

#ifdef _WIN32
#define VELMORA_CONSTANTS ".section .rdata,\"dr\"\n"
#else
#define VELMORA_CONSTANTS ".section .rodata\n"
#endif

#define VELMORA_EMBED(name, file)                                                              \
  __asm__(VELMORA_CONSTANTS ".globl " #name "_begin\n.globl " #name "_end\n.balign 16\n" #name \
                            "_begin:\n"                                                        \
                            ".incbin \"" file "\"\n" #name "_end:\n.byte 0\n.text\n");         \
  extern "C" const char name##_begin[];                                                        \
  extern "C" const char name##_end[]

VELMORA_EMBED(velmora_chart_library, VELMORA_CHART_LIBRARY_FILE);
VELMORA_EMBED(velmora_chart_library_3d, VELMORA_CHART_LIBRARY_3D_FILE);
VELMORA_EMBED(velmora_chart_licence_3d, VELMORA_CHART_LICENCE_3D_FILE);
VELMORA_EMBED(velmora_page_style, VELMORA_PAGE_FOLDER "/page.css");
VELMORA_EMBED(velmora_page_script, VELMORA_PAGE_FOLDER "/page.js");
VELMORA_EMBED(velmora_chart_script, VELMORA_PAGE_FOLDER "/charts.js");
VELMORA_EMBED(velmora_bins_script, VELMORA_PAGE_FOLDER "/bins.js");

namespace velmora {
namespace {

std::string_view Between(const char* begin, const char* end) {
  return {begin, static_cast<std::size_t>(end - begin)};
}

}  // namespace

#define VELMORA_TEXT(function, name) \
  std::string_view function() { return Between(name##_begin, name##_end); }

VELMORA_TEXT(ChartLibrary, velmora_chart_library)
VELMORA_TEXT(ChartLibrary3d, velmora_chart_library_3d)
VELMORA_TEXT(ChartLicence3d, velmora_chart_licence_3d)
VELMORA_TEXT(PageStyle, velmora_page_style)
VELMORA_TEXT(PageScript, velmora_page_script)
VELMORA_TEXT(ChartScript, velmora_chart_script)
VELMORA_TEXT(BinsScript, velmora_bins_script)

}  // namespace velmora
