# cmake/toolchain-mingw-x86_64.cmake: cross-building the Windows 64-bit DLL and tools with mingw-w64.
# Use: cmake -G Ninja -DCMAKE_TOOLCHAIN_FILE=cmake/toolchain-mingw-x86_64.cmake -S . -B build-win64
set(CMAKE_SYSTEM_PROCESSOR AMD64)
set(VNR_MINGW_TRIPLE x86_64-w64-mingw32)
include(${CMAKE_CURRENT_LIST_DIR}/mingw-common.cmake)
