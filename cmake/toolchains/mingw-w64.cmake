# SPDX-License-Identifier: Apache-2.0
# What both Windows builds share. Of the two variants of the compiler, the one with POSIX threads has a standard library
# with threads and mutexes.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_C_COMPILER ${triple}-gcc-posix)
set(CMAKE_CXX_COMPILER ${triple}-g++-posix)
set(CMAKE_RC_COMPILER ${triple}-windres)
set(CMAKE_FIND_ROOT_PATH /usr/${triple})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
find_program(VELLIX_WINE NAMES ${wine} PATHS /usr/lib/wine)
if(VELLIX_WINE)
  set(CMAKE_CROSSCOMPILING_EMULATOR "${VELLIX_WINE}")
endif()
