# SPDX-License-Identifier: Apache-2.0
# A program finds a DLL that lies beside it, so everything that runs goes into one directory: ours, and what the programs
# need of the compiler where the system doesn't have it.

set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/bin")
if(MINGW AND CMAKE_CROSSCOMPILING)
  foreach(runtime IN ITEMS libstdc++-6.dll libgcc_s_seh-1.dll libgcc_s_dw2-1.dll libwinpthread-1.dll)
    execute_process(COMMAND "${CMAKE_CXX_COMPILER}" "-print-file-name=${runtime}"
      OUTPUT_VARIABLE path OUTPUT_STRIP_TRAILING_WHITESPACE)
    if(IS_ABSOLUTE "${path}")
      file(COPY "${path}" DESTINATION "${CMAKE_RUNTIME_OUTPUT_DIRECTORY}")
    endif()
  endforeach()
endif()
