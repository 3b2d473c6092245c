#!/usr/bin/env bash
# Runs clang-tidy over the libraries, the type managers and the tool, two files at a time.
#
#   scripts/lint.sh BUILD-DIRECTORY      a build tree with compile_commands.json
set -euo pipefail
cd "$(dirname "$0")/.."

build=${1:?usage: lint.sh BUILD-DIRECTORY}

# lint CLANG-TIDY-OPTION... -- DIRECTORY...
lint() {
    local options=()
    while [[ $1 != -- ]]; do
        options+=("$1")
        shift
    done
    shift
    find "$@" -name '*.cpp' -print0 | sort -z |
        xargs -0 -r -n1 -P2 clang-tidy --quiet -p "$build" --extra-arg=-Wno-unknown-warning-option "${options[@]}" \
            2>/dev/null
}

lint -- lib mgrs
# The analyzer walks the JSON of the tool for minutes.
lint --checks=-clang-analyzer-* -- tools
