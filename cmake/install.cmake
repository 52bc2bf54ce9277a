# Installation: headers, the shared library, a CMake package (vorn::vorn) and vorn.pc.
include(CMakePackageConfigHelpers)

install(TARGETS vorn EXPORT vornTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY include/vorn DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} FILES_MATCHING PATTERN "*.h")

set(VORN_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/vorn)
install(EXPORT vornTargets NAMESPACE vorn:: DESTINATION ${VORN_CMAKE_DIR})
configure_package_config_file(cmake/vornConfig.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/vornConfig.cmake INSTALL_DESTINATION ${VORN_CMAKE_DIR})
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/vornConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/vornConfig.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/vornConfigVersion.cmake DESTINATION ${VORN_CMAKE_DIR})

# The .pc file finds the prefix relative to its own place, so an installation
# can be moved (or made with cmake --install --prefix) and still be found.
file(RELATIVE_PATH VORN_PC_TO_PREFIX "${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig" "${CMAKE_INSTALL_PREFIX}")
configure_file(cmake/vorn.pc.in ${CMAKE_CURRENT_BINARY_DIR}/vorn.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/vorn.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
