#!/usr/bin/env bash
# Runs the tests with counters and prints the line and branch coverage of lib/, what the build generates left out.
# Fails when it is below what is wanted, or docs/coverage.md does not say why something is not reached.
set -euo pipefail
cd "$(dirname "$0")/.."

./scripts/setup.sh
build=build/coverage
cmake --preset coverage >/dev/null
cmake --build --preset coverage -- --quiet
profiles=$build/profiles
rm -rf "$profiles"
ctest --preset coverage
find "$profiles" -name '*.profraw' >"$profiles/list"
# Processes that a test kills or stops from writing leave what cannot be read.
llvm-profdata-14 merge -sparse -failure-mode=all -f "$profiles/list" -o "$profiles/all.profdata"

objects=("$build/bin/tbs" "$build"/lib/lib*.so)
for program in "$build"/tests/*/*_internal_test; do
    [[ -f $program ]] && objects+=("$program")
done
./scripts/coverage_report "$profiles/all.profdata" "${objects[@]}"
