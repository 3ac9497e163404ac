# cmake/mingw-common.cmake: what both mingw-w64 toolchain files share. The including file sets
# VNR_MINGW_TRIPLE and CMAKE_SYSTEM_PROCESSOR first.
set(CMAKE_SYSTEM_NAME Windows)

set(CMAKE_C_COMPILER ${VNR_MINGW_TRIPLE}-gcc)
set(CMAKE_CXX_COMPILER ${VNR_MINGW_TRIPLE}-g++)
set(CMAKE_RC_COMPILER ${VNR_MINGW_TRIPLE}-windres)

# Headers and libraries come from the mingw-w64 sysroot only; programs (code generators) from the host.
set(CMAKE_FIND_ROOT_PATH /usr/${VNR_MINGW_TRIPLE})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
