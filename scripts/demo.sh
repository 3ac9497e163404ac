#!/usr/bin/env bash
# The main job: installs what is missing, builds, starts the reader simulator on a pseudo-terminal
# mapped as COM1, runs `vnr info` against it (open the reader, print its version, close it) and reads
# the identity card that lies on it with `vnr idcard`, leaving the card's photo and a picture of the
# card (both sides on one sheet) in build/demo/.
#   scripts/demo.sh [--deck FILE]
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
deck="$top/decks/reader.json"
[ "${1:-}" = --deck ] && deck=$2

"$top/scripts/install-deps.sh" linux
cmake -S "$top" -B "$top/build" -G Ninja -DVNR_BUILD_TESTS=OFF >/dev/null
cmake --build "$top/build" -j2 --target vnr vnr-sim GetInfo >/dev/null

# A prefix of its own, so the demo never touches a real COM1 mapping.
export VNR32_PREFIX=$(mktemp -d)
ready="$VNR32_PREFIX/sim.ready"
"$top/build/sim/vnr-sim" --deck "$deck" --port 1 --ready-file "$ready" &
sim=$!
trap 'kill $sim 2>/dev/null; wait $sim 2>/dev/null; rm -rf "$VNR32_PREFIX"' EXIT
for _ in $(seq 100); do [ -s "$ready" ] && break; sleep 0.05; done
[ -s "$ready" ] || { echo "demo: the simulator did not start" >&2; exit 1; }

"$top/build/tools/vnr" info
echo
mkdir -p "$top/build/demo"
"$top/build/tools/vnr" idcard --wait 10 --photo "$top/build/demo/card-photo.bmp" --image "$top/build/demo/card.bmp"
