#!/usr/bin/env bash
# The PC/SC driver under Debian's pcscd with real clients, against the simulated reader on a serial pty:
# the driver's own tests, pcsc_scan, opensc-tool, a pyscard session (tests/pcsc/pcsc_session.py) and a
# long run of card events. pcscd runs in the foreground in a mount namespace of its own whose /run is a
# temporary folder, so its socket and pid file never meet a system pcscd's (pcscd 1.9.9 does not read
# PCSCLITE_CSOCK_NAME; its clients do, and are pointed at that socket).
# Prints one "ok:" or "FAIL:" line per check and then "N passed, N failed"; exits 1 when one failed.
#   scripts/pcsc-tests.sh [BUILD_DIR]     (default build-pcsc; LONG_RUN_S sets the long run, default 60)
set -uo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
build=$(realpath -m "${1:-$top/build-pcsc}")
long_run_s=${LONG_RUN_S:-60}
python=/usr/bin/python3  # Debian's, which has pyscard

failures=0
passes=0
ok() { echo "ok: $*"; passes=$((passes + 1)); }
fail() { echo "FAIL: $*"; failures=$((failures + 1)); }
check() { local what=$1; shift; if "$@"; then ok "$what"; else fail "$what"; fi; }

packages=(pcscd libpcsclite-dev pcsc-tools opensc python3-pyscard)
missing=()
for package in "${packages[@]}"; do
    dpkg-query -W -f '${Status}' "$package" 2>/dev/null | grep -q 'install ok installed' || missing+=("$package")
done
if [ ${#missing[@]} -gt 0 ]; then
    echo "pcsc-tests: installing ${missing[*]}"
    { apt-get install -y -qq "${missing[@]}" || { apt-get update -qq && apt-get install -y -qq "${missing[@]}"; }; } \
        >/dev/null || { echo "FAIL: packages ${missing[*]} cannot be installed"; exit 1; }
fi

[ -f "$build/CMakeCache.txt" ] || cmake -S "$top" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$build" -j2 --target vnr_pcsc vnr_pcsc_tests vnr-sim vnr >/dev/null ||
    { echo "FAIL: build of the driver, its tests, vnr-sim and vnr"; exit 1; }

tmp=$(mktemp -d /tmp/vnr-pcsc-XXXXXX)
sim=""
pcscd=""
cleanup() {
    [ -n "$pcscd" ] && kill "$pcscd" 2>/dev/null && wait "$pcscd" 2>/dev/null
    [ -n "$sim" ] && kill "$sim" 2>/dev/null && wait "$sim" 2>/dev/null
    rm -rf "$tmp"
}
trap cleanup EXIT
trap 'exit 1' INT TERM

unit_tests() { "$build/tests/pcsc/vnr_pcsc_tests" --gtest_brief=1 >"$tmp/unit.log" 2>&1; }
check "driver tests (status table, contactless ATR, capabilities, log, presence)" unit_tests ||
    sed 's/^/  /' "$tmp/unit.log"
grep -h '^presence poll\|^direct APDU' "$tmp/unit.log" | sed 's/^/info: /'

# The simulated reader with the cards of decks/cards.json, as COM1 below a private prefix.
export VNR32_PREFIX=$tmp/prefix
"$build/sim/vnr-sim" --deck "$top/decks/cards.json" --port 1 --control "$tmp/control" --ready-file "$tmp/ready" \
    >"$tmp/sim.log" 2>&1 &
sim=$!
for _ in $(seq 100); do [ -s "$tmp/ready" ] && [ -S "$tmp/control" ] && break; sleep 0.05; done
[ -s "$tmp/ready" ] || { echo "FAIL: the simulator did not start"; exit 1; }
control() { $python -c 'import socket,sys
s=socket.socket(socket.AF_UNIX); s.connect(sys.argv[1]); s.sendall(sys.argv[2].encode()+b"\n")
a=s.recv(4096).decode(); sys.exit(0 if a.startswith("ok") else 1)' "$tmp/control" "$1"; }

# What the library itself reads from the two bank cards, before pcscd holds the port.
pan() { "$build/tools/vnr" bank --port COM1 --emv --json --full "$@" |
    $python -c 'import json,sys; print(json.load(sys.stdin)["card_number"])'; }
contact_pan=$(pan)
control "contactless put pay" && contactless_pan=$(pan --contactless) && control "contactless take pay"
check "vnr bank --emv reads both bank cards directly" test -n "$contact_pan" -a -n "${contactless_pan:-}"

# pcscd with one serial reader, named by its pty's path (reached through the COM1 link).
mkdir -p "$tmp/conf" "$tmp/run"
cat >"$tmp/conf/vnr32" <<EOF
FRIENDLYNAME "VNR-32 serial reader"
DEVICENAME   $(cat "$tmp/ready")
LIBPATH      $build/pcsc/libvnr_pcsc.so
EOF
# -d, not -a: with -a pcscd itself prints every APDU in full, PINs included.
unshare -m sh -c 'mount --bind "$0" /run && exec pcscd -f -d -c "$1"' "$tmp/run" "$tmp/conf" >"$tmp/pcscd.log" 2>&1 &
pcscd=$!
export PCSCLITE_CSOCK_NAME=$tmp/run/pcscd/pcscd.comm
for _ in $(seq 100); do [ -S "$PCSCLITE_CSOCK_NAME" ] && break; sleep 0.05; done
check "pcscd starts on a private socket" test -S "$PCSCLITE_CSOCK_NAME"
sleep 1

timeout 10 pcsc_scan -r >"$tmp/scan-readers.txt" 2>&1
check "pcsc_scan lists the reader's contact and field slots" \
    grep -q 'VNR-32 serial reader 00 05' "$tmp/scan-readers.txt"
timeout 15 pcsc_scan -t 3 >"$tmp/scan.txt" 2>&1
check "pcsc_scan shows the contact card's ATR" grep -q '3B 68 00 00 56 4E 52 53 49 4D 30 31' "$tmp/scan.txt"

timeout 15 opensc-tool -l >"$tmp/opensc-readers.txt" 2>&1
index=$(awk '/VNR-32 serial reader 00 00/ {print $1; exit}' "$tmp/opensc-readers.txt")
timeout 15 opensc-tool -r "${index:-0}" -s 00A404000E315041592E5359532E4444463031 >"$tmp/opensc.txt" 2>&1
check "opensc-tool sends a SELECT to the contact card and gets 90 00" grep -q 'SW1=0x90, SW2=0x00' "$tmp/opensc.txt"

check "pyscard session: contact card, SAM, contactless card, card events, bank card numbers" \
    timeout 120 $python "$top/tests/pcsc/pcsc_session.py" --control "$tmp/control" --contact-pan "$contact_pan" \
    --contactless-pan "${contactless_pan:-}" --pin-log "$tmp/pcscd.log"

fds_before=$(ls /proc/$pcscd/fd | wc -l)
rss_before=$(awk '/VmRSS/ {print $2}' /proc/$pcscd/status)
check "long run: ${long_run_s} s of polling with the card taken out and put back" \
    timeout $((long_run_s + 60)) $python "$top/tests/pcsc/pcsc_session.py" --control "$tmp/control" \
    --contact-pan - --contactless-pan - --long "$long_run_s"
check "pcscd is still alive" kill -0 "$pcscd"
fds_after=$(ls /proc/$pcscd/fd 2>/dev/null | wc -l)
rss_after=$(awk '/VmRSS/ {print $2}' /proc/$pcscd/status 2>/dev/null)
echo "info: pcscd fds $fds_before -> $fds_after, RSS ${rss_before} kB -> ${rss_after} kB"
check "the driver leaks no file descriptors" test "$fds_before" -eq "$fds_after"

if [ "$failures" -gt 0 ]; then
    echo "pcsc-tests: $failures check(s) failed; pcscd's log:"
    tail -40 "$tmp/pcscd.log" | sed 's/^/  /'
    echo "$passes passed, $failures failed"
    exit 1
fi
echo "$passes passed, 0 failed"
