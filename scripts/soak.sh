#!/usr/bin/env bash
# Soak of the library in one process (tests/robust/soak_test.cpp): cycles of open, one call of every
# family, close, on the serial and the HID link; open files and resident memory before and after.
#   1. the plain build, CYCLES cycles;
#   2. the address and leak sanitizer build, CYCLES cycles: any byte leaked fails it;
#   3. the plain build under valgrind's memcheck, VALGRIND_CYCLES cycles: any byte definitely or
#      indirectly lost, or any memory error, fails it.
#   scripts/soak.sh [CYCLES [VALGRIND_CYCLES]]      (defaults 200 and 20; CI runs the defaults)
# The builds are build/ and build-asan/ (configured here when missing; only the test program is built).
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
cd "$top"
cycles=${1:-200}
valgrind_cycles=${2:-20}
filter='*Soak*'

build() {  # build DIR [cmake options...]
  local dir=$1; shift
  [ -f "$dir/build.ninja" ] || cmake -S "$top" -B "$dir" -G Ninja -DVNR_BUILD_TESTS=ON "$@" >/dev/null
  cmake --build "$dir" -j2 --target vnr_robust_tests >/dev/null
}

step() { printf '\n==== %s\n' "$*"; }

step "plain build, $cycles cycles"
build build
VNR_SOAK_CYCLES=$cycles build/tests/vnr_robust_tests --gtest_filter="$filter" | grep -E '^soak|PASSED|FAILED'

step "address and leak sanitizer, $cycles cycles"
build build-asan -DVNR_SANITIZE=address -DCMAKE_BUILD_TYPE=Debug
VNR_SOAK_CYCLES=$cycles ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=halt_on_error=1 \
  build-asan/tests/vnr_robust_tests --gtest_filter="$filter" | grep -E '^soak|PASSED|FAILED'

if command -v valgrind >/dev/null; then
  step "valgrind memcheck, $valgrind_cycles cycles"
  log=$(mktemp)
  set +e
  VNR_SOAK_CYCLES=$valgrind_cycles valgrind --leak-check=full --errors-for-leak-kinds=definite,indirect \
    --error-exitcode=99 --log-file="$log" build/tests/vnr_robust_tests --gtest_filter="$filter" |
    grep -E '^soak|PASSED|FAILED'
  status=${PIPESTATUS[0]}
  set -e
  grep -E 'in use at exit|definitely lost|indirectly lost|All heap blocks|ERROR SUMMARY' "$log" | sed 's/^==[0-9]*== *//'
  rm -f "$log"
  [ "$status" -eq 0 ] || { echo "valgrind found errors"; exit 1; }
else
  echo "valgrind is not installed: its run is skipped"
fi
