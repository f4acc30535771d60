// Puts a file into the program, unchanged, by the assembler. CMake names the file and makes the
// source file depend on it.
//
//   VELMORA_EMBED(velmora_page_style, VELMORA_PAGE_FOLDER "/page.css");
//   std::string_view style = VELMORA_EMBEDDED(velmora_page_style);
#pragma once

#include <string_view>

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

#define VELMORA_EMBEDDED(name) \
  std::string_view { name##_begin, static_cast<std::size_t>(name##_end - name##_begin) }
