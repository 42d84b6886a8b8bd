# What `cmake --install` lays down: libraries, headers, the pkg-config file and the CMake package.
include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/msg-tarvel-common)

install(TARGETS msg-tarvel-common msg-tarvel-platform EXPORT msg-tarvel-common-targets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY include/msg-tarvel-common DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT msg-tarvel-common-targets NAMESPACE msg-tarvel:: DESTINATION ${package_dir})
configure_package_config_file(cmake/msg-tarvel-common-config.cmake.in
  ${CMAKE_BINARY_DIR}/msg-tarvel-common-config.cmake INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${CMAKE_BINARY_DIR}/msg-tarvel-common-config-version.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/msg-tarvel-common-config.cmake
  ${CMAKE_BINARY_DIR}/msg-tarvel-common-config-version.cmake DESTINATION ${package_dir})

file(RELATIVE_PATH MSG_TARVEL_PC_PREFIX /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
configure_file(cmake/msg-tarvel-common.pc.in ${CMAKE_BINARY_DIR}/msg-tarvel-common.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/msg-tarvel-common.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
