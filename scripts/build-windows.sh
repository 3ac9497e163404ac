#!/usr/bin/env bash
# Cross-builds the Windows DLL, its import library, the vnr tool and the Wine serial-road test program
# with mingw-w64 (static runtime):
#   x86_64 into build-win64/, i686 into build-win32/.
# The tree's other tests need GoogleTest for Windows and stay off; the simulator is Linux-only.
#   scripts/build-windows.sh [x86_64|i686|all]     (default: all)
# Extra cmake options can be passed in VNR_WINDOWS_CMAKE_ARGS.
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
cd "$top"

target=${1:-all}
case $target in
  x86_64) arches=(x86_64) ;;
  i686) arches=(i686) ;;
  all) arches=(x86_64 i686) ;;
  *) echo "usage: $0 [x86_64|i686|all]" >&2; exit 2 ;;
esac

# The serial-road tests are a program of their own that loads the DLL as any application does. When
# the tree does not build them itself, they are configured beside it as a small separate project.
build_wine_tests() {  # build_wine_tests BUILD_DIR TOOLCHAIN
  local dir=$1 toolchain=$2
  if grep -q 'serial_road_tests' "$dir/build.ninja" 2>/dev/null; then return 0; fi
  cmake -S "$top/tests/wine" -B "$dir/wine-tests" -G Ninja -DCMAKE_TOOLCHAIN_FILE="$toolchain" \
    -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
  cmake --build "$dir/wine-tests" -j2
}

for arch in "${arches[@]}"; do
  case $arch in
    x86_64) dir=build-win64 ;;
    i686) dir=build-win32 ;;
  esac
  toolchain=$top/cmake/toolchain-mingw-$arch.cmake
  echo "==== $arch -> $dir"
  # shellcheck disable=SC2086 # VNR_WINDOWS_CMAKE_ARGS is a list of options
  cmake -S "$top" -B "$dir" -G Ninja -DCMAKE_TOOLCHAIN_FILE="$toolchain" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DVNR_BUILD_TESTS=OFF ${VNR_WINDOWS_CMAKE_ARGS:-} >/dev/null
  cmake --build "$dir" -j2
  build_wine_tests "$dir" "$toolchain"
done
