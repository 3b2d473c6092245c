#!/usr/bin/env bash
# Installs what is missing, builds, and shows the library at work on the sample policy.
set -euo pipefail
cd "$(dirname "$0")/.."

case $#:${1:-} in
0:) ;;
1:-h | 1:--help) echo 'usage: scripts/run.sh' && exit ;;
*) echo 'usage: scripts/run.sh' >&2 && exit 2 ;;
esac

./scripts/setup.sh
cmake --preset release >/dev/null
cmake --build --preset release
exec ./scripts/demo.sh build/release
