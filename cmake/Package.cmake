# One Debian package, stemstrip_<version>_amd64.deb, holding every component
# (`cpack -G DEB` in the build folder). Its Depends come from dpkg-shlibdeps.
set(CPACK_PACKAGE_NAME stemstrip)
set(CPACK_PACKAGE_VENDOR "The stemstrip authors")
set(STEMSTRIP_PACKAGE_MAINTAINER "The stemstrip authors <stemstrip@users.noreply.github.com>"
    CACHE STRING "Maintainer field of the Debian package")
set(CPACK_PACKAGE_CONTACT ${STEMSTRIP_PACKAGE_MAINTAINER})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "real-time channel strip for audio hosts")
set(CPACK_PACKAGE_DESCRIPTION "An equaliser, a compressor, an expander/gate and peak meters for\n\
every stem format from mono to 7.1: LV2 plugins, the stemstrip command-line\n\
renderer, and the libraries and headers for building hosts on the\n\
freestanding core, the C++ SDK or the C API.\n\
Needs an x86-64-v3 CPU (FMA, AVX2).")
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
set(CPACK_GENERATOR DEB)
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION sound)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# The core and the C API are in this package: dpkg-shlibdeps looks for them here.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_INSTALL_LIBDIR})
# Written here rather than generated: the bundle's own copy of the core would
# list libstemstrip twice. The trigger runs ldconfig for the two libraries.
set(deb_dir ${PROJECT_BINARY_DIR}/deb)
configure_file(${CMAKE_CURRENT_LIST_DIR}/install/shlibs.in ${deb_dir}/shlibs @ONLY)
file(WRITE ${deb_dir}/triggers "activate-noawait ldconfig\n")
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA ${deb_dir}/shlibs ${deb_dir}/triggers)
# Debian wants a (compressed) changelog even for a package made this way.
configure_file(${CMAKE_CURRENT_LIST_DIR}/install/changelog.in ${deb_dir}/changelog @ONLY)
add_custom_command(OUTPUT ${deb_dir}/changelog.gz
  COMMAND gzip -9nkf ${deb_dir}/changelog DEPENDS ${deb_dir}/changelog)
add_custom_target(stemstrip_deb_changelog ALL DEPENDS ${deb_dir}/changelog.gz)
install(FILES ${deb_dir}/changelog.gz DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT core)
include(CPack)
