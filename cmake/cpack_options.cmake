# Read by cpack before it makes each package. The Debian descriptions of
# cmake/package.cmake begin with their own synopsis line, so the project's
# summary must not be put in front of them.
if(CPACK_GENERATOR STREQUAL "DEB")
  unset(CPACK_PACKAGE_DESCRIPTION_SUMMARY)
endif()
