# What `cmake --install` lays down: the shared library, the static libraries for those who link the layer in, the headers, the
# package files for find_package(Nerio).
include(CMakePackageConfigHelpers)

get_property(rooms GLOBAL PROPERTY NERIO_ROOMS)
list(REMOVE_ITEM rooms nerio)
install(TARGETS nerio nerio_platform ${rooms} EXPORT NerioTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
foreach(folder types platform registry support component)
  file(GLOB headers CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/nerio/${folder}/*.h)
  install(FILES ${headers} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/nerio/${folder})
endforeach()

set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/Nerio)
install(EXPORT NerioTargets NAMESPACE Nerio:: DESTINATION ${package_folder})
configure_package_config_file(${PROJECT_SOURCE_DIR}/packaging/NerioConfig.cmake.in ${PROJECT_BINARY_DIR}/NerioConfig.cmake
  INSTALL_DESTINATION ${package_folder})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/NerioConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/NerioConfig.cmake ${PROJECT_BINARY_DIR}/NerioConfigVersion.cmake
  DESTINATION ${package_folder})
