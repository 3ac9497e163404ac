#!/usr/bin/env bash
# Static analysis of the library's sources (src/):
#   clang-tidy with the checks of .clang-tidy (bugprone, cert, concurrency, performance), over every
#   source of src/ that the Linux build compiles, from its compile_commands.json;
#   cppcheck (warnings, style, performance, portability) over all of src/, Windows sources included,
#   with the suppressions of .cppcheck-suppressions.
# Zero findings pass. A finding that stays is justified where it stands (NOLINT or cppcheck-suppress
# with the reason) or, for a whole kind, in .clang-tidy or .cppcheck-suppressions with the reason.
#   scripts/static-analysis.sh [BUILD_DIR]     (default: build; configured here when it has no
#                                                compile_commands.json)
set -uo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
cd "$top"
build=${1:-build}
jobs=2

tidy=$(command -v run-clang-tidy || command -v run-clang-tidy-14 || true)
if [ -z "$tidy" ] || ! command -v cppcheck >/dev/null; then
  echo "static analysis needs clang-tidy (run-clang-tidy) and cppcheck" >&2
  exit 2
fi
if [ ! -f "$build/compile_commands.json" ]; then
  cmake -S "$top" -B "$build" -G Ninja >/dev/null || exit 2
fi
# Generated sources (the embedded card templates) must exist for the sources that include them.
cmake --build "$build" -j"$jobs" --target vnr_card_templates >/dev/null 2>&1 || true

status=0
log=$(mktemp)
trap 'rm -f "$log"' EXIT

echo "==== clang-tidy"
"$tidy" -p "$build" -j "$jobs" -quiet "$top/src/" >"$log" 2>&1
# One line per finding, without colours and without the repeats of a header seen from several sources.
findings=$(sed 's/\x1b\[[0-9;]*m//g' "$log" | grep -E '^/.*: (warning|error): ' | sort -u)
errors=$(sed 's/\x1b\[[0-9;]*m//g' "$log" | grep -cE '^Error while processing|error: unable to' || true)
if [ -n "$findings" ] || [ "$errors" -gt 0 ]; then
  printf '%s\n' "$findings" | sed "s|^$top/||"
  echo "clang-tidy: $(printf '%s\n' "$findings" | grep -c . ) findings, $errors sources not processed"
  status=1
else
  echo "clang-tidy: no findings"
fi

echo "==== cppcheck"
cppcheck --enable=warning,style,performance,portability --std=c++20 --language=c++ --inline-suppr \
  --suppressions-list="$top/.cppcheck-suppressions" --error-exitcode=1 --quiet -I src -I include -j"$jobs" src
if [ $? -ne 0 ]; then
  echo "cppcheck: findings above"
  status=1
else
  echo "cppcheck: no findings"
fi
exit $status
