# The content of an installation: the header, and one folder with the command, the library, the
# module and everything that they load, where they find each other. The wheel has the folder inside
# its package.
set(VELMORA_INSTALL_FOLDER lib/velmora CACHE STRING "The folder of the programs and libraries, below the prefix")
set(programs velmora velmora-read velmora_shared vlmfsl)
# The second place is for a library that is loaded through a link beside that folder.
set_target_properties(${programs} PROPERTIES INSTALL_RPATH "$ORIGIN:$ORIGIN/../velmora")
install(TARGETS ${programs}
        RUNTIME DESTINATION ${VELMORA_INSTALL_FOLDER} COMPONENT velmora
        LIBRARY DESTINATION ${VELMORA_INSTALL_FOLDER} COMPONENT velmora NAMELINK_SKIP)
install(FILES ${DUCKDB_LIBRARY} DESTINATION ${VELMORA_INSTALL_FOLDER} COMPONENT velmora)
get_filename_component(duckdb_folder ${DUCKDB_LIBRARY} DIRECTORY)
install(FILES ${duckdb_folder}/LICENSE DESTINATION ${VELMORA_INSTALL_FOLDER} RENAME duckdb_licence.txt COMPONENT velmora
        OPTIONAL)

# The workbench as a page is in the Debian package alone: a wheel would have to hold an HTTP
# library and what that loads.
set_target_properties(velmora-server PROPERTIES INSTALL_RPATH "$ORIGIN")
install(TARGETS velmora-server RUNTIME DESTINATION ${VELMORA_INSTALL_FOLDER} COMPONENT system)

# The Debian package, `make package`: links where the system and its Python look, the Python package,
# the header.
install(DIRECTORY python/velmora DESTINATION ${VELMORA_INSTALL_FOLDER}/python COMPONENT system
        PATTERN __pycache__ EXCLUDE)
include(GNUInstallDirs)
set(CMAKE_INSTALL_DOCDIR ${CMAKE_INSTALL_DATAROOTDIR}/doc/velmora)
install(FILES include/velmora.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT system)
install(FILES README.md CHANGELOG.md NOTICE docs/json.md docs/scripting.md DESTINATION ${CMAKE_INSTALL_DOCDIR}
        COMPONENT system)
install(FILES LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR} RENAME copyright COMPONENT system)
install(DIRECTORY samples DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT system)
# Manual pages are made from the help of the command that was built.
find_package(Python3 COMPONENTS Interpreter REQUIRED)
install(CODE "execute_process(COMMAND ${Python3_EXECUTABLE} ${CMAKE_SOURCE_DIR}/packaging/man_pages.py
                                      $<TARGET_FILE:velmora> ${CMAKE_BINARY_DIR}/man COMMAND_ERROR_IS_FATAL ANY)"
        COMPONENT system)
install(DIRECTORY ${CMAKE_BINARY_DIR}/man/ DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/man/man1 COMPONENT system)
install(FILES packaging/velmora.bash DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/bash-completion/completions
        RENAME velmora COMPONENT system)
set(links ${CMAKE_BINARY_DIR}/links)
file(MAKE_DIRECTORY ${links})
set(soname libvelmora.so.${PROJECT_VERSION_MAJOR})
file(CREATE_LINK ../lib/velmora/velmora ${links}/velmora SYMBOLIC)
file(CREATE_LINK ../velmora/${soname} ${links}/${soname} SYMBOLIC)
file(CREATE_LINK ${soname} ${links}/libvelmora.so SYMBOLIC)
file(MAKE_DIRECTORY ${links}/python)
file(CREATE_LINK ../../velmora/python/velmora ${links}/python/velmora SYMBOLIC)
install(FILES ${links}/velmora DESTINATION bin COMPONENT system)
install(FILES ${links}/python/velmora DESTINATION lib/python3/dist-packages COMPONENT system)
install(FILES ${links}/${soname} ${links}/libvelmora.so DESTINATION lib/${CMAKE_LIBRARY_ARCHITECTURE} COMPONENT system)

set(CMAKE_SKIP_INSTALL_ALL_DEPENDENCY ON)  # packing builds neither benchmarks nor tests
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME velmora)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "The Velmora developers <velmora@example.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Find out which variables in a data set matter, and bin them")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SECTION science)
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "python3 (>= 3.10)")  # runs scripts
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "libpq5, libmariadb3, python3-numpy")  # servers' tables; velmora.rank
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_BINARY_DIR})
set(CPACK_OUTPUT_FILE_PREFIX ${CMAKE_SOURCE_DIR}/dist)
set(CPACK_COMPONENTS_ALL velmora system)
set(CPACK_COMPONENTS_GROUPING ALL_COMPONENTS_IN_ONE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
include(CPack)
