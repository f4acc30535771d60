# Collects the files that run on a Windows machine: the programs, the module and DuckDB's DLL in one
# folder (that of the build tree, so that tests run what is packed). Target windows-zip packs them
# with samples, documents and a README.
add_custom_command(TARGET velmora POST_BUILD
  COMMAND ${CMAKE_COMMAND} -E copy_if_different ${DUCKDB_LIBRARY} $<TARGET_FILE_DIR:velmora>/duckdb.dll VERBATIM)

set(zip_name velmora-${PROJECT_VERSION}-windows-x64)
get_filename_component(duckdb_licence ${DUCKDB_LIBRARY} DIRECTORY)
set(duckdb_licence ${duckdb_licence}/LICENSE)
set(zip_folder ${CMAKE_BINARY_DIR}/${zip_name})
add_custom_target(windows-zip
  COMMAND ${CMAKE_COMMAND} -E rm -rf ${zip_folder} ${CMAKE_SOURCE_DIR}/build/${zip_name}.zip
  COMMAND ${CMAKE_COMMAND} -E make_directory ${zip_folder}/samples ${zip_folder}/docs
  COMMAND ${CMAKE_STRIP} -o ${zip_folder}/velmora.exe $<TARGET_FILE:velmora>
  COMMAND ${CMAKE_STRIP} -o ${zip_folder}/velmoraw.exe $<TARGET_FILE:velmoraw>
  COMMAND ${CMAKE_STRIP} -o ${zip_folder}/velmora-read.exe $<TARGET_FILE:velmora-read>
  COMMAND ${CMAKE_STRIP} -o ${zip_folder}/vlmfsl.dll $<TARGET_FILE:vlmfsl>
  COMMAND ${CMAKE_COMMAND} -E copy ${DUCKDB_LIBRARY} ${zip_folder}/duckdb.dll
  COMMAND ${CMAKE_COMMAND} -E copy ${duckdb_licence} ${zip_folder}/duckdb_licence.txt
  COMMAND ${CMAKE_COMMAND} -E copy ${CMAKE_SOURCE_DIR}/LICENSE ${CMAKE_SOURCE_DIR}/NOTICE ${zip_folder}
  COMMAND ${CMAKE_COMMAND} -E copy ${CMAKE_SOURCE_DIR}/packaging/windows/install.cmd
          ${CMAKE_SOURCE_DIR}/packaging/windows/uninstall.cmd ${zip_folder}
  COMMAND ${CMAKE_COMMAND} -E copy ${CMAKE_SOURCE_DIR}/docs/windows_readme.txt ${zip_folder}/README.txt
  COMMAND ${CMAKE_COMMAND} -E copy ${CMAKE_SOURCE_DIR}/samples/german_credit.csv
          ${CMAKE_SOURCE_DIR}/samples/house_prices.csv ${CMAKE_SOURCE_DIR}/samples/feature_selection.vbs
          ${CMAKE_SOURCE_DIR}/samples/screening.vbs ${CMAKE_SOURCE_DIR}/samples/README.md ${zip_folder}/samples
  COMMAND ${CMAKE_COMMAND} -E copy ${CMAKE_SOURCE_DIR}/docs/scripting.md ${CMAKE_SOURCE_DIR}/docs/json.md
          ${zip_folder}/docs
  COMMAND ${CMAKE_COMMAND} -E tar cf ${CMAKE_SOURCE_DIR}/build/${zip_name}.zip --format=zip ${zip_name}
  WORKING_DIRECTORY ${CMAKE_BINARY_DIR} VERBATIM)
add_dependencies(windows-zip velmora velmoraw velmora-read vlmfsl)
