# SPDX-License-Identifier: Apache-2.0
# The target `docs` makes the reference of the public interface, in docs/html of the build. A warning is an error.

find_package(Doxygen QUIET)
if(NOT DOXYGEN_FOUND)
  message(STATUS "Doxygen is missing: no target docs")
  return()
endif()

set(vellix_doxygen_input "")
foreach(header IN LISTS vellix_header_files)
  string(APPEND vellix_doxygen_input " \"${header}\"")
endforeach()
configure_file("${PROJECT_SOURCE_DIR}/docs/Doxyfile.in" "${PROJECT_BINARY_DIR}/Doxyfile" @ONLY)
set(vellix_run_doxygen ${CMAKE_COMMAND} -E env LC_ALL=C "${DOXYGEN_EXECUTABLE}" "${PROJECT_BINARY_DIR}/Doxyfile")
add_custom_target(docs
  COMMAND ${vellix_run_doxygen}
  WORKING_DIRECTORY "${PROJECT_SOURCE_DIR}"
  COMMENT "Reference of the interface in ${PROJECT_BINARY_DIR}/docs/html"
  VERBATIM)
if(VELLIX_BUILD_TESTS)
  add_test(NAME api_reference COMMAND ${vellix_run_doxygen} WORKING_DIRECTORY "${PROJECT_SOURCE_DIR}")
  set_tests_properties(api_reference PROPERTIES LABELS reference)
endif()
