# The plug-in module: one static library per folder, and the shared library that a host loads.
velmora_library(vlm_base base)
velmora_library(vlm_resources module/resources)
velmora_library(vlm_frame module/frame vlm_base vlm_resources)
if(WIN32)
  # Automation objects as COM objects, compiled into the module and into the workbench.
  velmora_library(vlm_com contract/com ole32 oleaut32 uuid)
  target_link_libraries(vlm_frame PUBLIC vlm_com ole32 oleaut32 shell32 uuid)
endif()

velmora_library(vlm_feature_selection module/feature_selection vlm_frame)
file(GLOB kernels CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/module/feature_selection/vector_kernels_*.cpp)
velmora_unity(vlm_feature_selection ${kernels})
velmora_library(vlm_feature_selection_ui module/feature_selection_ui vlm_feature_selection)
velmora_library(vlm_screening module/screening vlm_frame)
velmora_library(vlm_screening_outputs module/screening_outputs vlm_screening)
velmora_library(vlm_screening_ui module/screening_ui vlm_screening_outputs)

# The entry sits on all of them: the factories, and the analyses that open the dialogs.
file(GLOB entry_sources CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/module/entry/*.cpp)
add_library(vlmfsl MODULE ${entry_sources})
target_link_libraries(vlmfsl PRIVATE vlm_feature_selection_ui vlm_screening_ui)
velmora_unity(vlmfsl ${CMAKE_SOURCE_DIR}/module/entry/feature_selection_template_root.cpp)
if(WIN32)
  set_target_properties(vlmfsl PROPERTIES PREFIX "")  # vlmfsl.dll
else()
  set(exports ${CMAKE_SOURCE_DIR}/module/entry/exports.map)
  target_link_options(vlmfsl PRIVATE -Wl,--version-script=${exports} -Wl,--no-undefined)
  set_target_properties(vlmfsl PROPERTIES LINK_DEPENDS ${exports})
endif()
