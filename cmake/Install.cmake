# What `cmake --install` puts where, by component:
#   core  the freestanding library (versioned, with its SONAME) and stemstrip.h
#   sdk   the C++ SDK as static archives, the C API as a shared library, their
#         headers, the CMake package and the pkg-config files
#   cli   the stemstrip program and its manual page
#   lv2   the self-contained plugin bundle (its own copy of the core)
# The C++ SDK is static: its interface is C++ classes and standard-library
# types, whose ABI moves with the compiler and the SDK itself, so each host
# links the exact code it was compiled against. The stable ABI for other
# languages is the C API, which is shared and versioned.
set(config_dir ${CMAKE_INSTALL_LIBDIR}/cmake/stemstrip)

install(TARGETS stemstrip EXPORT stemstripTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT core)
install(FILES ${PROJECT_SOURCE_DIR}/include/stemstrip.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT core)

install(TARGETS stemstrip_sdk stemstrip_design stemstrip_sdk_c EXPORT stemstripTargets
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT sdk
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT sdk)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/sdk/include/stemstrip DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT sdk)

include(CMakePackageConfigHelpers)
install(EXPORT stemstripTargets NAMESPACE stemstrip:: DESTINATION ${config_dir} COMPONENT sdk)
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/install/stemstripConfig.cmake.in
  ${PROJECT_BINARY_DIR}/stemstripConfig.cmake INSTALL_DESTINATION ${config_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/stemstripConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/stemstripConfig.cmake ${PROJECT_BINARY_DIR}/stemstripConfigVersion.cmake
  DESTINATION ${config_dir} COMPONENT sdk)

# pkg-config files locate the prefix from their own folder, so an installed
# tree works wherever it lands (any --prefix, DESTDIR, a moved folder).
file(RELATIVE_PATH pc_to_prefix ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
foreach(pc stemstrip stemstrip-sdk)
  configure_file(${CMAKE_CURRENT_LIST_DIR}/install/${pc}.pc.in ${PROJECT_BINARY_DIR}/${pc}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${pc}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT sdk)
endforeach()

install(TARGETS stemstrip_cli RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT cli)
install(FILES ${PROJECT_BINARY_DIR}/cli/stemstrip.1.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT cli)

set(lv2_bundle_dir ${CMAKE_INSTALL_LIBDIR}/lv2/stemstrip.lv2)
install(TARGETS stemstrip_lv2 stemstrip_lv2_ui LIBRARY DESTINATION ${lv2_bundle_dir} COMPONENT lv2)
install(TARGETS stemstrip LIBRARY DESTINATION ${lv2_bundle_dir} COMPONENT lv2 NAMELINK_SKIP)
install(DIRECTORY ${PROJECT_BINARY_DIR}/lv2/stemstrip.lv2/ DESTINATION ${lv2_bundle_dir} COMPONENT lv2
  FILES_MATCHING PATTERN "*.ttl")

# The licence under the name Debian looks for.
install(FILES ${PROJECT_SOURCE_DIR}/LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR} RENAME copyright COMPONENT core)
