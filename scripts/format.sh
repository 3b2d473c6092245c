#!/usr/bin/env bash
# Formats all sources; with --check only tells which are not formatted, and fails.
set -euo pipefail
cd "$(dirname "$0")/.."

options=(-i)
[[ ${1:-} == --check ]] && options=(--dry-run -Werror)
find bench examples fuzz include lib mgrs tests tools -type f \( -name '*.h' -o -name '*.hpp' -o -name '*.c' -o -name '*.cpp' \) \
    -print0 | xargs -0 -r clang-format "${options[@]}"
