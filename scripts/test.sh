#!/usr/bin/env bash
# Installs what is missing, builds, and runs all tests.
set -euo pipefail
cd "$(dirname "$0")/.."

./scripts/setup.sh
cmake --preset dev >/dev/null
cmake --build --preset dev
ctest --preset dev
