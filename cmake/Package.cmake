# The Debian package, made by scripts/package from what the install rules lay out.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME moritane)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "virtual camera showing nothing, a camera or a still image")
# CPack sets the summary before it.
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION "Moritane gives the computer one more camera, called Moritane, which video
conferencing programs and browsers list beside the real ones. From an icon in
the system tray the user chooses what it shows: black, a physical camera
passed through, or a still image from a library that Moritane keeps.
.
The camera is published through PipeWire, and with the v4l2loopback module
also as a /dev/video device.")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(MORITANE_PACKAGE_MAINTAINER "Orsk <moritane@orsk.com>" CACHE STRING "The package's Maintainer field")
set(CPACK_DEBIAN_PACKAGE_MAINTAINER ${MORITANE_PACKAGE_MAINTAINER})
set(CPACK_DEBIAN_PACKAGE_SECTION video)
set(CPACK_DEBIAN_PACKAGE_HOMEPAGE "https://${MORITANE_WEBSITE_HOST}/lab/moritane/")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# Loaded at run time, so the libraries' own dependencies do not name them: the SVG icon engine
# and the image formats of the library's pictures.
set(CPACK_DEBIAN_PACKAGE_DEPENDS "libqt6svg6, qt6-image-formats-plugins")
# The module makes the camera a /dev/video device; pkexec loads it with the administrator's consent.
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "v4l2loopback-dkms, pkexec")
set(CPACK_OUTPUT_FILE_PREFIX ${CMAKE_BINARY_DIR}/package)
include(CPack)
