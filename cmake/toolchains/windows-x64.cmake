# SPDX-License-Identifier: Apache-2.0
# 64-bit Windows with mingw-w64, run by Wine.
set(CMAKE_SYSTEM_PROCESSOR AMD64)
set(triple x86_64-w64-mingw32)
set(wine wine64)
include("${CMAKE_CURRENT_LIST_DIR}/mingw-w64.cmake")
