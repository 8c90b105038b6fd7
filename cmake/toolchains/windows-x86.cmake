# SPDX-License-Identifier: Apache-2.0
# 32-bit Windows with mingw-w64. Its programs run where Wine is installed for 32 bits too.
set(CMAKE_SYSTEM_PROCESSOR X86)
set(triple i686-w64-mingw32)
set(wine wine)
include("${CMAKE_CURRENT_LIST_DIR}/mingw-w64.cmake")
