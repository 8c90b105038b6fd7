# SPDX-License-Identifier: Apache-2.0
# What `cpack` puts into Debian packages, which are installed to /usr: the shared library into libvellix1, all that is
# needed to build programs into libvellix-dev. A static library goes into a package of its own with the same headers.

set(libdir "${CMAKE_INSTALL_LIBDIR}")
if(CMAKE_LIBRARY_ARCHITECTURE)
  set(libdir "lib/${CMAKE_LIBRARY_ARCHITECTURE}")
endif()
set(runtime_package "libvellix${PROJECT_VERSION_MAJOR}")
set(development_package libvellix-dev)
set(packages runtime development)
if(NOT VELLIX_SHARED)
  set(development_package libvellix-static-dev)
  set(packages development)
endif()
vellix_install(_debian "${libdir}" "share/doc/${development_package}" debian_runtime debian_development EXCLUDE_FROM_ALL)

# Debian's tools want a changelog of their own form, in every package.
set(CPACK_PACKAGE_CONTACT "the vellix authors <authors@vellix.invalid>") # an address is asked for, and nobody has that one
string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)
set(changelog "${PROJECT_BINARY_DIR}/install_debian/changelog")
file(WRITE "${changelog}" "vellix (${PROJECT_VERSION}) unstable; urgency=medium

  * The file CHANGELOG.md in this directory tells what changed.

 -- ${CPACK_PACKAGE_CONTACT}  ${date}
")
find_program(VELLIX_GZIP gzip)
mark_as_advanced(VELLIX_GZIP)
if(VELLIX_GZIP)
  execute_process(COMMAND "${VELLIX_GZIP}" -9nf "${changelog}")
  string(APPEND changelog ".gz")
endif()

install(FILES CHANGELOG.md DESTINATION "share/doc/${runtime_package}" COMPONENT debian_runtime EXCLUDE_FROM_ALL)
set(CPACK_COMPONENTS_ALL "")
foreach(package IN LISTS packages)
  set(docdir "share/doc/${${package}_package}")
  install(FILES LICENSE RENAME copyright DESTINATION "${docdir}" COMPONENT debian_${package} EXCLUDE_FROM_ALL)
  install(FILES "${changelog}" DESTINATION "${docdir}" COMPONENT debian_${package} EXCLUDE_FROM_ALL)
  list(APPEND CPACK_COMPONENTS_ALL debian_${package})
  string(TOUPPER "CPACK_DEBIAN_DEBIAN_${package}_PACKAGE" setting)
  set(${setting}_NAME "${${package}_package}")
endforeach()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_VENDOR "the vellix authors")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "catalog documents of a backup system")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)

file(WRITE "${PROJECT_BINARY_DIR}/install_debian/triggers" "activate-noawait ldconfig\n")
set(CPACK_DEBIAN_DEBIAN_RUNTIME_DESCRIPTION "This package has the shared library.")
set(CPACK_DEBIAN_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA "${PROJECT_BINARY_DIR}/install_debian/triggers")
set(CPACK_DEBIAN_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON) # needs dpkg-shlibdeps and file
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")

set(CPACK_DEBIAN_DEBIAN_DEVELOPMENT_DESCRIPTION "This package has what building programs takes: headers, ${vellix_kind} library,
CMake package, pkg-config file, documents and examples.")
set(CPACK_DEBIAN_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
if(VELLIX_SHARED)
  set(CPACK_DEBIAN_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${runtime_package} (= ${PROJECT_VERSION})")
  set(CPACK_DEBIAN_DEBIAN_DEVELOPMENT_PACKAGE_CONFLICTS libvellix-static-dev)
else()
  set(CPACK_DEBIAN_DEBIAN_DEVELOPMENT_PACKAGE_CONFLICTS libvellix-dev)
endif()
include(CPack)
