# SPDX-License-Identifier: Apache-2.0
# What `cmake --install` puts in place: the library, the public headers, a CMake package, a pkg-config file, the documents.
# All of it may be moved afterwards. `cpack` makes a Debian package of the same.

include(CMakePackageConfigHelpers)

set(vellix_package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/vellix")
set(vellix_pkgconfig_dir "${CMAKE_INSTALL_LIBDIR}/pkgconfig")

install(TARGETS vellix EXPORT vellixTargets FILE_SET HEADERS DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}")
install(EXPORT vellixTargets NAMESPACE vellix:: DESTINATION "${vellix_package_dir}")

configure_package_config_file(
  "${PROJECT_SOURCE_DIR}/cmake/vellixConfig.cmake.in" "${PROJECT_BINARY_DIR}/vellixConfig.cmake"
  INSTALL_DESTINATION "${vellix_package_dir}"
  NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file("${PROJECT_BINARY_DIR}/vellixConfigVersion.cmake" COMPATIBILITY SameMajorVersion)
install(FILES "${PROJECT_BINARY_DIR}/vellixConfig.cmake" "${PROJECT_BINARY_DIR}/vellixConfigVersion.cmake"
  DESTINATION "${vellix_package_dir}")

# The pkg-config file names its own directory instead of the prefix, so it moves along with the rest.
file(RELATIVE_PATH vellix_pc_to_prefix
  "${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig" "${CMAKE_INSTALL_PREFIX}")
string(REGEX REPLACE "/$" "" vellix_pc_to_prefix "${vellix_pc_to_prefix}")
cmake_path(ABSOLUTE_PATH CMAKE_INSTALL_INCLUDEDIR BASE_DIRECTORY "\${prefix}" OUTPUT_VARIABLE vellix_pc_includedir)
cmake_path(ABSOLUTE_PATH CMAKE_INSTALL_LIBDIR BASE_DIRECTORY "\${prefix}" OUTPUT_VARIABLE vellix_pc_libdir)
set(vellix_pc_cflags "")
set(vellix_pc_private "${CMAKE_THREAD_LIBS_INIT}")
if(NOT VELLIX_SHARED)
  set(vellix_pc_cflags " -DVELLIX_STATIC")
endif()
configure_file("${PROJECT_SOURCE_DIR}/cmake/vellix.pc.in" "${PROJECT_BINARY_DIR}/vellix.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/vellix.pc" DESTINATION "${vellix_pkgconfig_dir}")

install(FILES README.md CHANGELOG.md SECURITY.md DESTINATION "${CMAKE_INSTALL_DOCDIR}")
install(DIRECTORY docs DESTINATION "${CMAKE_INSTALL_DOCDIR}" FILES_MATCHING PATTERN "*.md")

# One package for those who run and those who build programs. Its version is the project's.
if(PROJECT_IS_TOP_LEVEL)
  set(CPACK_GENERATOR DEB)
  set(CPACK_PACKAGE_VENDOR "vellix developers")
  set(CPACK_PACKAGE_CONTACT "vellix developers")
  set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
  set(CPACK_PACKAGE_DESCRIPTION "A C++17 library for the catalog documents of a backup system.
Library, headers, CMake package, pkg-config file and documents.")
  set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
  set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
  set(CPACK_STRIP_FILES ON)
  set(CPACK_DEBIAN_PACKAGE_NAME libvellix)
  set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
  set(CPACK_DEBIAN_PACKAGE_SECTION libdevel)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON) # needs dpkg-shlibdeps
  set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
  set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
  include(CPack)
endif()
