#!/usr/bin/env bash
# Runs the tests with counters and prints the line and branch coverage of lib/.
set -euo pipefail
cd "$(dirname "$0")/.."

./scripts/setup.sh
cmake --preset coverage >/dev/null
cmake --build --preset coverage -- --quiet
profiles=build/coverage/profiles
rm -rf "$profiles"
ctest --preset coverage
find "$profiles" -name '*.profraw' >"$profiles/list"
# Processes that a test kills or stops from writing leave what cannot be read.
llvm-profdata-14 merge -sparse -failure-mode=all -f "$profiles/list" -o "$profiles/all.profdata"

objects=()
for library in build/coverage/lib/lib*.so; do
    objects+=(-object "$library")
done
for program in build/coverage/tests/*/*_internal_test; do
    [[ -f $program ]] && objects+=(-object "$program")
done
llvm-cov-14 report -instr-profile="$profiles/all.profdata" -show-branch-summary "${objects[@]}" \
    -ignore-filename-regex='(/tests/|/usr/|/include/)'
