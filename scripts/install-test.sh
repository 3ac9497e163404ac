#!/usr/bin/env bash
# Installs a Linux build into a scratch prefix and uses it as a person who did not build it would:
#   - the install tree holds what it should (the library with its SONAME links, libGetInfo.so beside it, the
#     header, the CMake package, vnr_32.pc, vnr, vnr-sim, the udev rule, the man pages, the decks);
#   - examples/consumer is built against it twice, with find_package(vnr32) and with pkg-config;
#   - the installed vnr-sim serves the installed demo deck on a pty linked as COM1 below a scratch
#     VNR32_PREFIX, and both builds of the example, and the installed vnr, work the reader through it
#     (the card's photo is decoded by the installed libGetInfo.so).
# The bank example (examples/consumer/bank_card.c, vnr_emv) is built both ways and run against the installed
# bank deck (decks/bank/emv.json) as COM1.
# Prints "N passed, N failed".
#   scripts/install-test.sh [BUILD_DIR]        (default: build; it must be built)
set -uo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
build=$(cd "${1:-$top/build}" && pwd)
work=$(mktemp -d)
prefix=$work/prefix
passed=0
failed=0
sim=""
cleanup() { [ -n "$sim" ] && kill "$sim" 2>/dev/null && wait "$sim" 2>/dev/null; rm -rf "$work"; }
trap cleanup EXIT

check() {  # check "what" command...
  local what=$1; shift
  if "$@" >"$work/out" 2>&1; then passed=$((passed + 1)); echo "ok    $what"
  else failed=$((failed + 1)); echo "FAIL  $what"; sed 's/^/      /' "$work/out" | tail -n 20; fi
}

check "cmake --install into a scratch prefix" cmake --install "$build" --prefix "$prefix"
libdir=$(cd "$prefix" && dirname "$(find . -name 'libvnr_32.so.1' | head -n 1)")
libdir=${libdir#./}
layout() {
  local missing=0 path
  for path in "$libdir/libvnr_32.so.1.0.0" "$libdir/libGetInfo.so" include/vnr_32.h \
              "$libdir/libvnr_emv.so.1" include/vnr_emv.h "$libdir/pkgconfig/vnr_emv.pc" \
              "$libdir/cmake/vnr32/vnr32Config.cmake" "$libdir/cmake/vnr32/vnr32Targets.cmake" \
              "$libdir/pkgconfig/vnr_32.pc" bin/vnr bin/vnr-sim lib/udev/rules.d/70-vnr32.rules \
              share/vnr_32/decks/reader.json share/vnr_32/decks/portraits/resident.bmp \
              share/man/man1/vnr.1.gz share/man/man1/vnr-sim.1.gz share/man/man3/vnr_32.3.gz; do
    [ -e "$prefix/$path" ] || { echo "missing: $path"; missing=1; }
  done
  [ "$(readlink "$prefix/$libdir/libvnr_32.so.1")" = libvnr_32.so.1.0.0 ] || { echo "libvnr_32.so.1 is no link to libvnr_32.so.1.0.0"; missing=1; }
  [ "$(readlink "$prefix/$libdir/libvnr_32.so")" = libvnr_32.so.1 ] || { echo "libvnr_32.so is no link to libvnr_32.so.1"; missing=1; }
  objdump -p "$prefix/$libdir/libvnr_32.so.1.0.0" | grep -q 'SONAME *libvnr_32.so.1$' || { echo "SONAME is not libvnr_32.so.1"; missing=1; }
  return $missing
}
check "the install tree's layout" layout

check "examples/consumer built with find_package(vnr32)" bash -c "
  cmake -S '$top/examples/consumer' -B '$work/cmake-build' -DCMAKE_PREFIX_PATH='$prefix' -DCMAKE_BUILD_TYPE=Release &&
  cmake --build '$work/cmake-build'"
check "examples/consumer built with pkg-config" bash -c "
  export PKG_CONFIG_PATH='$prefix/$libdir/pkgconfig'
  cc -Wall -Werror -o '$work/reader_info_pc' '$top/examples/consumer/reader_info.c' \$(pkg-config --cflags vnr_32) \
     \$(pkg-config --libs vnr_32) -Wl,-rpath,\$(pkg-config --variable=libdir vnr_32) &&
  cc -Wall -Werror -o '$work/bank_card_pc' '$top/examples/consumer/bank_card.c' \$(pkg-config --cflags --libs vnr_emv) \
     -Wl,-rpath,\$(pkg-config --variable=libdir vnr_32)"
check "the CMake package gives vnr32::vnr_emv" test -x "$work/cmake-build/bank_card"

# The simulated reader, served by the installed vnr-sim on a pty linked as COM1 below a scratch prefix.
export VNR32_PREFIX=$work/vnr32
mkdir -p "$VNR32_PREFIX"
"$prefix/bin/vnr-sim" --deck "$prefix/share/vnr_32/decks/reader.json" --port 1 --ready-file "$work/ready" >/dev/null &
sim=$!
for _ in $(seq 100); do [ -s "$work/ready" ] && break; sleep 0.05; done

run_example() {  # run_example PROGRAM PHOTO
  "$1" "$2" || return 1
  [ -s "$2" ] || { echo "no photo at $2"; return 1; }
}
check "the CMake-built example against the simulator" run_example "$work/cmake-build/reader_info" "$work/photo-cmake.bmp"
check "the pkg-config-built example against the simulator" run_example "$work/reader_info_pc" "$work/photo-pc.bmp"
check "the installed vnr info against the simulator" "$prefix/bin/vnr" info --port COM1
kill "$sim" 2>/dev/null; wait "$sim" 2>/dev/null
"$prefix/bin/vnr-sim" --deck "$prefix/share/vnr_32/decks/bank/emv.json" --port 1 --ready-file "$work/ready-bank" >/dev/null &
sim=$!
for _ in $(seq 100); do [ -s "$work/ready-bank" ] && break; sleep 0.05; done
check "the bank example (vnr_emv) against the simulated bank card, both builds" bash -c "
  '$work/cmake-build/bank_card' | grep -q '^4761739000001234 271231 SAMPLE/ALICE' &&
  '$work/bank_card_pc' | grep -q '^4761739000001234 271231 SAMPLE/ALICE'"
check "the installed man pages render" bash -c "
  for page in '$prefix'/share/man/man*/*.gz; do
    out=\$(LC_ALL=C.UTF-8 MANWIDTH=100 man --warnings -l \"\$page\" 2>&1 >/dev/null) || exit 1
    [ -z \"\$out\" ] || { echo \"\$page: \$out\"; exit 1; }
  done"

echo "$passed passed, $failed failed"
[ "$failed" -eq 0 ]
