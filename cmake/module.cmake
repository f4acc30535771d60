# The plug-in module: one static library a folder, and the shared library that a host loads.
velmora_library(vlm_base base)
velmora_library(vlm_resources resources vlm_base)

# Roots reach across the folders: the module's entry, and the files that open the dialogs of each analysis.
set(VELMORA_MODULE_ROOTS ${CMAKE_SOURCE_DIR}/frame/module_entry.cpp
                         ${CMAKE_SOURCE_DIR}/frame/feature_selection_root.cpp
                         ${CMAKE_SOURCE_DIR}/frame/feature_selection_template_root.cpp)
file(GLOB frame_sources CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/frame/*.cpp)
list(REMOVE_ITEM frame_sources ${VELMORA_MODULE_ROOTS})
list(FILTER frame_sources EXCLUDE REGEX ${VELMORA_LEFT_OUT})
if(frame_sources)
  add_library(vlm_frame STATIC ${frame_sources})
  target_link_libraries(vlm_frame PUBLIC velmora_flags vlm_base vlm_resources)
else()
  add_library(vlm_frame INTERFACE)
  target_link_libraries(vlm_frame INTERFACE velmora_flags vlm_base vlm_resources)
endif()

if(WIN32)
  # COM faces of automation objects, compiled into the module and into the workbench.
  velmora_library(vlm_com com ole32 oleaut32 uuid)
  target_link_libraries(vlm_frame PUBLIC vlm_com ole32 oleaut32 shell32 uuid)
endif()

velmora_library(vlm_fsl fsl vlm_frame)
velmora_library(vlm_fsl_ui fsl_ui vlm_fsl)
velmora_library(vlm_screening screening vlm_frame)
velmora_library(vlm_screening_out screening_out vlm_screening)
velmora_library(vlm_screening_ui screening_ui vlm_screening_out)
# screening declares what screening_out defines: each needs the other when it is linked.
target_link_libraries(vlm_screening PUBLIC vlm_screening_out)

set(existing_roots)
foreach(root ${VELMORA_MODULE_ROOTS})
  if(EXISTS ${root})
    list(APPEND existing_roots ${root})
  endif()
endforeach()
if(existing_roots)
  add_library(vlmfsl MODULE ${existing_roots})
  target_link_libraries(vlmfsl PRIVATE vlm_fsl_ui vlm_screening_ui)
  if(WIN32)
    set_target_properties(vlmfsl PROPERTIES PREFIX "")  # vlmfsl.dll
  else()
    target_link_options(vlmfsl PRIVATE -Wl,--version-script=${CMAKE_SOURCE_DIR}/frame/exports.map -Wl,--no-undefined)
    set_target_properties(vlmfsl PROPERTIES LINK_DEPENDS ${CMAKE_SOURCE_DIR}/frame/exports.map)
  endif()
endif()
