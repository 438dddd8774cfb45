#!/usr/bin/env bash
# Runs a command, such as the shell, while a daemon and modules run, and stops them when it has
# ended. In a switch root, from the folder of the source.
#
# usage: lab/switch.sh LOG MODULE... -- COMMAND [ARGUMENT...]
#
# Waits KIV_LAB_PATIENCE seconds for the modules, 5 without that.
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

# Runs a program and tells that it has ended, on a line of its own, whatever the program has left
# unfinished; passes SIGTERM on to it, whenever that comes. What is stopped or does not hear it is
# killed: it would keep everything else from ending. No alarm is left behind: none is set once the
# program has ended, and SIGKILL is heard before it has begun.
# shellcheck disable=SC2016 # for the inner shell
keeper='asked= program= alarm=
end() {
    asked=yes
    [ -n "$program" ] || return
    kill -CONT $program
    kill $program
    [ -n "$alarm" ] || { sleep 5 3>&- & alarm=$!; }
}
trap end TERM
"$@" 2>&3 3>&- &
program=$!
[ -z "$asked" ] || end
while kill -0 $program; do
    wait -n $program $alarm
    [ -z "$alarm" ] || kill -0 $alarm || kill -KILL $program
done
program=
[ -z "$alarm" ] || kill -KILL $alarm
printf "\nlab: %s has ended\n" "$1" >&3'
started=()
start() { # program, argument...
    # Where this process is killed, nothing of it stays.
    setpriv --pdeathsig TERM bash -c "$keeper" bash "$@" 3>&"$news" >/dev/null 2>&1 &
    started+=($!)
}
# shellcheck disable=SC2317 # the trap calls it
stop() {
    trap '' HUP INT TERM
    # The daemon goes last.
    for ((i = ${#started[@]} - 1; i >= 0; --i)); do
        kill -CONT -- "-${started[i]}" 2>/dev/null || true
        kill -- "-${started[i]}" 2>/dev/null || true
        wait "${started[i]}" 2>/dev/null || true
    done
    [ -z "$writer" ] || wait "$writer"
}
writer=
trap stop EXIT
trap 'exit 129' HUP
trap 'exit 143' TERM

is_end() { [[ $1 == "lab: "*" has ended" ]]; }
# A program that talks without end must not fill the disk, nor with a line without end the memory.
# The room is that of one run.
longest_line=4096
room_in_log=10000000
keep_line() {
    [ -n "$1" ] && ((room_in_log > 0)) || return 0
    local text=$1
    ((room_in_log -= ${#text} + 1, room_in_log > 0)) ||
        text="lab: the log is full; what is said from now on is dropped"
    # A full disk must not stop who writes to the pipe.
    printf '%s\n' "$text" >>"$log" || true
}
take_line() { # [option of read]...; into $line
    read -r -n "$longest_line" "$@" line <&"$news" || return
    keep_line "$line"
    [[ $line != *"left out of the tree"* ]] || echo "$line" >&2
}
now() { microseconds=${EPOCHREALTIME/[.,]/}; }
# Until this has been said, a module has complained, or it is too late. What goes wrong is shown;
# without a program that has ended, there is no lab.
await() {
    local line left
    while now && left=$((deadline - microseconds)) && [ "$left" -gt 0 ]; do
        printf -v left '%d.%06d' $((left / 1000000)) $((left % 1000000))
        take_line -t "$left" || continue
        [ -n "$line" ] || continue
        [[ ! $line =~ $1 ]] || return 0
        [[ $line =~ ^kivd:\ (tree|process|left\ out)\  ]] || echo "$line" >&2
        ! is_end "$line" || exit 1
        [[ $line == kivd:* ]] || return 0
    done
    echo "lab: $2; see $log" >&2
}
keep_log() {
    local line left=${#started[@]}
    while [ "$left" -gt 0 ] && take_line; do
        ! is_end "$line" || left=$((left - 1))
    done
}

# The daemon is of the same build as the shell.
start "$(dirname "$(realpath /usr/sbin/kiv.bin)")/kivd" --foreground
now
deadline=$((microseconds + ${KIV_LAB_PATIENCE:-5} * 1000000))
await '^kivd: serving$' "the daemon does not serve yet"
for module in "${modules[@]}"; do
    start "$module"
done
# The trees of the modules, and the shell's own; or a complaint, which take_line has shown.
await " of $((${#modules[@]} + 1)) trees\$|left out of the tree" "not all modules have registered"
keep_log &
writer=$!

status=0
setpriv --pdeathsig HUP -- "$@" || status=$?
exit $status
