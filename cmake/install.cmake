# Installation: the shared library, its headers, a CMake package (vorn::vorn),
# vorn.pc, the licence, the change log and the example programs. Each file
# belongs to one of two components, which become the Debian packages made by
# cmake/package.cmake (cpack -G DEB, scripts/package):
#   runtime      libvorn.so.<SOVERSION> and what it must ship with
#   development  headers, the libvorn.so link, the CMake and pkg-config files,
#                the examples
include(CMakePackageConfigHelpers)

install(TARGETS vorn EXPORT vornTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

# The public headers: everything under include/vorn. The library's own
# helpers (the bounds-checked C functions, the string helpers, the type
# registry) live under src/exec/platform and are never installed.
install(DIRECTORY include/vorn DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development
  FILES_MATCHING PATTERN "*.h")
install(FILES ${VORN_GENERATED_INCLUDE_DIR}/vorn/version.h
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/vorn COMPONENT development)

# The CMake package. Its version check follows the ABI policy (see
# VORN_VERSION_COMPATIBILITY in CMakeLists.txt).
set(VORN_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/vorn)
install(EXPORT vornTargets NAMESPACE vorn:: DESTINATION ${VORN_CMAKE_DIR} COMPONENT development)
configure_package_config_file(cmake/vornConfig.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/vornConfig.cmake INSTALL_DESTINATION ${VORN_CMAKE_DIR})
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/vornConfigVersion.cmake
  COMPATIBILITY ${VORN_VERSION_COMPATIBILITY})
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/vornConfig.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/vornConfigVersion.cmake
  DESTINATION ${VORN_CMAKE_DIR} COMPONENT development)

# The .pc file finds the prefix relative to its own place, so an installation
# can be moved (or made with cmake --install --prefix) and still be found. It
# sets no -std: the headers need C++17 or later, and a consumer chooses which.
# Requires.private names the libraries libvorn.so links, for static links and
# for tools that walk dependencies.
file(RELATIVE_PATH VORN_PC_TO_PREFIX "${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig" "${CMAKE_INSTALL_PREFIX}")
set(VORN_PC_REQUIRES_PRIVATE "sqlite3")
if(TARGET vorn_dal_postgresql)
  string(APPEND VORN_PC_REQUIRES_PRIVATE " libpq")
endif()
string(APPEND VORN_PC_REQUIRES_PRIVATE " ACE spdlog")
configure_file(cmake/vorn.pc.in ${CMAKE_CURRENT_BINARY_DIR}/vorn.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/vorn.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)

# Documentation: the licence goes with the library, the change log, the README
# with the manual's pages (docs/*.md, beside it as in the repository, so their
# links work) and the example programs (sources and a CMakeLists.txt that
# builds them against the installed package) with the development files.
install(FILES LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT runtime)
install(FILES CHANGELOG.md README.md DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT development)
install(DIRECTORY docs/ DESTINATION ${CMAKE_INSTALL_DOCDIR}/docs COMPONENT development
  FILES_MATCHING PATTERN "*.md")
install(DIRECTORY examples/ DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples COMPONENT development
  FILES_MATCHING PATTERN "*.cpp" PATTERN "*.h" PATTERN "CMakeLists.txt")

include(cmake/package.cmake)
