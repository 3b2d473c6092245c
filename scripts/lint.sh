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
# Every check walks the templates of JSON in every file of the tool: those that have found something there.
lint '--checks=-*,clang-diagnostic-*,performance-*,-performance-inefficient-string-concatenation,-performance-no-int-to-ptr,misc-redundant-expression,misc-uniqueptr-reset-release,bugprone-use-after-move,bugprone-dangling-handle,bugprone-sizeof-expression,bugprone-unused-raii,google-explicit-constructor' \
    -- tools
