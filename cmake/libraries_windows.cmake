# Libraries of the Windows build. Debian has no packages of them made for Windows, except zlib:
# header-only libraries are linked into a folder of their own, which hides every other header of the
# build machine, and C libraries are compiled from the sources that tools/windows_sources.sh fetches.
set(headers ${CMAKE_BINARY_DIR}/headers)
file(MAKE_DIRECTORY ${headers})
foreach(folder boost CLI nlohmann utf8cpp fast_float)
  if(NOT EXISTS /usr/include/${folder})
    message(FATAL_ERROR "The headers of ${folder} are missing: run tools/setup.sh test")
  endif()
  file(CREATE_LINK /usr/include/${folder} ${headers}/${folder} SYMBOLIC)
endforeach()
foreach(library nlohmann_json::nlohmann_json CLI11::CLI11 Boost::boost)
  add_library(${library} INTERFACE IMPORTED)
  set_target_properties(${library} PROPERTIES INTERFACE_INCLUDE_DIRECTORIES ${headers})
endforeach()

set(windows_sources ${CMAKE_SOURCE_DIR}/build/windows_sources)
if(NOT EXISTS ${windows_sources}/.velmora-stamp)
  message(FATAL_ERROR "The sources of the libraries for Windows are missing: run tools/setup.sh test")
endif()
enable_language(C)
if(CCACHE)
  set(CMAKE_C_COMPILER_LAUNCHER ${CCACHE})
endif()
find_library(ZLIB_LIBRARY libz.a REQUIRED)

# velmora_c_library(NAME INCLUDE FILES...): a library from outside, whose headers are in INCLUDE and
# which opens files through workbench/c_library. Its warnings are its makers' affair.
function(velmora_c_library name include)
  add_library(${name} STATIC ${ARGN})
  target_include_directories(${name} SYSTEM PUBLIC ${include})
  target_include_directories(${name} SYSTEM PRIVATE ${CMAKE_SOURCE_DIR}/workbench/c_library)
  target_compile_options(${name} PRIVATE -w)
  target_compile_definitions(${name} PRIVATE fopen=fopen_utf8 fopen64=fopen_utf8 tmpfile=tmpfile_of_user)
  target_link_libraries(${name} PUBLIC wb_c_library ${ZLIB_LIBRARY})
endfunction()

set(readstat ${windows_sources}/readstat/src)
file(GLOB readstat_files ${readstat}/*.c ${readstat}/sas/*.c ${readstat}/spss/*.c ${readstat}/stata/*.c)
velmora_c_library(readstat ${readstat} ${readstat_files})
target_compile_definitions(readstat PRIVATE HAVE_ZLIB=1)

# Its headers are included as <minizip/...>.
file(CREATE_LINK ${windows_sources}/minizip ${headers}/minizip SYMBOLIC)
set(minizip ${windows_sources}/minizip)
velmora_c_library(minizip ${headers} ${minizip}/ioapi.c ${minizip}/unzip.c ${minizip}/zip.c)

set(xlsxwriter ${windows_sources}/libxlsxwriter)
file(GLOB xlsxwriter_files ${xlsxwriter}/src/*.c)
velmora_c_library(xlsxwriter ${xlsxwriter}/include ${xlsxwriter_files} ${xlsxwriter}/third_party/md5/md5.c)
target_compile_definitions(xlsxwriter PRIVATE USE_STANDARD_TMPFILE USE_SYSTEM_MINIZIP)
target_link_libraries(xlsxwriter PUBLIC minizip)

set(expat ${windows_sources}/expat/expat/lib)
velmora_c_library(expat ${expat} ${expat}/xmlparse.c ${expat}/xmlrole.c ${expat}/xmltok.c)
target_compile_definitions(expat PUBLIC XML_STATIC)
# What its own build would find out.
file(WRITE ${CMAKE_BINARY_DIR}/expat/expat_config.h
     "#define BYTEORDER 1234\n#define XML_NS 1\n#define XML_DTD 1\n#define XML_GE 1\n#define XML_CONTEXT_BYTES 1024\n")
target_include_directories(expat PRIVATE ${CMAKE_BINARY_DIR}/expat)

set(freexl ${windows_sources}/freexl)
velmora_c_library(freexl ${freexl}/headers ${freexl}/src/freexl.c)
file(WRITE ${CMAKE_BINARY_DIR}/freexl/config.h "#define VERSION \"\"\n")
target_include_directories(freexl PRIVATE ${CMAKE_BINARY_DIR}/freexl)

set(lz4 ${windows_sources}/lz4/lib)
velmora_c_library(lz4 ${lz4} ${lz4}/lz4.c ${lz4}/lz4frame.c ${lz4}/lz4hc.c ${lz4}/xxhash.c)

set(zstd ${windows_sources}/libzstd/lib)
file(GLOB zstd_files ${zstd}/common/*.c ${zstd}/compress/*.c ${zstd}/decompress/*.c)
velmora_c_library(zstd ${zstd} ${zstd_files})
target_compile_definitions(zstd PRIVATE ZSTD_DISABLE_ASM)

set(XLSXWRITER_LIBRARY xlsxwriter)
set(DATA_LIBRARIES readstat minizip freexl expat ${ZLIB_LIBRARY} zstd lz4)
