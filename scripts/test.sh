#!/usr/bin/env bash
# Installs what is missing, builds, and runs all tests.
set -euo pipefail
cd "$(dirname "$0")/.."

case $#:${1:-} in
0:) ;;
1:-h | 1:--help) echo 'usage: scripts/test.sh' && exit ;;
*) echo 'usage: scripts/test.sh' >&2 && exit 2 ;;
esac

./scripts/setup.sh
cmake --preset dev >/dev/null
cmake --build --preset dev
ctest --preset dev
