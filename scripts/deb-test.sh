#!/usr/bin/env bash
# The Debian package, made and used as a person would: cpack makes it from a Linux build; lintian finds
# nothing but the tags that packaging/debian/lintian-overrides justifies; dpkg -i installs it (the udev
# rule, udev reloaded where it runs); the installed vnr-sim serves the installed demo deck as COM1 below a
# scratch VNR32_PREFIX and the installed vnr reads it; examples/consumer builds against the system's copy;
# dpkg -r and then --purge leave none of the package's files behind. Needs root (dpkg).
# Prints "N passed, N failed".
#   scripts/deb-test.sh [BUILD_DIR]        (default: build; it must be built)
set -uo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
build=$(cd "${1:-$top/build}" && pwd)
work=$(mktemp -d)
passed=0
failed=0
sim=""
installed=0
cleanup() {
  [ -n "$sim" ] && kill "$sim" 2>/dev/null && wait "$sim" 2>/dev/null
  # The package must not outlive the check: its libGetInfo.so would be found before any other decoder.
  [ "$installed" -eq 1 ] && dpkg --purge vnr32 >/dev/null 2>&1
  rm -rf "$work"
}
trap cleanup EXIT

check() {  # check "what" command...
  local what=$1; shift
  if "$@" >"$work/out" 2>&1; then passed=$((passed + 1)); echo "ok    $what"
  else failed=$((failed + 1)); echo "FAIL  $what"; sed 's/^/      /' "$work/out" | tail -n 20; fi
}

if dpkg-query -W -f='${Status}' vnr32 2>/dev/null | grep -q 'install ok installed'; then
  echo "deb-test: vnr32 is installed on this machine already; remove it first" >&2
  exit 1
fi
check "cpack -G DEB" bash -c "cd '$build' && cmake --build . -j2 >/dev/null && cpack -G DEB -B '$work'"
deb=$(ls "$work"/vnr32_*.deb 2>/dev/null | head -n 1)
check "dependencies computed from the binaries" bash -c "dpkg-deb -f '$deb' Depends | tee /dev/stderr | grep -q 'libc6 (>='"
# Errors and warnings fail; the overridden tags are listed with their reasons in the package itself.
check "lintian: no error, no warning" bash -c "
  lintian --pedantic '$deb' 2>&1 | grep -v 'running with root privileges' | tee /dev/stderr | grep -qE '^[EW]:' && exit 1 || exit 0"

check "dpkg -i" dpkg -i "$deb"
installed=1
check "the package's files are in place" bash -c "
  for path in /usr/lib/libvnr_32.so.1 /usr/lib/libGetInfo.so /usr/include/vnr_32.h /usr/bin/vnr /usr/bin/vnr-sim \
              /usr/lib/udev/rules.d/70-vnr32.rules /usr/lib/cmake/vnr32/vnr32Config.cmake /usr/lib/pkgconfig/vnr_32.pc \
              /usr/share/man/man3/vnr_32.3.gz /usr/share/vnr_32/decks/reader.json; do
    [ -e \"\$path\" ] || { echo \"missing: \$path\"; exit 1; }
  done
  ldconfig -p | grep -q 'libvnr_32.so.1 '"

export VNR32_PREFIX=$work/vnr32
mkdir -p "$VNR32_PREFIX"
/usr/bin/vnr-sim --deck /usr/share/vnr_32/decks/reader.json --port 1 --ready-file "$work/ready" >/dev/null &
sim=$!
for _ in $(seq 100); do [ -s "$work/ready" ] && break; sleep 0.05; done
check "the installed vnr info against the installed simulator" bash -c "
  /usr/bin/vnr info --port COM1 | tee /dev/stderr | grep -q '^reader: *VNR-32'"
check "examples/consumer against the installed package (CMake and pkg-config)" bash -c "
  cmake -S '$top/examples/consumer' -B '$work/consumer' >/dev/null && cmake --build '$work/consumer' >/dev/null &&
  cc -Wall -Werror -o '$work/reader_info_pc' '$top/examples/consumer/reader_info.c' \$(pkg-config --cflags --libs vnr_32) &&
  '$work/consumer/reader_info' '$work/a.bmp' && '$work/reader_info_pc' '$work/b.bmp' && [ -s '$work/a.bmp' ] && [ -s '$work/b.bmp' ]"
kill "$sim" 2>/dev/null; wait "$sim" 2>/dev/null; sim=""

dpkg-query -L vnr32 >"$work/files"
check "dpkg -r" dpkg -r vnr32
check "dpkg --purge" dpkg --purge vnr32
installed=0
check "no file of the package left behind" bash -c "
  left=0
  while read -r path; do
    [ -f \"\$path\" ] || [ -L \"\$path\" ] || continue; echo \"left: \$path\"; left=1
  done <'$work/files'
  for dir in /usr/lib/cmake/vnr32 /usr/share/vnr_32 /usr/share/doc/vnr32; do [ -e \"\$dir\" ] && { echo \"left: \$dir\"; left=1; }; done
  ! dpkg-query -W vnr32 >/dev/null 2>&1 && ! ldconfig -p | grep -q libvnr_32 && [ \$left -eq 0 ]"

echo "$passed passed, $failed failed"
[ "$failed" -eq 0 ]
