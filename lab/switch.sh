#!/usr/bin/env bash
# Runs a command, such as the shell, while a daemon and modules run, and stops them when it has
# ended. In a switch root, from the folder of the source.
#
# usage: lab/switch.sh LOG MODULE... -- COMMAND [ARGUMENT...]
set -euo pipefail
# Every program is a group of its own, so that what is typed reaches the command alone.
set -m

log=$1
shift
modules=()
while [ "$1" != -- ]; do
    modules+=("$1")
    shift
done
shift

# What the programs say comes through the pipe, into the log.
pipe=$(mktemp -u "$log.XXXXXXXX")
mkfifo "$pipe"
exec {news}<>"$pipe"
rm "$pipe"

started=()
start() { # program, argument...
    {
        trap : TERM
        "$@" 2>&"$news" >/dev/null || true
        echo "lab: $1 has ended" >&"$news"
    } &
    started+=($!)
}
# shellcheck disable=SC2317 # the trap calls it
stop() {
    trap '' HUP INT TERM
    # The daemon goes last.
    for ((i = ${#started[@]} - 1; i >= 0; --i)); do
        kill -- "-${started[i]}" 2>/dev/null || true
        wait "${started[i]}" 2>/dev/null || true
    done
    # The log is complete when its writer, which comes last, has ended.
    [ -z "$writer" ] || { echo "lab: stopped" >&"$news"; wait "$writer"; }
}
writer=
trap stop EXIT
trap 'exit 129' HUP
trap 'exit 143' TERM

keep_log() { # until this has been said
    local line
    while read -r line <&"$news"; do
        echo "$line" >>"$log"
        [[ $line != *"left out of the tree"* ]] || echo "$line" >&2
        [[ ! $line =~ $1 ]] || return 0
        if [ -z "$writer" ] && [[ ! $line =~ ^kivd:\ (tree|process)\  ]]; then
            echo "$line" >&2
            [[ $line != "lab: "*" has ended" ]] || exit 1
            [[ $line == kivd:* ]] || return 0
        fi
    done
}

start build/release/bin/kivd --foreground
keep_log '^kivd: serving$'
for module in "${modules[@]}"; do
    start "$module"
done
# The trees of the modules, and the shell's own; or a complaint, which is shown.
keep_log " of $((${#modules[@]} + 1)) trees\$|left out of the tree"
writer=none
keep_log '^lab: stopped$' &
writer=$!

status=0
"$@" || status=$?
exit $status
