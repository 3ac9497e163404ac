#!/usr/bin/env bash
# The Python binding: its generated modules equal a fresh generation from their sources (the header and
# `vnr statuses --json`); `pip install ./python` into a fresh virtual environment needs no compiler and no
# index; its tests (python/tests) run against the simulator with the installed package.
# Prints "N passed, N failed".
#   scripts/python-test.sh [BUILD_DIR]        (default: build; it must be built)
set -uo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
build=$(cd "${1:-$top/build}" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
passed=0
failed=0

if "$top/scripts/gen-python-prototypes.py" --check --vnr "$build/tools/vnr"; then
  passed=$((passed + 1)); echo "ok    python/vnr32/_prototypes.py and _statuses.py are fresh"
else
  failed=$((failed + 1)); echo "FAIL  generated modules differ from their sources"
fi
if python3 -m venv "$work/venv" && "$work/venv/bin/pip" install --quiet --no-index "$top/python" >"$work/pip.log" 2>&1; then
  passed=$((passed + 1)); echo "ok    pip install ./python (no index, no compiler)"
  # From outside the tree, so that the installed package is the one imported.
  (cd "$work" && VNR32_LIBRARY="$build/src/libvnr_32.so.1" VNR32_SIM="$build/sim/vnr-sim" VNR32_DECKS="$top/decks" \
     "$work/venv/bin/python" -m unittest discover -s "$top/python/tests" -v) 2>&1 | tee "$work/tests.log" | tail -n 15
  ran=$(sed -nE 's/^Ran ([0-9]+) tests?.*/\1/p' "$work/tests.log")
  bad=0
  for n in $(sed -nE 's/^FAILED \((.*)\)$/\1/p' "$work/tests.log" | grep -oE '[0-9]+'); do bad=$((bad + n)); done
  ran=${ran:-0}
  if [ "$ran" -eq 0 ]; then failed=$((failed + 1)); else passed=$((passed + ran - bad)); failed=$((failed + bad)); fi
else
  failed=$((failed + 1)); echo "FAIL  pip install ./python"; tail -n 20 "$work/pip.log"
fi
echo "$passed passed, $failed failed"
[ "$failed" -eq 0 ]
