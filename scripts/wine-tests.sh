#!/usr/bin/env bash
# Runs the Windows DLL's serial-road tests under Wine against the reader simulator. Builds nothing.
#   scripts/wine-tests.sh LINUX_BUILD_DIR WINDOWS_BUILD_DIR
# LINUX_BUILD_DIR holds vnr-sim; WINDOWS_BUILD_DIR an x86_64 cross build (scripts/build-windows.sh)
# with vnr_32.dll and the programs of tests/wine.
#
# Everything lives in a fresh temporary folder that is removed at the end, whatever happens: a Wine
# prefix, the simulator's pty links, and drive D: for the log. Wine's ports are mapped as the test
# program expects them:
#   COM1, COM10  the simulated reader        COM2  the simulator's control channel
#   COM4         /dev/null (opens, but is no serial port)
#   COM32        left unmapped
# Runs platform_tests.exe (the Windows backends on their own), serial_road_tests.exe (the DLL as an
# application uses it) and idcard_road_tests.exe (reading the identity card with GetInfo.dll), and ends
# with their sum as "N passed, N failed"; the exit status is non-zero
# on any failure.
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)

if [ $# -ne 2 ]; then
  echo "usage: $0 LINUX_BUILD_DIR WINDOWS_BUILD_DIR" >&2
  exit 2
fi
linux_build=$(cd "$1" && pwd)
windows_build=$(cd "$2" && pwd)

sim=$(find "$linux_build" -name vnr-sim -type f -perm -u+x -print -quit)
dll=$windows_build/src/vnr_32.dll
decoder=$windows_build/src/GetInfo.dll
tests=$(find "$windows_build" -name serial_road_tests.exe -type f -print -quit)
idcard_tests=$(find "$windows_build" -name idcard_road_tests.exe -type f -print -quit)
platform_tests=$(find "$windows_build" -name platform_tests.exe -type f -print -quit)
deck=$top/decks/reader.json
wine=$(command -v wine64 || echo /usr/lib/wine/wine64)
for need in "$sim" "$dll" "$decoder" "$tests" "$idcard_tests" "$platform_tests" "$deck" "$wine"; do
  if [ -z "$need" ] || [ ! -e "$need" ]; then
    echo "wine-tests: missing ${need:-vnr-sim or one of the test programs}" >&2
    exit 2
  fi
done
# Debian's wine64 package puts the server beside the loader, off the PATH.
wineserver=$(command -v wineserver || command -v wineserver64 || ls /usr/lib/wine/wineserver64 /usr/lib/wine/wineserver 2>/dev/null | head -n 1)
[ -n "$wineserver" ] && [ -x "$wineserver" ] || { echo "wine-tests: wineserver not found" >&2; exit 2; }

# The version texts that the simulated reader answers: UTF-8 in the deck, GBK on the wire. They reach
# the test program as hex, untouched by any code page.
gbk_hex() { jq -er ".$1" "$deck" | tr -d '\n' | iconv -f UTF-8 -t GBK | od -An -v -tx1 | tr -d ' \n'; }
reader_version=$(gbk_hex reader_version) && module_version=$(gbk_hex contactless_version) || {
  echo "wine-tests: $deck must state reader_version and contactless_version in text that GBK holds" >&2
  exit 2
}
# The identity card that lies on the reader.
card_name=$(gbk_hex idcard.resident.name) && card_address=$(gbk_hex idcard.resident.address) &&
  card_number=$(jq -er .idcard.resident.id_number "$deck") || {
  echo "wine-tests: $deck must hold a resident card (name, address, id_number)" >&2
  exit 2
}

work=$(mktemp -d "${TMPDIR:-/tmp}/vnr-wine.XXXXXX")
sim_pid=
export WINEPREFIX=$work/prefix WINEARCH=win64 WINEDEBUG=-all DISPLAY=
# No window system and no prompts: Wine must not try to install its .NET or HTML engines.
export WINEDLLOVERRIDES="mscoree,mshtml="
unset WAYLAND_DISPLAY

cleanup() {
  local status=$?
  trap - EXIT INT TERM
  if [ -n "$sim_pid" ]; then
    kill "$sim_pid" 2>/dev/null || true
    wait "$sim_pid" 2>/dev/null || true
  fi
  if [ -d "$WINEPREFIX" ]; then
    "$wineserver" -k 2>/dev/null || true
    "$wineserver" -w 2>/dev/null || true
  fi
  rm -rf "$work"
  exit "$status"
}
trap cleanup EXIT
trap 'exit 130' INT TERM

# Waits up to 20 s for every path given to exist.
wait_for() {
  local tries=0 path
  for path in "$@"; do
    while [ ! -e "$path" ]; do
      tries=$((tries + 1))
      [ "$tries" -le 200 ] || { echo "wine-tests: $path did not appear" >&2; return 1; }
      sleep 0.1
    done
  done
}

echo "wine-tests: preparing a Wine prefix in $WINEPREFIX"
"$wine" wineboot -i >"$work/wineboot.log" 2>&1 || { cat "$work/wineboot.log" >&2; exit 1; }
"$wineserver" -w

"$sim" --deck "$deck" --link "$work/reader" --control-link "$work/control" >"$work/sim.log" 2>&1 &
sim_pid=$!
wait_for "$work/reader" "$work/control" || { cat "$work/sim.log" >&2; exit 1; }

map_port() { "$wine" reg add 'HKLM\Software\Wine\Ports' /v "$1" /t REG_SZ /d "$2" /f >/dev/null 2>&1; }
map_port COM1 "$work/reader"
map_port COM2 "$work/control"
map_port COM10 "$work/reader"
map_port COM4 /dev/null
# Port mappings are read when the Wine server starts.
"$wineserver" -k
"$wineserver" -w
"$wine" cmd /c exit >/dev/null 2>&1
wait_for "$WINEPREFIX/dosdevices/com1" "$WINEPREFIX/dosdevices/com2" "$WINEPREFIX/dosdevices/com10" \
  "$WINEPREFIX/dosdevices/com4"
if [ -e "$WINEPREFIX/dosdevices/com32" ]; then
  echo "wine-tests: Wine mapped COM32 to a serial device of this machine; the unmapped-port case will fail" >&2
fi

mkdir -p "$work/drive_d" "$work/bin"
ln -sfn "$work/drive_d" "$WINEPREFIX/dosdevices/d:"
cp "$dll" "$decoder" "$tests" "$idcard_tests" "$platform_tests" "$work/bin/"
# The families' own programs (tests/wine/<family>_road_tests.cpp) set up what they need on the control
# port and take no arguments.
family_tests=()
while IFS= read -r program; do
  case "$(basename "$program")" in serial_road_tests.exe|idcard_road_tests.exe) continue ;; esac
  cp "$program" "$work/bin/"
  family_tests+=("$(basename "$program")")
done < <(find "$(dirname "$tests")" -maxdepth 1 -name '*_road_tests.exe' -type f | sort)

passed=0
failed=0
# Runs one test program from the folder that holds the DLL, and adds its summary to the totals; a
# program that ends without its summary line counts as one failure.
run_program() {
  local program=$1 log=$work/$1.log status=0 line
  shift
  echo "wine-tests: running $program"
  (cd "$work/bin" && "$wine" "$program" "$@") 2>&1 | tee "$log" || status=$?
  line=$(tr -d '\r' <"$log" | grep -E '^[0-9]+ passed, [0-9]+ failed$' | tail -n 1)
  if [ -z "$line" ]; then
    echo "wine-tests: $program ended without a summary (status $status)"
    failed=$((failed + 1))
    return
  fi
  passed=$((passed + ${line%% passed*}))
  local f=${line#*passed, }
  failed=$((failed + ${f%% failed*}))
}
run_program platform_tests.exe
run_program serial_road_tests.exe --reader-version-gbk "$reader_version" --module-version-gbk "$module_version"
run_program idcard_road_tests.exe --name-gbk "$card_name" --address-gbk "$card_address" --id-number "$card_number"
for program in "${family_tests[@]}"; do run_program "$program"; done

if [ "$failed" -ne 0 ]; then
  echo "wine-tests: the simulator's last output:"
  tail -n 20 "$work/sim.log" || true
fi
echo
echo "$passed passed, $failed failed"
[ "$failed" -eq 0 ]
