# Libraries of the Windows build. Debian has no packages made for Windows, so header-only libraries
# are linked into a folder of their own, which hides every other header of the build machine.
# ReadStat, libxlsxwriter and the libraries of workbooks, databases and packed files are absent:
# READSTAT_LIBRARY, XLSXWRITER_LIBRARY and DATA_LIBRARIES stay unset.
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
