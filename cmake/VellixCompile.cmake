# SPDX-License-Identifier: Apache-2.0
# How our own code is compiled. Nothing here reaches a program that links the library.

include(CheckCXXCompilerFlag)
include(CheckLinkerFlag)

set(vellix_compile_options "")
if(MSVC)
  list(APPEND vellix_compile_options /W4 /utf-8)
  if(VELLIX_WERROR)
    list(APPEND vellix_compile_options /WX)
  endif()
else()
  list(APPEND vellix_compile_options -Wall -Wextra -Wpedantic -Wconversion -Wshadow)
  if(VELLIX_WERROR)
    list(APPEND vellix_compile_options -Werror)
  endif()
endif()

set(vellix_sanitize_options "")
if(VELLIX_SANITIZE)
  set(vellix_sanitize_options "-fsanitize=${VELLIX_SANITIZE}" -fno-sanitize-recover=all -fno-omit-frame-pointer)
endif()

# Warnings, sanitizers and hidden symbols, for the library, its tests and its examples.
function(vellix_compile_privately target)
  target_compile_options(${target} PRIVATE ${vellix_compile_options} ${vellix_sanitize_options})
  target_link_options(${target} PRIVATE ${vellix_sanitize_options})
  if(NOT WIN32)
    target_compile_definitions(${target} PRIVATE _FILE_OFFSET_BITS=64 _TIME_BITS=64)
  endif()
  set_target_properties(${target} PROPERTIES
    CXX_STANDARD 17
    CXX_STANDARD_REQUIRED ON
    CXX_EXTENSIONS OFF
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON)
endfunction()

# The exported operations call each other on the hot paths. Without these flags each such call in a shared library goes
# through a table, so that a program could put an operation of its own in place; nobody may do that here.
check_cxx_compiler_flag(-fno-semantic-interposition VELLIX_HAS_NO_INTERPOSITION)
check_linker_flag(CXX -Wl,-Bsymbolic-functions VELLIX_HAS_SYMBOLIC_FUNCTIONS)
set(vellix_map "${PROJECT_SOURCE_DIR}/cmake/vellix.map")
check_linker_flag(CXX "-Wl,--version-script=${vellix_map}" VELLIX_HAS_VERSION_SCRIPT)

function(vellix_direct_calls target)
  if(VELLIX_HAS_NO_INTERPOSITION)
    target_compile_options(${target} PRIVATE -fno-semantic-interposition)
  endif()
  if(VELLIX_SHARED AND VELLIX_HAS_SYMBOLIC_FUNCTIONS)
    target_link_options(${target} PRIVATE -Wl,-Bsymbolic-functions)
  endif()
endfunction()

# Keeps what the standard library's templates instantiate out of the shared library's symbols. Sanitizers want to see it.
function(vellix_hide_templates target)
  if(VELLIX_SHARED AND VELLIX_HAS_VERSION_SCRIPT AND NOT VELLIX_SANITIZE)
    target_link_options(${target} PRIVATE "-Wl,--version-script=${vellix_map}")
    set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS "${vellix_map}")
  endif()
endfunction()
