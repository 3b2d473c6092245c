#!/usr/bin/env bash
# The library at work on the sample policy: shows it, decides requests, explains two of them, and shows what is
# traced and logged. Ends with 0 only when every decision is the expected one.
#
#   scripts/demo.sh [BUILD-DIRECTORY]
set -uo pipefail
cd "$(dirname "$0")/.." || exit 2

case $#:${1:-} in
0: | 1:[!-]*) ;;
1:-h | 1:--help) echo 'usage: scripts/demo.sh [BUILD-DIRECTORY]' && exit ;;
*) echo 'usage: scripts/demo.sh [BUILD-DIRECTORY]' >&2 && exit 2 ;;
esac

build=${1:-build/release}
tool=$build/bin/tbs
policy=data/policy
if [[ ! -x $tool ]]; then
    echo "demo.sh: there is no tool at $tool; run ./scripts/run.sh, or name the build directory" >&2
    exit 2
fi

export ORSIK_ACCOUNTS=$PWD/$policy/accounts
ORSIK_HOSTDATA_DIR=$(mktemp -d)
export ORSIK_HOSTDATA_DIR
trap 'rm -rf "$ORSIK_HOSTDATA_DIR"' EXIT
unset ORSIK_VERBOSITY ORSIK_TRACE

failures=0
bold='' plain=''
if [[ -t 1 && -z ${NO_COLOR:-} ]]; then
    bold=$'\033[1m' plain=$'\033[0m'
fi

title() {
    printf '\n%s== %s%s\n\n' "$bold" "$1" "$plain"
}

# run STATUS ARGUMENT...: runs the tool; another exit status is a failure.
run() {
    local expected=$1 status=0
    shift
    "$tool" "$@" || status=$?
    if [[ $status -ne $expected ]]; then
        echo "  !! ended with $status, expected was $expected"
        failures=$((failures + 1))
    fi
}

vob=(--permissions "$policy/vob.permissions")
project=(--permissions "$policy/project.permissions")

# expect granted|denied FILE NAMES ARGUMENT...: decides a request of VOB objects.
expect() {
    local status=1
    [[ $1 == granted ]] && status=0
    run "$status" acl check "$2" --want "$3" "${@:4}"
}

title "The policy of the VOB \"spectrometer\" ($policy/vob.acl)"
run 0 acl show "$policy/vob.acl" "${vob[@]}"

title "A dozen requests by accounts of the domain BRACKWATER"
expect granted "$policy/vob.acl" Checkout,Checkin --as 'BRACKWATER\bastien' "${vob[@]}"
expect denied  "$policy/vob.acl" Delete --as 'BRACKWATER\bastien' "${vob[@]}"
expect granted "$policy/vob.acl" RemoveVersion,Lock --as 'BRACKWATER\carmen' "${vob[@]}"
expect granted "$policy/vob.acl" Full --as 'BRACKWATER\anika' "${vob[@]}"
expect denied  "$policy/vob.acl" Checkin --as 'BRACKWATER\visitor' "${vob[@]}"
expect granted "$policy/vob.acl" Edit --as 'BRACKWATER\jonas' "${vob[@]}"
expect granted "$policy/vob.acl" Read,Audit --as 'BRACKWATER\goran' "${vob[@]}"
expect denied  "$policy/vob.acl" AclWrite --as 'BRACKWATER\dov' "${vob[@]}"
expect granted "$policy/vob.acl" AclWrite --as 'BRACKWATER\dov' --owner 'BRACKWATER\dov' "${vob[@]}"
expect granted "$policy/vob.acl" Lock,Obsolete --creds "$policy/noor.creds" "${vob[@]}"
expect granted "$policy/project.acl" Work,Deliver --as 'BRACKWATER\leila' "${project[@]}"
expect denied  "$policy/project.acl" Recommend --as 'BRACKWATER\noor' "${project[@]}"
expect granted "$policy/classic.acl" ReadData --as 'BRACKWATER\kwame' --classic "${vob[@]}"

title "Two requests by whoever runs this"
expect granted "$policy/vob.acl" AclRead "${vob[@]}"
expect denied  "$policy/vob.acl" Checkout "${vob[@]}"

title "Why a request is granted"
expect granted "$policy/vob.acl" Checkin,Label,Branch --as 'BRACKWATER\dov' --explain "${vob[@]}"

title "Why a request is denied (classic form: look-ups in a fixed order)"
expect denied "$policy/classic.acl" Checkout,Lock,Audit --as 'BRACKWATER\oskar' --owner 'BRACKWATER\oskar' \
    --classic --explain "${vob[@]}"

title "The library's own trace of one check, at verbosity 3"
ORSIK_VERBOSITY=3 ORSIK_TRACE=tbs_acl:3 expect denied "$policy/vob.acl" Checkin,Audit --as 'BRACKWATER\fumiko' "${vob[@]}"

title "What the next revision of the policy changes"
run 1 acl diff "$policy/vob.acl" "$policy/vob_next.acl" "${vob[@]}"

title "What is logged about a refusal (access_log)"
expect denied "$policy/vob.acl" Replicate --as 'BRACKWATER\svc_scan' --log "${vob[@]}"
if ! grep -q 'svc_scan asked for Replicate' "$ORSIK_HOSTDATA_DIR/log/access_log" 2>/dev/null; then
    echo "  !! no record was written"
    failures=$((failures + 1))
else
    fold -s -w 100 "$ORSIK_HOSTDATA_DIR/log/access_log"
fi

title "Who holds the roles that the policy names"
run 0 rolemap check "$policy/roles.map"
run 0 rolemap show "$policy/roles.map"

title "Who has which permission when the roles are filled"
run 0 acl matrix "$policy/vob.acl" "$policy/roles.map" "${vob[@]}" --out "$ORSIK_HOSTDATA_DIR/matrix"
head -n 30 "$ORSIK_HOSTDATA_DIR/matrix"

title "What the policy would put on a file, as POSIX ACL"
run 0 acl apply README.md --policy "$policy/vob.acl" --rolemap "$policy/roles.map" "${vob[@]}" \
    --required ReadData --owner 'BRACKWATER\carmen' --dry-run

title "The same policy as the bytes that servers store"
run 0 acl encode "$policy/vob.acl" "${vob[@]}" --out "$ORSIK_HOSTDATA_DIR/vob.bytes"
run 0 acl decode --hex "$ORSIK_HOSTDATA_DIR/vob.bytes" "${vob[@]}" >"$ORSIK_HOSTDATA_DIR/members"
head -n 12 "$ORSIK_HOSTDATA_DIR/members"
expect granted "$ORSIK_HOSTDATA_DIR/vob.bytes" Lock --as 'BRACKWATER\carmen' --encoded "${vob[@]}"

title "A new identifier, and what one says that was made from the time"
run 0 uuid new
run 0 uuid show 12345678.9abc1def.8a12.00:11:22:33:44:55

title "The element types of this tree, counted"
run 0 type -r lib include tools docs scripts >"$ORSIK_HOSTDATA_DIR/types"
sed 's/.*: //' "$ORSIK_HOSTDATA_DIR/types" | sort | uniq -c | sort -rn | head -n 12

title "Why a file has its types"
run 0 type --explain scripts/check_words

title "A build recorded, and what differs in the next one"
build_dir=$ORSIK_HOSTDATA_DIR/sample_build
tool_path=$(realpath "$tool")
cp -r data/sample_build "$build_dir"

# record RECORD ARGUMENT...: builds the sample program in its directory, with few variables.
record() {
    local status=0
    (cd "$build_dir" && env -i PATH=/usr/bin:/bin "$tool_path" cr capture -o "$1" -- cc "${@:2}") || status=$?
    if [[ $status -ne 0 ]]; then
        echo "  !! the build was not recorded"
        failures=$((failures + 1))
    fi
}

if strace -qq -o /dev/null true 2>/dev/null; then
    record first.cr -o greeting main.c greeting.c
    run 0 cr show "$build_dir/first.cr" >"$ORSIK_HOSTDATA_DIR/shown"
    fold -s -w 100 "$ORSIK_HOSTDATA_DIR/shown"
    sed -i 's/morning/evening/' "$build_dir/greeting.h"
    record second.cr -o greeting main.c greeting.c
    echo
    run 1 cr diff "$build_dir/first.cr" "$build_dir/second.cr" >"$ORSIK_HOSTDATA_DIR/shown"
    fold -s -w 100 "$ORSIK_HOSTDATA_DIR/shown"
else
    echo "Processes may not be traced here; two builds that were recorded elsewhere:"
    run 0 cr show data/sample_build/greeting.json
    run 1 cr diff data/sample_build/greeting.json data/sample_build/greeting_next.json
fi

title "Who runs this"
run 0 whoami

title "What two statuses mean"
run 0 status 1072 1033

echo
if [[ $failures -ne 0 ]]; then
    echo "$failures of the answers were not the expected ones"
    exit 1
fi
echo "all as expected"
