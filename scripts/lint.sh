#!/usr/bin/env bash
# Runs clang-tidy over the libraries, the type managers and the tool, two files at a time.
#
#   scripts/lint.sh BUILD-DIRECTORY      a build tree with compile_commands.json
set -euo pipefail
cd "$(dirname "$0")/.."

build=${1:?usage: lint.sh BUILD-DIRECTORY}
find lib mgrs tools -name '*.cpp' -print0 | sort -z |
    xargs -0 -r -n1 -P2 clang-tidy --quiet -p "$build" --extra-arg=-Wno-unknown-warning-option 2>/dev/null
