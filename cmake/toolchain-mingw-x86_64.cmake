# cmake/toolchain-mingw-x86_64.cmake: cross-building the Windows 64-bit DLL and tools with mingw-w64.
# Use: cmake -G Ninja -DCMAKE_TOOLCHAIN_FILE=cmake/toolchain-mingw-x86_64.cmake -S . -B build-win64
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR AMD64)

set(VNR_MINGW_TRIPLE x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${VNR_MINGW_TRIPLE}-gcc)
set(CMAKE_CXX_COMPILER ${VNR_MINGW_TRIPLE}-g++)
set(CMAKE_RC_COMPILER ${VNR_MINGW_TRIPLE}-windres)

# Headers and libraries come from the mingw-w64 sysroot only; programs (code generators) from the host.
set(CMAKE_FIND_ROOT_PATH /usr/${VNR_MINGW_TRIPLE})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
