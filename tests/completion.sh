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

lines_of() { printf '%s\n' "$@" | LC_ALL=C sort -u; }
compare() { # what, words of --help, words of the completion
    [ "$2" != "$3" ] || return 0
    echo "$1: what --help (<) and the completion (>) have differs:"
    diff <(echo "$2") <(echo "$3") || true
    status=1
}
options_in() { grep -oE -- '--?[a-z][a-z-]*' | grep -vx -- --help || true; }
# One line for each way to use a command; "[show]" is a job that may be left out.
synopsis_of() { # help
    awk '/^(usage:|      ) kivctl / { sub(/^(usage:)? */, ""); text[++n] = $0; next }
        /^               / && n { text[n] = text[n] " " $0; next }
        { exit }
        END { for (i = 1; i <= n; ++i) print text[i] }' <<<"$1" |
        sed -nE 's/\[(show)\]/\1/; p; s/^(kivctl settings) show/\1/p'
}

mapfile -t commands < <("$kivctl" --help | grep -oE '^  [a-z]+(, [a-z]+)?' | tr -d ' ' | tr , '\n')
words=()
read -ra words -d '' <<<"${_kivctl_words[kivctl]//--*/}" || true
compare kivctl "$(lines_of "${commands[@]}")" "$(lines_of "${words[@]}")"
for job in "${!_kivctl_words[@]}"; do
    [ "$job" != kivctl ] || continue
    read -ra arguments <<<"${job#kivctl }"
    help=$("$kivctl" "${arguments[@]}" --help)
    own='' others='' jobs=()
    while read -r line; do
        read -r _ _ word _ <<<"$line"
        [[ ! $word =~ ^[a-z]+$ ]] || jobs+=("$word")
        [[ $line =~ ^$job( |$) && (${#arguments[@]} -gt 1 || ! $word =~ ^[a-z]+$) ]] &&
            own+="$line"$'\n' || others+=$line
    done < <(synopsis_of "$help")
    # The options that are explained below belong to the one job, or to the one that says so.
    if [[ -z $others || $own == *OPTION...* ]]; then
        own+=$(sed -nE 's/^  +(-.*)/\1/; T; s/  .*//; p' <<<"$help")
    fi
    read -ra words -d '' <<<"${_kivctl_words["$job"]}" || true
    compare "$job" "$(options_in <<<"$own" | LC_ALL=C sort -u)" \
        "$(lines_of "${words[@]%%=*}" | { grep ^- || true; } | options_in | LC_ALL=C sort -u)"
    [[ ${#arguments[@]} -eq 1 || -n $own ]] || { echo "$job is no job"; status=1; }
    for word in "${jobs[@]}"; do
        [[ ${#arguments[@]} -gt 1 || -v _kivctl_words["$job $word"] && " ${words[*]} " == *" $word "* ]] ||
            { echo "$job $word is not completed"; status=1; }
    done
done
exit $status
