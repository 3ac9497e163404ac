# cmake/packaging.cmake: the packages CPack makes of the install tree (cmake/install.cmake).
#   Linux: a Debian package `vnr32` (cpack -G DEB in a build folder): the library, its header and development
#          files, libGetInfo.so, vnr, vnr-sim, the udev rule (udev reloaded on install and removal), the man
#          pages and the decks; its dependencies are computed from the binaries (dpkg-shlibdeps).
#   Windows: scripts/pack-windows.sh puts both cross builds into one zip (CPack is not used there).
if(WIN32)
  return()
endif()

set(CPACK_PACKAGE_NAME vnr32)
set(CPACK_PACKAGE_VENDOR "vnr_32 developers")
set(CPACK_PACKAGE_CONTACT "vnr_32 developers <vnr32-dev@example.org>")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "client library and tools for the vnr_32 smart-card readers")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_GENERATOR DEB)
set(CPACK_STRIP_FILES ON)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
# The synopsis is CPACK_PACKAGE_DESCRIPTION_SUMMARY; CPack indents these lines and writes " ." for the empty one.
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION
    "libvnr_32 works the desktop card readers of the vnr_32 family over USB HID or
a serial port: identity cards with their photo, contact and contactless
cards, bank cards, the magnetic stripe, the PIN pad and the reader itself.

The package holds the library with its header, CMake and pkg-config files,
the photo decoder libGetInfo.so, the command-line tool vnr (whose verb
doctor tells why a reader does not work), the reader simulator vnr-sim with
sample decks, and a udev rule that gives the user at the seat access to a
USB reader.")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
# postinst and postrm reload udev's rules; triggers runs ldconfig for the library.
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA
    ${PROJECT_SOURCE_DIR}/packaging/debian/postinst ${PROJECT_SOURCE_DIR}/packaging/debian/postrm
    ${PROJECT_SOURCE_DIR}/packaging/debian/triggers)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

# Debian's own documents of the package: its copyright and changelog, and lintian's overrides with their reasons.
set(vnr_deb_doc ${PROJECT_BINARY_DIR}/deb-doc)
file(MAKE_DIRECTORY ${vnr_deb_doc})
configure_file(${PROJECT_SOURCE_DIR}/packaging/debian/changelog.in ${vnr_deb_doc}/changelog @ONLY)
add_custom_command(OUTPUT ${vnr_deb_doc}/changelog.gz
                   COMMAND gzip -9nf -k ${vnr_deb_doc}/changelog
                   DEPENDS ${vnr_deb_doc}/changelog VERBATIM)
add_custom_target(deb-doc ALL DEPENDS ${vnr_deb_doc}/changelog.gz)
install(FILES ${PROJECT_SOURCE_DIR}/packaging/debian/copyright ${vnr_deb_doc}/changelog.gz
        DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/vnr32 COMPONENT deb EXCLUDE_FROM_ALL)
install(FILES ${PROJECT_SOURCE_DIR}/packaging/debian/lintian-overrides DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides
        RENAME vnr32 COMPONENT deb EXCLUDE_FROM_ALL)

# The install of the package takes the default component and these documents, and the PC/SC driver where it
# was built: its bundle in pcscd's driver folder and the commented example for a serial reader.
set(CPACK_INSTALL_CMAKE_PROJECTS "${PROJECT_BINARY_DIR};vnr32;Unspecified;/;${PROJECT_BINARY_DIR};vnr32;deb;/")
if(TARGET vnr_pcsc)
  list(APPEND CPACK_INSTALL_CMAKE_PROJECTS "${PROJECT_BINARY_DIR};vnr32;pcsc;/")
  set(CPACK_DEBIAN_PACKAGE_SUGGESTS "pcscd")
endif()

include(CPack)
