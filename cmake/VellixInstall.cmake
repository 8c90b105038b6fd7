# SPDX-License-Identifier: Apache-2.0
# What `cmake --install` puts in place: the library, the public headers, a CMake package, pkg-config files, and at top level
# the documents. All of it may be moved afterwards, and a shared and a static build may be installed into one prefix.

include(CMakePackageConfigHelpers)

# vellix_install(SUFFIX LIBDIR DOCDIR RUNTIME DEVELOPMENT [EXCLUDE_FROM_ALL]): one set of rules. Its directories are relative
# to the prefix or absolute, and its components have the names given. SUFFIX tells the sets apart.
function(vellix_install suffix libdir docdir runtime development)
  set(package_dir "${libdir}/cmake/vellix")
  set(made "${PROJECT_BINARY_DIR}/install${suffix}")
  set(target_file vellix_${vellix_kind}_targets)

  install(TARGETS vellix EXPORT ${target_file}${suffix}
    RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT ${runtime} ${ARGN}
    LIBRARY DESTINATION "${libdir}" COMPONENT ${runtime} NAMELINK_COMPONENT ${development} ${ARGN}
    ARCHIVE DESTINATION "${libdir}" COMPONENT ${development} ${ARGN}
    INCLUDES DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}")
  install(FILES ${vellix_header_files}
    DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/vellix" COMPONENT ${development} ${ARGN})

  install(EXPORT ${target_file}${suffix} NAMESPACE vellix:: FILE ${target_file}.cmake
    DESTINATION "${package_dir}" COMPONENT ${development} ${ARGN})
  configure_package_config_file(
    "${PROJECT_SOURCE_DIR}/cmake/vellixConfig.cmake.in" "${made}/vellixConfig.cmake"
    INSTALL_DESTINATION "${package_dir}"
    NO_SET_AND_CHECK_MACRO)
  write_basic_package_version_file("${made}/vellixConfigVersion.cmake" COMPATIBILITY SameMajorVersion)
  install(FILES "${made}/vellixConfig.cmake" "${made}/vellixConfigVersion.cmake"
    DESTINATION "${package_dir}" COMPONENT ${development} ${ARGN})

  # These files name their own directory instead of the prefix, so they move along with the rest. vellix.pc is the same for
  # either kind of library: the linker takes the shared one where both are there, as the CMake package does.
  cmake_path(ABSOLUTE_PATH libdir BASE_DIRECTORY "${CMAKE_INSTALL_PREFIX}" OUTPUT_VARIABLE from)
  file(RELATIVE_PATH to_prefix "${from}/pkgconfig" "${CMAKE_INSTALL_PREFIX}")
  string(REGEX REPLACE "/$" "" to_prefix "${to_prefix}")
  cmake_path(ABSOLUTE_PATH CMAKE_INSTALL_INCLUDEDIR BASE_DIRECTORY "\${prefix}" OUTPUT_VARIABLE pc_includedir)
  cmake_path(ABSOLUTE_PATH libdir BASE_DIRECTORY "\${prefix}" OUTPUT_VARIABLE pc_libdir)
  set(pc_files vellix.pc)
  if(NOT VELLIX_SHARED)
    list(APPEND pc_files vellix-static.pc)
  endif()
  foreach(file IN LISTS pc_files)
    configure_file("${PROJECT_SOURCE_DIR}/cmake/${file}.in" "${made}/${file}" @ONLY)
    install(FILES "${made}/${file}" DESTINATION "${libdir}/pkgconfig" COMPONENT ${development} ${ARGN})
  endforeach()

  if(PROJECT_IS_TOP_LEVEL)
    vellix_install_documents("${docdir}" ${development} ${ARGN})
  endif()
endfunction()

# What a document tells only those who have the sources stands between two comments, and isn't installed.
function(vellix_install_documents docdir component)
  file(GLOB documents RELATIVE "${PROJECT_SOURCE_DIR}" CONFIGURE_DEPENDS docs/*.md)
  list(REMOVE_ITEM documents docs/architecture.md docs/performance.md) # for those who work on it
  foreach(document IN LISTS documents ITEMS README.md CHANGELOG.md SECURITY.md)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/${document}")
    file(READ "${PROJECT_SOURCE_DIR}/${document}" text)
    string(REGEX REPLACE "\n<!-- sources -->\n[^<]*(<[^!][^<]*)*<!-- end -->\n" "" text "${text}")
    file(CONFIGURE OUTPUT "documents/${document}" CONTENT "${text}" @ONLY)
    cmake_path(GET document PARENT_PATH folder)
    install(FILES "${PROJECT_BINARY_DIR}/documents/${document}" DESTINATION "${docdir}/${folder}"
      COMPONENT ${component} ${ARGN})
  endforeach()
  install(DIRECTORY docs/pictures DESTINATION "${docdir}/docs" COMPONENT ${component} ${ARGN} FILES_MATCHING PATTERN "*.svg")
  install(FILES LICENSE DESTINATION "${docdir}" COMPONENT ${component} ${ARGN})
  install(DIRECTORY examples DESTINATION "${docdir}" COMPONENT ${component} ${ARGN} FILES_MATCHING PATTERN "*.cpp")
  install(DIRECTORY "${PROJECT_BINARY_DIR}/docs/html" DESTINATION "${docdir}" COMPONENT ${component} ${ARGN} OPTIONAL)
endfunction()

vellix_install("" "${CMAKE_INSTALL_LIBDIR}" "${CMAKE_INSTALL_DOCDIR}" vellix_runtime vellix_development)
if(PROJECT_IS_TOP_LEVEL)
  include(VellixPackage)
endif()
