# Debian packages of the installed components (cpack -G DEB in a build
# configured with CMAKE_INSTALL_PREFIX=/usr; scripts/package does both):
#   libvorn<SOVERSION>  the shared library (runtime component); its Depends
#                       come from dpkg-shlibdeps
#   libvorn-dev         headers, libvorn.so, CMake and pkg-config files,
#                       examples (development component); depends on exactly
#                       this version of the library package and on the -dev
#                       packages of the libraries named by vorn.pc's
#                       Requires.private and found by vornConfig.cmake
# Debian names a library package after its SONAME: libvorn.so.0.1 is shipped
# by libvorn0.1, so two ABI versions can be installed side by side.
set(VORN_DEB_RUNTIME_PACKAGE libvorn${VORN_SOVERSION})
set(VORN_DEB_DEV_DEPENDS "libsqlite3-dev, libace-dev, libspdlog-dev")
if(TARGET vorn_dal_postgresql)
  string(APPEND VORN_DEB_DEV_DEPENDS ", libpq-dev")
endif()

set(CPACK_PACKAGE_NAME vorn)
set(CPACK_PACKAGE_VENDOR "VORNLib developers")
set(CPACK_PACKAGE_CONTACT "VORNLib developers <vorn@users.noreply.example>")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL runtime development)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${VORN_DEB_RUNTIME_PACKAGE})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
# Each description's first line is the package's synopsis
# (cmake/cpack_options.cmake keeps CPack from prepending the project's).
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION "${PROJECT_DESCRIPTION}
VORNLib builds SQL statements (select, insert, update, delete, drop, batch
insert, bound and raw text) as objects and runs them on named sessions of
SQLite or PostgreSQL. This package holds the shared library.")
# The library is a shared library of its own: run ldconfig after it changes.
set(CPACK_DEBIAN_RUNTIME_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_GENERATE_SHLIBS_POLICY "=")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libvorn-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
  "${VORN_DEB_RUNTIME_PACKAGE} (= ${PROJECT_VERSION}-1), ${VORN_DEB_DEV_DEPENDS}")
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "${PROJECT_DESCRIPTION} (development files)
VORNLib builds SQL statements (select, insert, update, delete, drop, batch
insert, bound and raw text) as objects and runs them on named sessions of
SQLite or PostgreSQL. This package holds the headers, the CMake package
(find_package(vorn)), vorn.pc for pkg-config and the example programs.")

set(CPACK_PROJECT_CONFIG_FILE ${CMAKE_CURRENT_LIST_DIR}/cpack_options.cmake)
include(CPack)
