#!/usr/bin/env bash
# Builds the fuzz targets of fuzz/ with clang (build folder build-fuzz) and runs each for SECONDS
# (default 30), two at a time (FUZZ_JOBS), from its committed corpus fuzz/corpus/<target>/, which is
# only read: new inputs go to build-fuzz/fuzz-runs/<target>/new/, and what a target finds (crash-*,
# leak-*, timeout-*, oom-*) to build-fuzz/fuzz-runs/<target>/. One line per target (executions,
# crashes), then "N passed, M failed" as the other check scripts end; exits non-zero on any finding or a
# failed build.
#   scripts/fuzz.sh [SECONDS] [TARGET...]     TARGET: a name such as frame_hid (default: all of them)
set -uo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
seconds=${1:-30}
shift || true
build="$top/build-fuzz"

if ! CC=clang CXX=clang++ cmake -S "$top" -B "$build" -G Ninja -DVNR_FUZZ=ON -DVNR_BUILD_TESTS=OFF \
       -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null || ! cmake --build "$build" -j2 --target fuzz_targets >/dev/null; then
  echo "fuzz: the fuzz targets did not build"
  echo "0 passed, 1 failed"
  exit 1
fi

targets=("$@")
if [ ${#targets[@]} -eq 0 ]; then
  for program in "$build"/fuzz/*_fuzz; do targets+=("$(basename "${program%_fuzz}")"); done
fi

# Runs one target and leaves its line (and, after a finding, the first lines of the log) in
# $runs/result; the last line of the result is "ok" or "finding".
run_target() {
  local target=$1 program="$build/fuzz/${1}_fuzz" runs="$build/fuzz-runs/$1" corpus="$top/fuzz/corpus/$1"
  rm -rf "$runs"; mkdir -p "$runs/new" "$corpus"
  if [ ! -x "$program" ]; then
    printf '%-20s no such target\nfinding\n' "$target" >"$runs/result"; return
  fi
  # The first folder takes the new inputs; the committed corpus after it is read only. A single input
  # that runs for 10 s counts as a hang; leaks count as findings.
  "$program" "$runs/new" "$corpus" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 \
    -print_final_stats=1 -artifact_prefix="$runs/" >"$runs/log" 2>&1
  local status=$? executions findings
  executions=$(sed -n 's/^stat::number_of_executed_units: *//p' "$runs/log" | tail -n 1)
  findings=$(find "$runs" -maxdepth 1 -type f \( -name 'crash-*' -o -name 'leak-*' -o -name 'timeout-*' -o -name 'oom-*' \) | wc -l)
  [ "$status" -ne 0 ] && [ "$findings" -eq 0 ] && findings=1
  {
    printf '%-20s %10s executions in %s s, %d crash(es)\n' "$target" "${executions:-?}" "$seconds" "$findings"
    if [ "$findings" -eq 0 ]; then
      echo ok
    else
      grep -m 3 -E 'ERROR|SUMMARY|check failed' "$runs/log" | sed 's/^/    /'
      echo "    input and log: $runs/"
      echo finding
    fi
  } >"$runs/result"
}

# Two targets at a time (FUZZ_JOBS), each line printed as its target ends.
jobs_at_once=${FUZZ_JOBS:-2}
passed=0
failed=0
report() {
  local result="$build/fuzz-runs/$1/result"
  sed '$d' "$result"
  if [ "$(tail -n 1 "$result")" = ok ]; then passed=$((passed + 1)); else failed=$((failed + 1)); fi
}
running=()
for target in "${targets[@]}"; do
  run_target "$target" &
  running+=("$!:$target")
  while [ ${#running[@]} -ge "$jobs_at_once" ]; do
    wait -n
    still=()
    for entry in "${running[@]}"; do
      if kill -0 "${entry%%:*}" 2>/dev/null; then still+=("$entry"); else report "${entry#*:}"; fi
    done
    running=("${still[@]}")
  done
done
for entry in "${running[@]}"; do
  wait "${entry%%:*}"
  report "${entry#*:}"
done

echo "$passed passed, $failed failed"
[ "$failed" -eq 0 ]
