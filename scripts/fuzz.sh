#!/usr/bin/env bash
# Builds the fuzz targets of fuzz/ with clang (build folder build-fuzz) and runs each for SECONDS
# (default 30) from its committed corpus fuzz/corpus/<target>/, which is only read: new inputs go to
# build-fuzz/fuzz-runs/<target>/new/, and what a target finds (crash-*, leak-*, timeout-*, oom-*) to
# build-fuzz/fuzz-runs/<target>/. One line per target (executions, crashes), then "fuzz: N passed, M
# failed"; exits non-zero on any finding or a failed build.
#   scripts/fuzz.sh [SECONDS] [TARGET...]     TARGET: a name such as frame_hid (default: all of them)
set -uo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
seconds=${1:-30}
shift || true
build="$top/build-fuzz"

if ! CC=clang CXX=clang++ cmake -S "$top" -B "$build" -G Ninja -DVNR_FUZZ=ON -DVNR_BUILD_TESTS=OFF \
       -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null || ! cmake --build "$build" -j2 --target fuzz_targets >/dev/null; then
  echo "fuzz: the fuzz targets did not build"
  echo "fuzz: 0 passed, 1 failed"
  exit 1
fi

targets=("$@")
if [ ${#targets[@]} -eq 0 ]; then
  for program in "$build"/fuzz/*_fuzz; do targets+=("$(basename "${program%_fuzz}")"); done
fi

passed=0
failed=0
for target in "${targets[@]}"; do
  program="$build/fuzz/${target}_fuzz"
  runs="$build/fuzz-runs/$target"
  corpus="$top/fuzz/corpus/$target"
  if [ ! -x "$program" ]; then
    printf '%-20s no such target\n' "$target"
    failed=$((failed + 1)); continue
  fi
  rm -rf "$runs"; mkdir -p "$runs/new" "$corpus"
  # The first folder takes the new inputs; the committed corpus after it is read only. A single input
  # that runs for 10 s counts as a hang; leaks count as findings.
  "$program" "$runs/new" "$corpus" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 \
    -print_final_stats=1 -artifact_prefix="$runs/" >"$runs/log" 2>&1
  status=$?
  executions=$(sed -n 's/^stat::number_of_executed_units: *//p' "$runs/log" | tail -n 1)
  findings=$(find "$runs" -maxdepth 1 -type f \( -name 'crash-*' -o -name 'leak-*' -o -name 'timeout-*' -o -name 'oom-*' \) | wc -l)
  [ "$status" -ne 0 ] && [ "$findings" -eq 0 ] && findings=1
  printf '%-20s %10s executions in %s s, %d crash(es)\n' "$target" "${executions:-?}" "$seconds" "$findings"
  if [ "$findings" -eq 0 ]; then
    passed=$((passed + 1))
  else
    failed=$((failed + 1))
    grep -m 3 -E 'ERROR|SUMMARY|check failed' "$runs/log" | sed 's/^/    /'
    echo "    input and log: $runs/"
  fi
done

echo "fuzz: $passed passed, $failed failed"
[ "$failed" -eq 0 ]
