#!/usr/bin/env bash
# vnr doctor on fake trees (--root): all well, no udev rule, a held node, no decoder, a node not ours.
#   doctor_test.sh VNR VNR_SIM LIBVNR_32 SOURCE_DIR
set -uo pipefail
vnr=$1 sim=$2 library=$3 top=$4
work=$(mktemp -d)
chmod 755 "$work"
failed=0
sim_pid=""
trap '[ -n "$sim_pid" ] && kill $sim_pid 2>/dev/null; rm -rf "$work"' EXIT

root=$work/root
mkdir -p "$root/sys/class/hidraw/hidraw0/device" "$root/dev" "$root/etc/udev/rules.d"
printf 'DRIVER=hid-generic\nHID_ID=0003:000023A4:00000213\nHID_NAME=reader\n' >"$root/sys/class/hidraw/hidraw0/device/uevent"
: >"$root/dev/hidraw0" && chmod 0666 "$root/dev/hidraw0"
cp "$top/packaging/70-vnr32.rules" "$root/etc/udev/rules.d/"
export VNR32_PREFIX=$work/prefix
mkdir -p "$VNR32_PREFIX" && chmod 755 "$VNR32_PREFIX"
"$sim" --deck "$top/decks/plain_reader.json" --port 1 --ready-file "$work/ready" >/dev/null &
sim_pid=$!
for _ in $(seq 100); do [ -s "$work/ready" ] && break; sleep 0.05; done

# expect NAME EXIT_STATUS PATTERN... -- COMMAND...: the doctor exits so and prints a line for each pattern.
expect() {
  local name=$1 status=$2; shift 2
  local patterns=()
  while [ "$1" != -- ]; do patterns+=("$1"); shift; done
  shift
  "$@" >"$work/out" 2>&1
  local got=$? bad=0
  [ "$got" -eq "$status" ] || { echo "$name: exit status $got, not $status"; bad=1; }
  for pattern in "${patterns[@]}"; do
    grep -qE -- "$pattern" "$work/out" || { echo "$name: no line matching '$pattern'"; bad=1; }
  done
  if [ "$bad" -eq 0 ]; then echo "ok    $name"; else failed=$((failed + 1)); sed 's/^/      /' "$work/out"; fi
}

expect "all well" 0 "^ok +USB reader 23a4:0213 at $root/dev/hidraw0: .* may open it" "^ok +udev rule: " \
  "^ok +COM1: a reader answers: " "^ok +photo decoder: " "^all well$" -- "$vnr" doctor --root "$root"

mv "$root/etc/udev/rules.d/70-vnr32.rules" "$work/"
expect "no udev rule" 1 "^PROBLEM +udev rule: none gives access.*fix: sudo install -m 0644 .*70-vnr32.rules /etc/udev/rules.d/" \
  -- "$vnr" doctor --root "$root"
mv "$work/70-vnr32.rules" "$root/etc/udev/rules.d/"

flock --no-fork "$root/dev/hidraw0" sleep 30 >/dev/null 2>&1 &
holder=$!
sleep 0.2
expect "node held by another program" 1 "^PROBLEM +USB reader 23a4:0213 .*: another program holds it; fix: " \
  -- "$vnr" doctor --root "$root"
kill $holder 2>/dev/null; wait $holder 2>/dev/null

# The library alone in a folder, without the decoder beside it.
mkdir -p "$work/lonely"
cp "$library" "$work/lonely/libvnr_32.so.1"
expect "missing photo decoder" 1 "^PROBLEM +photo decoder: libGetInfo.so is not found.*fix: put libGetInfo.so beside the library \\($work/lonely/\\)" \
  -- env LD_LIBRARY_PATH="$work/lonely" "$vnr" doctor --root "$root"

if [ "$(id -u)" -eq 0 ] && command -v setpriv >/dev/null; then
  chmod 0600 "$root/dev/hidraw0"
  expect "node without permission for an unprivileged user" 1 \
    "^PROBLEM +USB reader 23a4:0213 .*: .* may not open it \\(-rw------- root:root, no ACL, not in group root\\); fix: the rule has not reached this node" \
    -- setpriv --reuid=65534 --regid=65534 --clear-groups env HOME="$work" "$vnr" doctor --root "$root"
else
  echo "skipped: the unprivileged user's view (needs root to switch users)"
fi

echo "$failed failed"
[ "$failed" -eq 0 ]
