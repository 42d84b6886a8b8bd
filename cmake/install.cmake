# What `cmake --install` lays down: libraries, headers, the pkg-config file and the CMake package.
include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/msg-tarvel-common)

# The watch brings its own platform.
set(libraries msg-tarvel-common)
if(MSG_TARVEL_PLATFORM STREQUAL "host")
  list(APPEND libraries msg-tarvel-platform)
endif()
# The library finds the platform's beside itself. Where the system's linker looks there anyway, as
# for a package, CMAKE_SKIP_INSTALL_RPATH leaves the path out.
set_target_properties(${libraries} PROPERTIES INSTALL_RPATH "$ORIGIN")
install(TARGETS ${libraries} EXPORT msg-tarvel-common-targets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY include/msg-tarvel-common DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT msg-tarvel-common-targets NAMESPACE msg-tarvel:: DESTINATION ${package_dir})
configure_package_config_file(cmake/msg-tarvel-common-config.cmake.in
  ${PROJECT_BINARY_DIR}/msg-tarvel-common-config.cmake INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/msg-tarvel-common-config-version.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/msg-tarvel-common-config.cmake
  ${PROJECT_BINARY_DIR}/msg-tarvel-common-config-version.cmake DESTINATION ${package_dir})

# Relative to the file itself, whose folder pkgconf quotes where it must.
foreach(place PREFIX FULL_LIBDIR FULL_INCLUDEDIR)
  file(RELATIVE_PATH MSG_TARVEL_PC_${place}
    "${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig" "${CMAKE_INSTALL_${place}}")
  string(REGEX REPLACE "/$" "" MSG_TARVEL_PC_${place} "${MSG_TARVEL_PC_${place}}")
endforeach()
configure_file(cmake/msg-tarvel-common.pc.in ${PROJECT_BINARY_DIR}/msg-tarvel-common.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/msg-tarvel-common.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
