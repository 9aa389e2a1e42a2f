# Installation: libraries, headers, the CMake package and pkg-config; and the way back.
#
# Every header lies below include/kiv: those of kiv/ under their own path, those of engine/ and session/
# in include/kiv/engine and include/kiv/session, so that nothing as common as "engine" appears beside
# other projects' headers.
# Both are included by their path in the tree.
include(CMakePackageConfigHelpers)

set(KIV_EXPORTED kiv_values kiv_platform kiv_engine kiv_component)
foreach(target ${KIV_EXPORTED})
  string(REGEX REPLACE "^kiv_" "" exported ${target})
  set_target_properties(${target} PROPERTIES EXPORT_NAME ${exported})
  get_target_property(sets ${target} HEADER_SETS)
  get_target_property(interface_sets ${target} INTERFACE_HEADER_SETS)
  if(sets OR interface_sets)
    install(TARGETS ${target} EXPORT kivTargets FILE_SET HEADERS)
  else()
    install(TARGETS ${target} EXPORT kivTargets)
  endif()
  target_include_directories(${target} INTERFACE
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/kiv>)
endforeach()
# Needs none of the others' headers.
set_target_properties(kiv_session PROPERTIES EXPORT_NAME session)
install(TARGETS kiv_session EXPORT kivTargets
  FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/kiv)
install(TARGETS kivclip)
# Loaded at run time from beside libkiv_engine.
install(TARGETS kiv_tween LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})

# The component's interfaces and the engine's entry headers for hosts.
set(KIV_PUBLIC_HEADERS
  kiv/base/FrameTime.h kiv/base/Mutex.h kiv/base/ThreadAnnotations.h
  kiv/chain/CommandIds.h kiv/chain/IKivRender.h kiv/chain/IKivSourceBase.h kiv/chain/NodeTypes.h
  kiv/component/EntryPoints.h kiv/component/IKivVideoStreamProcess.h
  kiv/keyframes/IKivKeyFrameParam.h
  kiv/VideoStab/IKivStabExtendControl.h kiv/VideoStab/StabSettings.h
  engine/logger/Logger.h engine/registry/PathService.h engine/registry/ClassRegistry.h
  engine/bags/PropertiesJson.h engine/write/Writer.h)
foreach(header ${KIV_PUBLIC_HEADERS})
  get_filename_component(folder ${header} DIRECTORY)
  string(REGEX REPLACE "^engine/" "kiv/engine/" folder ${folder})
  install(FILES ${PROJECT_SOURCE_DIR}/${header} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/${folder})
endforeach()

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/kiv)
install(EXPORT kivTargets NAMESPACE kiv:: DESTINATION ${package_dir})
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/kivConfig.cmake.in
  ${CMAKE_BINARY_DIR}/kivConfig.cmake INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${CMAKE_BINARY_DIR}/kivConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_BINARY_DIR}/kivConfig.cmake ${CMAKE_BINARY_DIR}/kivConfigVersion.cmake
  DESTINATION ${package_dir})

# The files find the prefix from where they lie, so a package or another --prefix needs no new ones.
file(RELATIVE_PATH KIV_PC_PREFIX
  ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
foreach(name kiv kiv-session)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/${name}.pc.in ${CMAKE_BINARY_DIR}/${name}.pc @ONLY)
  install(FILES ${CMAKE_BINARY_DIR}/${name}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endforeach()

install(FILES ${PROJECT_SOURCE_DIR}/README.md ${PROJECT_SOURCE_DIR}/ARCHITECTURE.md
  DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/docs/ DESTINATION ${CMAKE_INSTALL_DOCDIR}/docs
  FILES_MATCHING PATTERN "*.md" PATTERN "*.png" PATTERN reference EXCLUDE)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/examples DESTINATION ${CMAKE_INSTALL_DOCDIR})

# All that is installed, without tests and benchmarks.
add_custom_target(product DEPENDS ${KIV_EXPORTED} kiv_session kivclip kivclip_reference kiv_tween)

# Takes away what the last installation from this build folder put there.
add_custom_target(uninstall
  COMMAND ${CMAKE_COMMAND}
    -D KIV_MANIFEST=${CMAKE_BINARY_DIR}/install_manifest.txt
    -P ${PROJECT_SOURCE_DIR}/cmake/KivUninstall.cmake
  USES_TERMINAL)
include(KivPackage)
