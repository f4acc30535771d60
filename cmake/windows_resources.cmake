# The Windows forms of the tables in module/resources/: vlmfsl.rc, vlmfsl.idl and
# vlmfsl_dual.h. A generator writes them during the build; target windows_sources makes them in
# the folder VELMORA_WINDOWS_SOURCES.
set(VELMORA_WINDOWS_SOURCES ${CMAKE_BINARY_DIR}/windows_sources)
file(MAKE_DIRECTORY ${VELMORA_WINDOWS_SOURCES})
file(GLOB generator_sources CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/module/resources/tools/*.cpp)
if(CMAKE_CROSSCOMPILING)
  # The generator runs on the build machine, so that machine's own compiler builds it.
  file(GLOB table_sources CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/module/resources/*.cpp)
  file(GLOB table_headers CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/module/resources/*.h ${CMAKE_SOURCE_DIR}/module/resources/tools/*.h
                                            ${CMAKE_SOURCE_DIR}/contract/*.h)
  find_program(VELMORA_BUILD_CXX NAMES g++ c++ clang++ NO_CMAKE_FIND_ROOT_PATH REQUIRED)
  set(generator ${VELMORA_WINDOWS_SOURCES}/make_windows_sources)
  add_custom_command(OUTPUT ${generator}
    COMMAND ${VELMORA_BUILD_CXX} -std=c++20 -O1 -I${CMAKE_SOURCE_DIR} ${generator_sources} ${table_sources} -o ${generator}
    DEPENDS ${generator_sources} ${table_sources} ${table_headers} VERBATIM)
else()
  add_library(vlm_windows_sources STATIC EXCLUDE_FROM_ALL ${CMAKE_SOURCE_DIR}/module/resources/tools/windows_sources.cpp)
  target_link_libraries(vlm_windows_sources PUBLIC velmora_flags vlm_resources)
  add_executable(make_windows_sources EXCLUDE_FROM_ALL ${CMAKE_SOURCE_DIR}/module/resources/tools/make_windows_sources.cpp)
  target_link_libraries(make_windows_sources PRIVATE vlm_windows_sources)
  set(generator make_windows_sources)
endif()
add_custom_command(OUTPUT ${VELMORA_WINDOWS_SOURCES}/vlmfsl.rc ${VELMORA_WINDOWS_SOURCES}/vlmfsl.idl
                          ${VELMORA_WINDOWS_SOURCES}/vlmfsl_dual.h
  COMMAND ${generator} ${VELMORA_WINDOWS_SOURCES} ${PROJECT_VERSION}
  DEPENDS ${generator} VERBATIM)
set(windows_files ${VELMORA_WINDOWS_SOURCES}/vlmfsl.rc ${VELMORA_WINDOWS_SOURCES}/vlmfsl.idl
                  ${VELMORA_WINDOWS_SOURCES}/vlmfsl_dual.h)

# The type library and the compiled resources, if the tools for them are installed (Debian:
# mingw-w64-tools, libwine-dev).
find_program(VELMORA_WIDL NAMES x86_64-w64-mingw32-widl widl NO_CMAKE_FIND_ROOT_PATH)
find_program(VELMORA_WINDRES NAMES x86_64-w64-mingw32-windres NO_CMAKE_FIND_ROOT_PATH)
find_path(VELMORA_IDL_FOLDER oaidl.idl PATHS /usr/include/wine/wine/windows NO_CMAKE_FIND_ROOT_PATH)
find_path(VELMORA_TLB_FOLDER stdole2.tlb PATHS /usr/lib/x86_64-linux-gnu/wine/x86_64-windows NO_CMAKE_FIND_ROOT_PATH)
if(VELMORA_WIDL AND VELMORA_WINDRES AND VELMORA_IDL_FOLDER AND VELMORA_TLB_FOLDER)
  # The resource script names the type library by a path relative to its own folder.
  add_custom_command(OUTPUT ${VELMORA_WINDOWS_SOURCES}/vlmfsl.tlb
    COMMAND ${VELMORA_WIDL} --win64 -t -I ${VELMORA_IDL_FOLDER} -L ${VELMORA_TLB_FOLDER} -o vlmfsl.tlb vlmfsl.idl
    DEPENDS ${VELMORA_WINDOWS_SOURCES}/vlmfsl.idl WORKING_DIRECTORY ${VELMORA_WINDOWS_SOURCES} VERBATIM)
  # Its interfaces for C++.
  add_custom_command(OUTPUT ${VELMORA_WINDOWS_SOURCES}/vlmfsl.h
    COMMAND ${VELMORA_WIDL} --win64 -h -I ${VELMORA_IDL_FOLDER} -L ${VELMORA_TLB_FOLDER} -o vlmfsl.h vlmfsl.idl
    DEPENDS ${VELMORA_WINDOWS_SOURCES}/vlmfsl.idl WORKING_DIRECTORY ${VELMORA_WINDOWS_SOURCES} VERBATIM)
  # vlmfsl.res is for programs that read resources, vlmfsl.res.o is the same for the linker.
  add_custom_command(OUTPUT ${VELMORA_WINDOWS_SOURCES}/vlmfsl.res ${VELMORA_WINDOWS_SOURCES}/vlmfsl.res.o
    COMMAND ${VELMORA_WINDRES} -O res vlmfsl.rc vlmfsl.res
    COMMAND ${VELMORA_WINDRES} -J res -O coff vlmfsl.res vlmfsl.res.o
    DEPENDS ${VELMORA_WINDOWS_SOURCES}/vlmfsl.rc ${VELMORA_WINDOWS_SOURCES}/vlmfsl.tlb
    WORKING_DIRECTORY ${VELMORA_WINDOWS_SOURCES} VERBATIM)
  list(APPEND windows_files ${VELMORA_WINDOWS_SOURCES}/vlmfsl.h ${VELMORA_WINDOWS_SOURCES}/vlmfsl.tlb ${VELMORA_WINDOWS_SOURCES}/vlmfsl.res
                            ${VELMORA_WINDOWS_SOURCES}/vlmfsl.res.o)
endif()
add_custom_target(windows_sources DEPENDS ${windows_files})

if(WIN32)
  target_sources(vlmfsl PRIVATE ${VELMORA_WINDOWS_SOURCES}/vlmfsl.res.o)
  set_source_files_properties(${VELMORA_WINDOWS_SOURCES}/vlmfsl.res.o PROPERTIES EXTERNAL_OBJECT ON GENERATED ON)
endif()
if(WIN32)
  add_dependencies(vlm_frame windows_sources)
  target_include_directories(vlm_frame SYSTEM PRIVATE ${VELMORA_WINDOWS_SOURCES})
endif()
