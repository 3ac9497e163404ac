# cmake/toolchain-linux-cross.cmake: a Linux cross build with Debian's cross compilers, for the 32-bit x86
# and the aarch64 test runs (scripts/cross-tests.sh).
#   -DVNR_CROSS_ARCH=i686|aarch64 -DVNR_SYSROOT=DIR (made by scripts/cross-sysroot.sh) [-DVNR_CROSS_CLANG=clang-16]
# The compiler is the cross GCC, or with VNR_CROSS_CLANG that clang aimed at the target (it takes the cross
# GCC's headers and runtime).
# The C and C++ runtime come with the cross compiler (/usr/<triplet>); the other libraries from VNR_SYSROOT.
# Tests run through CMAKE_CROSSCOMPILING_EMULATOR: the target's own dynamic loader for i686 (the machine runs
# 32-bit x86 code itself), qemu-aarch64 for aarch64; both are given the two library folders.
set(CMAKE_SYSTEM_NAME Linux)
if(VNR_CROSS_ARCH STREQUAL "i686")
  set(CMAKE_SYSTEM_PROCESSOR i686)
  set(vnr_triplet i686-linux-gnu)
  set(CMAKE_LIBRARY_ARCHITECTURE i386-linux-gnu)
  set(vnr_loader /usr/${vnr_triplet}/lib/ld-linux.so.2)
elseif(VNR_CROSS_ARCH STREQUAL "aarch64")
  set(CMAKE_SYSTEM_PROCESSOR aarch64)
  set(vnr_triplet aarch64-linux-gnu)
  set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)
else()
  message(FATAL_ERROR "VNR_CROSS_ARCH must be i686 or aarch64")
endif()
if(NOT VNR_SYSROOT)
  message(FATAL_ERROR "VNR_SYSROOT: the folder of target libraries (scripts/cross-sysroot.sh)")
endif()
# Try-compile projects see these too.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES VNR_CROSS_ARCH VNR_SYSROOT VNR_CROSS_CLANG)

if(VNR_CROSS_CLANG)
  string(REPLACE clang clang++ vnr_clangxx ${VNR_CROSS_CLANG})
  set(CMAKE_C_COMPILER ${VNR_CROSS_CLANG})
  set(CMAKE_CXX_COMPILER ${vnr_clangxx})
  set(CMAKE_C_COMPILER_TARGET ${vnr_triplet})
  set(CMAKE_CXX_COMPILER_TARGET ${vnr_triplet})
  set(CMAKE_AR /usr/bin/${vnr_triplet}-ar)
  set(CMAKE_RANLIB /usr/bin/${vnr_triplet}-ranlib)
  set(CMAKE_NM /usr/bin/${vnr_triplet}-nm)
else()
  set(CMAKE_C_COMPILER ${vnr_triplet}-gcc)
  set(CMAKE_CXX_COMPILER ${vnr_triplet}-g++)
endif()
set(CMAKE_FIND_ROOT_PATH ${VNR_SYSROOT} /usr/${vnr_triplet})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_LIBDIR} "${VNR_SYSROOT}/usr/lib/${CMAKE_LIBRARY_ARCHITECTURE}/pkgconfig:${VNR_SYSROOT}/usr/share/pkgconfig")
set(ENV{PKG_CONFIG_SYSROOT_DIR} "${VNR_SYSROOT}")

# Headers that differ by architecture (opensslconf.h, ...) lie in the multiarch folder, which the compiler
# searches by itself only below /usr/include.
set(CMAKE_C_FLAGS_INIT "-isystem ${VNR_SYSROOT}/usr/include/${CMAKE_LIBRARY_ARCHITECTURE}")
set(CMAKE_CXX_FLAGS_INIT "-isystem ${VNR_SYSROOT}/usr/include/${CMAKE_LIBRARY_ARCHITECTURE}")

set(vnr_target_libs "${VNR_SYSROOT}/usr/lib/${CMAKE_LIBRARY_ARCHITECTURE}:${VNR_SYSROOT}/lib/${CMAKE_LIBRARY_ARCHITECTURE}")
# The libraries' own dependencies (libpng behind FreeType, ...) are found at link time through these.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-Wl,-rpath-link,${vnr_target_libs}")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-Wl,-rpath-link,${vnr_target_libs}")
# GBK goes through iconv, whose modules the target's libc finds through GCONV_PATH.
if(VNR_CROSS_ARCH STREQUAL "i686")
  set(CMAKE_CROSSCOMPILING_EMULATOR env GCONV_PATH=${VNR_SYSROOT}/gconv
      ${vnr_loader} --library-path /usr/${vnr_triplet}/lib:${vnr_target_libs})
else()
  set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64 -L /usr/${vnr_triplet} -E LD_LIBRARY_PATH=${vnr_target_libs}
      -E GCONV_PATH=${VNR_SYSROOT}/gconv)
endif()
