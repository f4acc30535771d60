// The assembler takes the files in whole; CMake names them and makes this file depend on them.
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
VELMORA_EMBED(velmora_page_style, VELMORA_PAGE_STYLE_FILE);
VELMORA_EMBED(velmora_page_script, VELMORA_PAGE_SCRIPT_FILE);

namespace velmora {
namespace {

std::string_view Between(const char* begin, const char* end) {
  return {begin, static_cast<std::size_t>(end - begin)};
}

}  // namespace

std::string_view ChartLibrary() { return Between(velmora_chart_library_begin, velmora_chart_library_end); }
std::string_view PageStyle() { return Between(velmora_page_style_begin, velmora_page_style_end); }
std::string_view PageScript() { return Between(velmora_page_script_begin, velmora_page_script_end); }

}  // namespace velmora
