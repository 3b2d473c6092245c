#!/usr/bin/env bash
# Installs what is missing of scripts/packages.txt. Does nothing, and needs no rights, when all of it is there.
set -euo pipefail
cd "$(dirname "$0")/.."

missing=()
while read -r package; do
    [[ -z $package || $package == \#* ]] && continue
    # Asked for one by one: a package of several architectures answers with one line for each.
    status=$(dpkg-query -W -f '${Status}\n' "$package" 2>/dev/null || true)
    grep -qx 'install ok installed' <<<"$status" || missing+=("$package")
done <scripts/packages.txt
((${#missing[@]})) || exit 0

echo "setup.sh: installing ${missing[*]}"
as_root=()
if [[ $(id -u) -ne 0 ]]; then
    if ! command -v sudo >/dev/null; then
        echo "setup.sh: not root, and there is no sudo; install these packages: ${missing[*]}" >&2
        exit 1
    fi
    as_root=(sudo DEBIAN_FRONTEND=noninteractive)
fi
export DEBIAN_FRONTEND=noninteractive

install() {
    "${as_root[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" </dev/null
}

# The package lists of a fresh machine are empty, and old ones name files that are gone.
log=$(mktemp)
trap 'rm -f "$log"' EXIT
if ! install >"$log" 2>&1; then
    if ! { "${as_root[@]}" apt-get update -qq && install; } >"$log" 2>&1; then
        tail -20 "$log" >&2
        echo "setup.sh: could not install these packages: ${missing[*]}" >&2
        exit 1
    fi
fi
