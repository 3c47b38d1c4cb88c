# What `cmake --install` lays down: the library, the public headers, the files for find_package(Nerio) and for pkg-config, the
# licence and the documents.
include(CMakePackageConfigHelpers)
include(${CMAKE_CURRENT_LIST_DIR}/PublicHeaders.cmake)

install(TARGETS nerio nerio_component_registry nerio_component_support EXPORT NerioTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
foreach(header IN LISTS NERIO_PUBLIC_HEADERS)
  get_filename_component(folder ${header} DIRECTORY)
  install(FILES ${PROJECT_SOURCE_DIR}/${header} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/${folder})
endforeach()

set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/Nerio)
install(EXPORT NerioTargets NAMESPACE Nerio:: DESTINATION ${package_folder})
configure_package_config_file(${PROJECT_SOURCE_DIR}/packaging/NerioConfig.cmake.in ${PROJECT_BINARY_DIR}/NerioConfig.cmake
  INSTALL_DESTINATION ${package_folder})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/NerioConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/NerioConfig.cmake ${PROJECT_BINARY_DIR}/NerioConfigVersion.cmake
  DESTINATION ${package_folder})

# pkg-config finds the installed folder from its own file's place, so that --prefix may still say another one. What the
# library needs of the system its user links too when it is static.
file(RELATIVE_PATH pkgconfig_prefix /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
string(REGEX REPLACE "/$" "" pkgconfig_prefix "${pkgconfig_prefix}")
list(TRANSFORM NERIO_SYSTEM_LIBRARIES PREPEND -l OUTPUT_VARIABLE pkgconfig_private)
list(JOIN pkgconfig_private " " pkgconfig_private)
set(pkgconfig_libraries -lnerio)
get_target_property(kind nerio TYPE)
if(kind STREQUAL STATIC_LIBRARY)
  string(STRIP "-lnerio ${pkgconfig_private}" pkgconfig_libraries)
endif()
configure_file(${PROJECT_SOURCE_DIR}/packaging/nerio.pc.in ${PROJECT_BINARY_DIR}/nerio.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/nerio.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

file(GLOB documents ${PROJECT_SOURCE_DIR}/LICENSE ${PROJECT_SOURCE_DIR}/*.md)
install(FILES ${documents} DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/docs DESTINATION ${CMAKE_INSTALL_DOCDIR} PATTERN site EXCLUDE)

# A project around this one may have a target of that name.
if(PROJECT_IS_TOP_LEVEL)
  add_custom_target(uninstall
    COMMAND ${CMAKE_COMMAND} -DBUILD=${PROJECT_BINARY_DIR} -P ${CMAKE_CURRENT_LIST_DIR}/NerioUninstall.cmake VERBATIM)
endif()
