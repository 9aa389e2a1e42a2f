# The Debian package: `cpack -G DEB` in the build folder. It holds what `cmake --install` installs.
set(CPACK_PACKAGE_NAME kiv)
set(CPACK_PACKAGE_CONTACT "The kiv developers <kiv@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Video-stream component of a non-linear editor")
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION
  "Turns a clip's decoded frames into frames of the wanted rate and size through a chain of nodes:
speed, reverse, frame rate, crop and more. Holds the session library, the component and its engine, all
with their headers for hosts, and kivclip, a command line over them.")
set(CPACK_DEBIAN_PACKAGE_SECTION video)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)

# Dependencies are read from the libraries and programs themselves. Our own libraries are found in
# the build folder, runtime-loaded modules included: whatever a target installs is looked at.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY "=")
include(CPack)
