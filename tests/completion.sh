#!/usr/bin/env bash
# The completion of kivctl: jobs, options and files; and it has every option that --help has.
set -euo pipefail
kivctl=$1
declare -A _kivctl_words
# shellcheck source=/dev/null
source "$2"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
mkdir trees
touch one.par two.par text.grammar

status=0
expect() { # completions, word..., of which the last is the one at the cursor
    local wanted=$1 got
    shift
    COMP_WORDS=("$@")
    COMP_CWORD=$(($# - 1))
    _kivctl
    got=$(printf '%s\n' "${COMPREPLY[@]}" | LC_ALL=C sort -u | paste -sd ' ')
    [ "$got" = "$wanted" ] || { echo "$*: \"$got\" instead of \"$wanted\""; status=1; }
}

expect "register roles run" kivctl r
expect "stats" kivctl tree st
expect "--help --json one.par trees two.par" kivctl tree check ""
expect "text.grammar trees" kivctl tree compile t
expect "one.par" kivctl tree show --json o
expect "one.par" kivctl config show -o on
expect "" kivctl run -o ""
expect "trees" kivctl tree publish -d t
expect "" kivctl session --deadline ""
expect "--user-vsans" kivctl interfaces check --u
expect "always auto" kivctl config diff --color = a
expect "session-timeout session-timeout-2" kivctl settings set session
expect "permit" kivctl roles rule reader 1 per
expect "sha256sum" kivctl lock -- sha256su

for job in "${!_kivctl_words[@]}"; do
    read -ra words <<<"$job"
    known=
    for other in "${!_kivctl_words[@]}"; do
        [[ $other != "kivctl ${words[1]-}"* ]] || known+=" ${_kivctl_words["$other"]} "
    done
    help=$("$kivctl" "${words[@]:1}" --help)
    while read -r option; do
        [[ $known == *[[:space:]]"$option"[[:space:]]* ]] ||
            { echo "$job: $option is not completed"; status=1; }
    done < <(grep -oE -- "(^|[^A-Za-z0-9'-])--?[a-z][a-z-]*" <<<"$help" | grep -oE -- '-.*')
done
exit $status
