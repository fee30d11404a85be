# Installation of what is not a program, and the Debian package: cpack -G DEB in a build folder.
install(FILES README.md CHANGELOG.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(DIRECTORY docs examples DESTINATION ${CMAKE_INSTALL_DOCDIR} PATTERN OrvoBundleResult EXCLUDE)

set(ORVO_PACKAGE_MAINTAINER "Orvo developers <orvo@localhost>" CACHE STRING "Maintainer named in packages")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME ${PROJECT_NAME})
set(CPACK_PACKAGE_VENDOR Orvo)
set(CPACK_PACKAGE_CONTACT ${ORVO_PACKAGE_MAINTAINER})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY ${PROJECT_DESCRIPTION})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER ${ORVO_PACKAGE_MAINTAINER})
set(CPACK_DEBIAN_PACKAGE_SECTION science)
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION
  "Refines the orientations of aerial images and the calibration of their cameras from tie and control
points, computes the points' coordinates and reports the accuracy. Command line only.")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
# Without dpkg-shlibdeps nobody can tell which versions of the shared libraries are needed.
find_program(ORVO_DPKG_SHLIBDEPS dpkg-shlibdeps)
mark_as_advanced(ORVO_DPKG_SHLIBDEPS)
if(ORVO_DPKG_SHLIBDEPS)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
endif()
include(CPack)
