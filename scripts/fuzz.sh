#!/usr/bin/env bash
# Builds the fuzz programs and runs each of them, two at a time, on its corpus and a scratch copy that grows.
#
#   scripts/fuzz.sh [SECONDS]      seconds for each, 60 when not given
set -euo pipefail
cd "$(dirname "$0")/.."

seconds=${1:-60}
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz -- --quiet

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
export ORSIK_HOSTDATA_DIR=$scratch/hostdata
mkdir "$ORSIK_HOSTDATA_DIR"
export ASAN_OPTIONS=allocator_may_return_null=1

# fuzz_one PROGRAM: prints its last lines only when it fails.
fuzz_one() {
    local program=$1 name
    name=$(basename "${program%_fuzz}")
    mkdir -p "$scratch/$name"
    if ! "$program" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -print_final_stats=1 \
        -artifact_prefix="$scratch/$name." "$scratch/$name" "fuzz/corpus/$name" >"$scratch/$name.log" 2>&1; then
        tail -40 "$scratch/$name.log"
        for input in "$scratch/$name".{crash,oom,timeout,leak}-*; do
            [[ -f $input ]] && echo "input (base64): $(base64 -w0 "$input")"
        done
        echo "fuzz.sh: $name failed" >&2
        return 1
    fi
    echo "$name: $(grep -o 'stat::number_of_executed_units: .*' "$scratch/$name.log")"
}
export -f fuzz_one
export scratch seconds

find build/fuzz/fuzz -maxdepth 1 -name '*_fuzz' -type f -print0 | sort -z | xargs -0 -r -n1 -P2 bash -c "fuzz_one \"\$1\"" _
