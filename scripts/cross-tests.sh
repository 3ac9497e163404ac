#!/usr/bin/env bash
# Cross-builds the Linux tree, tests included, with warnings as errors, into a build folder of its own:
#   i686     build-i686: the 32-bit x86 build, compiled by clang (clang-16 aimed at i686-linux-gnu, on the
#            cross GCC's headers and runtime), so that clang's warnings are checked too;
#   aarch64  build-aarch64: the cross GCC (g++-aarch64-linux-gnu).
# Then `ctest --test-dir build-ARCH` runs the tests: i686 through the target's dynamic loader, aarch64
# under qemu-aarch64 (cmake/toolchain-linux-cross.cmake). Tests that start another program of the build
# themselves cannot run here (the machine has no binfmt_misc entry for the target to start it by): the
# simulator program's tests, vnr doctor's situations and a test that runs its own program again for a fresh
# process are left out through the build's CTestCustom.cmake.
# Sanitizer builds stay native (scripts/test.sh).
#   scripts/cross-tests.sh i686|aarch64 [--test]     (--test also runs ctest)
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
arch=${1:-}
# aarch64 is built optimised as the native build is (-O2; GCC 12 warns falsely at -O3): under qemu the
# picture codec's tests would otherwise outrun their time-out.
case $arch in
  i686) debian_arch=i386; compiler=(-DVNR_CROSS_CLANG=clang-16); build_type=Debug ;;
  aarch64) debian_arch=arm64; compiler=(); build_type=RelWithDebInfo ;;
  *) echo "usage: $0 i686|aarch64 [--test]" >&2; exit 2 ;;
esac
dir=$top/build-$arch
sysroot=$top/build-sysroot-$debian_arch

"$top/scripts/cross-sysroot.sh" "$debian_arch" "$sysroot"
cmake -S "$top" -B "$dir" -G Ninja -DCMAKE_TOOLCHAIN_FILE="$top/cmake/toolchain-linux-cross.cmake" \
  -DVNR_CROSS_ARCH="$arch" -DVNR_SYSROOT="$sysroot" "${compiler[@]}" -DCMAKE_BUILD_TYPE=$build_type \
  -DVNR_WERROR=ON -DVNR_BUILD_TESTS=ON >/dev/null
cat >"$dir/CTestCustom.cmake" <<'CUSTOM'
# Tests that start a program of the build themselves (the simulator, vnr, or the test program again for a
# fresh process): a cross build's programs run only through the emulator.
set(CTEST_CUSTOM_TESTS_IGNORE sim.Program.StartsServesAndStopsCleanlyOnQuit sim.Program.HelpHoldsEveryModelsHelp
    doctor.situations idcard.StateAsLoaded.RecordReadsEmptyAndPhotosGoToCZp)
CUSTOM
cmake --build "$dir" -j2
if [ "${2:-}" = --test ]; then
  ctest --test-dir "$dir" --output-on-failure -j2 --timeout 300
fi
