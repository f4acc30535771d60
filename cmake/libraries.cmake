# Libraries of the workbench. The module uses none of them.
set(VELMORA_NODE_MODULES ${CMAKE_SOURCE_DIR}/node_modules)

# DuckDB: the system's, else the pinned npm packages that tools/setup.sh installs.
find_path(DUCKDB_INCLUDE_DIR duckdb.h HINTS ${VELMORA_NODE_MODULES}/.velmora-duckdb NO_CMAKE_FIND_ROOT_PATH)
if(WIN32)
  find_file(DUCKDB_LIBRARY duckdb.dll HINTS ${VELMORA_NODE_MODULES}/.velmora-duckdb/windows NO_DEFAULT_PATH
            NO_CMAKE_FIND_ROOT_PATH)
else()
  find_library(DUCKDB_LIBRARY duckdb HINTS ${VELMORA_NODE_MODULES}/@duckdb/node-bindings-linux-x64)
endif()
if(NOT DUCKDB_INCLUDE_DIR OR NOT DUCKDB_LIBRARY)
  message(FATAL_ERROR "DuckDB is missing: run tools/setup.sh")
endif()
# Its library is loaded when it is needed: only the header is used here, and the build tree
# says where the library is.
add_library(velmora_duckdb INTERFACE)
target_include_directories(velmora_duckdb SYSTEM INTERFACE ${DUCKDB_INCLUDE_DIR})
get_filename_component(duckdb_folder ${DUCKDB_LIBRARY} DIRECTORY)
set(CMAKE_BUILD_RPATH ${duckdb_folder})

find_package(Threads REQUIRED)
if(WIN32)
  include(cmake/libraries_windows.cmake)
else()
  find_library(READSTAT_LIBRARY readstat REQUIRED)
  find_package(ZLIB REQUIRED)
  find_library(ZSTD_LIBRARY zstd REQUIRED)
  find_library(LZ4_LIBRARY lz4 REQUIRED)
  find_library(XLSXWRITER_LIBRARY xlsxwriter REQUIRED)
  # Workbooks are XML in ZIP archives.
  find_package(EXPAT REQUIRED)
  find_library(MINIZIP_LIBRARY minizip REQUIRED)
  find_library(FREEXL_LIBRARY freexl REQUIRED)
  find_package(SQLite3 REQUIRED)
  # Client libraries of database servers are loaded when a table of one is read;
  # only their headers are used.
  find_path(POSTGRES_INCLUDE_DIR libpq-fe.h PATH_SUFFIXES postgresql REQUIRED)
  find_path(MARIADB_INCLUDE_DIR mysql.h PATH_SUFFIXES mariadb REQUIRED)
  set(DATA_LIBRARIES ${READSTAT_LIBRARY} ${MINIZIP_LIBRARY} ${FREEXL_LIBRARY} EXPAT::EXPAT SQLite::SQLite3 ZLIB::ZLIB
      ${ZSTD_LIBRARY} ${LZ4_LIBRARY})
  find_package(nlohmann_json 3 REQUIRED)
  find_package(CLI11 2 REQUIRED)
  find_package(Boost 1.74 REQUIRED)
  # HTTP. The definitions are those that Debian has built the library with.
  find_path(HTTPLIB_INCLUDE_DIR httplib.h REQUIRED)
  find_library(HTTPLIB_LIBRARY cpp-httplib REQUIRED)
  add_library(velmora_httplib INTERFACE)
  target_include_directories(velmora_httplib SYSTEM INTERFACE ${HTTPLIB_INCLUDE_DIR})
  target_compile_definitions(velmora_httplib INTERFACE CPPHTTPLIB_OPENSSL_SUPPORT CPPHTTPLIB_ZLIB_SUPPORT
                                                       CPPHTTPLIB_BROTLI_SUPPORT)
  find_package(OpenSSL REQUIRED)  # TLS, and hashing of passwords
  target_link_libraries(velmora_httplib INTERFACE ${HTTPLIB_LIBRARY} OpenSSL::SSL OpenSSL::Crypto Threads::Threads)
  # Vite, which makes the page of the workbench, runs in it.
  find_program(NODE NAMES node nodejs REQUIRED)
endif()

# The chart library of the HTML reports, embedded in the program.
find_file(ECHARTS_SCRIPT echarts.min.js HINTS ${VELMORA_NODE_MODULES}/echarts/dist NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH REQUIRED)
find_file(ECHARTS_3D_SCRIPT echarts-gl.min.js HINTS ${VELMORA_NODE_MODULES}/echarts-gl/dist NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH REQUIRED)
find_file(ECHARTS_3D_LICENCE LICENSE HINTS ${VELMORA_NODE_MODULES}/echarts-gl NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH REQUIRED)
