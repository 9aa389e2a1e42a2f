# Installation: libraries, headers under their path in the tree, the CMake package and pkg-config.
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
  target_include_directories(${target} INTERFACE $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
endforeach()
install(TARGETS kivclip)
# Loaded at run time from beside libkiv_engine.
install(TARGETS kiv_tween LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})

# The component's interfaces and the engine's entry headers for hosts.
set(KIV_PUBLIC_HEADERS
  kiv/chain/CommandIds.h kiv/chain/IKivRender.h kiv/chain/IKivSourceBase.h kiv/chain/NodeTypes.h
  kiv/component/EntryPoints.h kiv/component/IKivVideoStreamProcess.h
  kiv/values/keyframes/IKivKeyFrameParam.h
  engine/logger/Logger.h engine/common/PathService.h engine/common/ClassRegistry.h
  engine/common/PropertiesJson.h engine/media/Writer.h)
foreach(header ${KIV_PUBLIC_HEADERS})
  get_filename_component(folder ${header} DIRECTORY)
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

configure_file(${PROJECT_SOURCE_DIR}/cmake/kiv.pc.in ${CMAKE_BINARY_DIR}/kiv.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/kiv.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
