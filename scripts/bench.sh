#!/usr/bin/env bash
# Builds and runs the benchmarks and prints each job beside its peer and its limit. Timing never fails it.
#
#   scripts/bench.sh [GOOGLE-BENCHMARK-OPTION...]
set -euo pipefail
cd "$(dirname "$0")/.."

./scripts/setup.sh
cmake --preset bench >/dev/null
cmake --build --preset bench -- --quiet

results=build/bench/results
mkdir -p "$results"
for program in build/bench/bench/*_bench; do
    name=$(basename "$program")
    "$program" --benchmark_min_time=0.2 --benchmark_repetitions=5 --benchmark_report_aggregates_only=true \
        --benchmark_out="$results/$name.json" --benchmark_out_format=json "$@" >/dev/null
done
exec python3 scripts/bench_table bench/bars.tsv "$results"/*.json
