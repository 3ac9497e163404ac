#!/usr/bin/env bash
# Installs what is missing, builds, and runs every test:
#   0. the layering check (scripts/check-layering.sh) and the static analysis of src/
#      (scripts/static-analysis.sh: clang-tidy and cppcheck, zero findings);
#   1. the Linux build's tests (unit, integration through the simulator, ABI, export table);
#   2. the same tests in an address+undefined sanitizer build and in a thread sanitizer build (there the
#      robustness tests' thread counts at a tenth, and their measured waits allowed 80 ms for the
#      sanitizer's own slowness instead of 30), and the soak under valgrind (scripts/soak.sh);
#   3. every fuzz target for 20 s (VNR_FUZZ_SECONDS) from its corpus (scripts/fuzz.sh, a clang build);
#   4. the install tree with examples/consumer built against it both ways and the man pages; the Python
#      binding; the Debian package (lintian, dpkg -i, use, dpkg -r); the tests of an i686 (clang) and an
#      aarch64 (qemu) cross build; the hidraw and uhid tests and vnr doctor in a virtual machine; the PC/SC
#      driver under pcscd with pcsc_scan, opensc-tool and pyscard (scripts/pcsc-tests.sh);
#   5. the Windows DLLs (x86_64 and i686) cross-built, their export tables checked, and the x86_64
#      DLL's serial-road tests run under Wine against the simulator; the Windows zip.
# The Linux build and the cross builds treat warnings as errors (VNR_WERROR).
# Ends with one line "total: N passed, N failed"; exits non-zero on any failure.
#   scripts/test.sh [--linux-only]
set -uo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
cd "$top"
linux_only=0
[ "${1:-}" = --linux-only ] && linux_only=1

passed=0
failed=0
stage_failed=()

# Runs ctest in a build folder and adds its counts to the totals.
run_ctest() {
  local name=$1 dir=$2 log
  log=$(mktemp)
  ctest --test-dir "$dir" --output-on-failure -j2 --timeout 300 2>&1 | tee "$log" | tail -n 25
  local line
  line=$(grep -E "tests passed, [0-9]+ tests? failed out of [0-9]+" "$log" | tail -n 1)
  if [ -z "$line" ]; then
    echo "$name: ctest reported no result"
    failed=$((failed + 1)); stage_failed+=("$name")
  else
    local f t
    f=$(sed -E 's/.*tests passed, ([0-9]+) tests? failed out of ([0-9]+).*/\1/' <<<"$line")
    t=$(sed -E 's/.*tests passed, ([0-9]+) tests? failed out of ([0-9]+).*/\2/' <<<"$line")
    passed=$((passed + t - f)); failed=$((failed + f))
    [ "$f" -eq 0 ] || stage_failed+=("$name")
  fi
  rm -f "$log"
}

build() {  # build DIR [cmake options...]
  local dir=$1; shift
  cmake -S "$top" -B "$dir" -G Ninja -DVNR_BUILD_TESTS=ON "$@" >/dev/null && cmake --build "$dir" -j2
}

step() { printf '\n==== %s (at %d s)\n' "$*" "$SECONDS"; }

# Runs one check that passes or fails as a whole.
run_one() {  # run_one NAME COMMAND...
  local name=$1; shift
  if "$@"; then passed=$((passed + 1)); else failed=$((failed + 1)); stage_failed+=("$name"); fi
}

# Runs a check script that ends with the line "N passed, N failed" and adds its counts to the totals.
run_counted() {  # run_counted NAME COMMAND...
  local name=$1 log line p f; shift
  log=$(mktemp)
  "$@" 2>&1 | tee "$log"
  line=$(grep -E "^[0-9]+ passed, [0-9]+ failed$" "$log" | tail -n 1)
  rm -f "$log"
  if [ -z "$line" ]; then failed=$((failed + 1)); stage_failed+=("$name"); return; fi
  p=${line%% passed*}; f=${line#*passed, }; f=${f%% failed*}
  passed=$((passed + p)); failed=$((failed + f))
  [ "$f" -eq 0 ] || stage_failed+=("$name")
}

if [ "$linux_only" -eq 1 ]; then "$top/scripts/install-deps.sh" linux ship; else "$top/scripts/install-deps.sh" all; fi || exit 1

step "Layering"
run_one "layering" "$top/scripts/check-layering.sh"

step "Linux build and tests"
if build build -DVNR_BUILD_BENCH=ON -DVNR_WERROR=ON; then run_ctest linux build; else failed=$((failed + 1)); stage_failed+=("linux build"); fi

step "Static analysis"
run_one "static analysis" "$top/scripts/static-analysis.sh" build

step "Address and undefined-behaviour sanitizer build and tests"
if build build-asan -DVNR_SANITIZE=address -DCMAKE_BUILD_TYPE=Debug; then
  VNR_ROBUST_SCALE=0.1 VNR_WAIT_ALLOWANCE_MS=80 ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 \
    UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 run_ctest asan build-asan
else failed=$((failed + 1)); stage_failed+=("asan build"); fi

step "Thread sanitizer build and tests"
if build build-tsan -DVNR_SANITIZE=thread -DCMAKE_BUILD_TYPE=Debug; then
  VNR_ROBUST_SCALE=0.1 VNR_WAIT_ALLOWANCE_MS=80 TSAN_OPTIONS=halt_on_error=1 run_ctest tsan build-tsan
else failed=$((failed + 1)); stage_failed+=("tsan build"); fi

step "Soak: plain, leak sanitizer and valgrind"
run_one "soak" "$top/scripts/soak.sh"

step "Fuzzing: each target ${VNR_FUZZ_SECONDS:-20} s"
run_counted fuzz "$top/scripts/fuzz.sh" "${VNR_FUZZ_SECONDS:-20}"

step "Install tree, examples/consumer built against it (CMake and pkg-config), man pages"
run_counted install "$top/scripts/install-test.sh" build

step "Python binding: generated prototypes fresh, pip install, tests against the simulator"
run_counted python "$top/scripts/python-test.sh" build

step "Debian package: cpack, lintian, dpkg -i, use, dpkg -r/--purge"
run_counted deb "$top/scripts/deb-test.sh" build

step "PC/SC: the driver under pcscd with pcsc_scan, opensc-tool and pyscard"
LONG_RUN_S=${VNR_PCSC_LONG_RUN_S:-60} run_counted pcsc "$top/scripts/pcsc-tests.sh" build

# Unit and family tests (no sanitizer) of a 32-bit x86 build compiled by clang and an aarch64 build compiled
# by GCC, both with warnings as errors; aarch64 under qemu-user.
for arch in i686 aarch64; do
  step "Linux $arch cross build and tests"
  if "$top/scripts/cross-tests.sh" "$arch" >"build-$arch.log" 2>&1; then run_ctest "$arch" "build-$arch"
  else tail -n 40 "build-$arch.log"; failed=$((failed + 1)); stage_failed+=("$arch build"); fi
done

step "The HID road on a real kernel: hidraw, uhid and vnr doctor in a virtual machine"
run_counted vm "$top/scripts/vm-tests.sh" build

if [ "$linux_only" -eq 0 ]; then
  step "Windows cross builds, export tables and the serial road under Wine"
  if "$top/scripts/build-windows.sh" all; then
    for dir in build-win64 build-win32; do
      run_one "exports $dir" "$top/scripts/check-exports.sh" "$dir"
    done
    run_counted wine "$top/scripts/wine-tests.sh" build build-win64
    run_one "windows zip" "$top/scripts/pack-windows.sh"
  else
    failed=$((failed + 1)); stage_failed+=("windows build")
  fi
fi

echo
[ ${#stage_failed[@]} -eq 0 ] || echo "failed stages: ${stage_failed[*]}"
echo "total: $passed passed, $failed failed"
[ "$failed" -eq 0 ] && [ ${#stage_failed[@]} -eq 0 ]
