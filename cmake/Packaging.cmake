# `make package`: a Debian package of the installed tree. Library dependencies
# come from dpkg-shlibdeps; the GStreamer plugins Nelvo loads at run time are
# not linked, so they are named here.
set(CPACK_GENERATOR DEB)
# Packaging installs what is built; it does not build the tests and benchmarks first.
set(CMAKE_SKIP_INSTALL_ALL_DEPENDENCY ON)
set(CPACK_PACKAGE_NAME nelvo)
set(CPACK_PACKAGE_VENDOR "The Nelvo developers")
set(CPACK_PACKAGE_CONTACT "The Nelvo developers <developers@nelvo.io>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "motion- and sound-triggered recorder for the desktop")
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION
  "Nelvo lives in the system tray and turns a computer with a camera and a\n\
microphone into a motion- and sound-triggered recorder. Armed, it watches\n\
one or two cameras for motion and the microphone for sound, and on a trigger\n\
writes movies that begin up to 30 seconds before it. It keeps its folder\n\
under a size limit, arms on a weekly schedule and runs headless too.")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION video)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_DEPENDS
  "gstreamer1.0-plugins-base, gstreamer1.0-plugins-good, gstreamer1.0-plugins-bad, \
gstreamer1.0-plugins-ugly, gstreamer1.0-libav, gstreamer1.0-pulseaudio, qt6-qpa-plugins, \
fonts-dejavu-core")
# Cameras shared through PipeWire (portals, Flatpak) need its source.
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "gstreamer1.0-pipewire, pipewire-pulse | pulseaudio")
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
include(CPack)
