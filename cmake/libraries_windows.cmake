# Libraries of the Windows build. Debian has no packages made for Windows, so header-only libraries are linked into a
# folder of their own, which hides every other header of the build machine. DuckDB's DLL gets an import library that
# loads it at the first call, so that the program can say what is missing. ReadStat and libxlsxwriter are absent:
# READSTAT_LIBRARY and XLSXWRITER_LIBRARY stay unset.
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

# The import library, from the DLL's own export table.
find_program(GENDEF gendef REQUIRED)
find_program(DLLTOOL x86_64-w64-mingw32-dlltool REQUIRED)
set(duckdb_import ${CMAKE_BINARY_DIR}/libduckdb.dll.a)
if(NOT EXISTS ${duckdb_import} OR ${DUCKDB_LIBRARY} IS_NEWER_THAN ${duckdb_import})
  execute_process(COMMAND ${GENDEF} - ${DUCKDB_LIBRARY} OUTPUT_FILE ${CMAKE_BINARY_DIR}/duckdb.def ERROR_QUIET
                  COMMAND_ERROR_IS_FATAL ANY)
  execute_process(COMMAND ${DLLTOOL} --dllname duckdb.dll --input-def ${CMAKE_BINARY_DIR}/duckdb.def
                          --output-delaylib ${duckdb_import}
                  COMMAND_ERROR_IS_FATAL ANY)
endif()
set_target_properties(velmora_duckdb PROPERTIES IMPORTED_IMPLIB ${duckdb_import} INTERFACE_LINK_LIBRARIES delayimp)
