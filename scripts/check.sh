#!/usr/bin/env bash
# The checks beyond the tests: house rules, layout, lint, sanitizers, a short run of each fuzz program. Expects what
# scripts/setup.sh installs. Ends at the first failure.
set -euo pipefail
cd "$(dirname "$0")/.."

./scripts/setup.sh

step() {
    local name=$1 begin=$SECONDS
    shift
    echo "== $name"
    if ! "$@"; then
        echo "check.sh: $name failed" >&2
        exit 1
    fi
    echo "== $name: passed in $((SECONDS - begin)) s"
}

build() {
    cmake --preset "$1" >/dev/null && cmake --build --preset "$1" -- --quiet
}

# Without address randomisation: ThreadSanitizer needs its place in the address space, and some kernels scatter too far.
sanitized() {
    build "$1" && setarch "$(uname -m)" -R ctest --preset "$1"
}

scripts_too() {
    git ls-files --cached --others --exclude-standard scripts .ci |
        xargs -r grep -lE '^#!.*bash' | xargs -r shellcheck
}

dev_build() {
    build dev
}

step 'words' ./scripts/check_words
step 'layers' ./scripts/check_layers
step 'comments' ./scripts/check_comments
step 'headers' ./scripts/check_headers
step 'reference' ./scripts/check_reference
step 'shell scripts' scripts_too
step 'format' ./scripts/format.sh --check
step 'build' dev_build
step 'exports' ./scripts/check_exports build/dev/lib
step 'binary interface' ./scripts/check_abi build/dev
step 'installed product' ./scripts/check_install build/dev
step 'Debian packages' ./scripts/check_packages build/dev
step 'lint' ./scripts/lint.sh build/dev
step 'address and undefined-behaviour sanitizers' sanitized asan
step 'thread sanitizer' sanitized tsan
step 'fuzz' ./scripts/fuzz.sh "${FUZZ_SECONDS:-5}"
echo 'All checks passed.'
