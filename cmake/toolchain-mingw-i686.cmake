# cmake/toolchain-mingw-i686.cmake: cross-building the Windows 32-bit DLL and tools with mingw-w64.
# Use: cmake -G Ninja -DCMAKE_TOOLCHAIN_FILE=cmake/toolchain-mingw-i686.cmake -S . -B build-win32
set(CMAKE_SYSTEM_PROCESSOR x86)
set(VNR_MINGW_TRIPLE i686-w64-mingw32)
include(${CMAKE_CURRENT_LIST_DIR}/mingw-common.cmake)
