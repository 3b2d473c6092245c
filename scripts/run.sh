#!/usr/bin/env bash
# Installs what is missing, builds, and shows the library at work on the sample policy.
set -euo pipefail
cd "$(dirname "$0")/.."

./scripts/setup.sh
cmake --preset release >/dev/null
cmake --build --preset release
exec ./scripts/demo.sh build/release
