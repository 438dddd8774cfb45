#!/usr/bin/env bash
# script/lab is the whole switch around one command, and nothing of it stays behind, however it ends.
# Arguments: script/lab, the build.
# shellcheck disable=SC2016 # scripts for the shells in the labs
set -euo pipefail
lab=$1
build=$2
folder=$(mktemp -d "$build/lab_script.XXXXXXXX")
trap 'rm -rf "$folder"' EXIT
state=$folder/state

fail() { echo "$1"; exit 1; }
run_lab() { "$lab" --build "$build" --state "$state" "$@"; }
expect_status() { # status, what, arguments of the lab...
    local expected=$1 what=$2 status=0
    shift 2
    run_lab "$@" >"$folder/output" 2>"$folder/error" || status=$?
    [ $status = "$expected" ] ||
        fail "$what: status $status, not $expected: $(cat "$folder/output" "$folder/error")"
}
# Processes in the lab, if there are any; those that nobody may look into are none of them.
lives() {
    grep -slaz "^KIV_SWITCH_ROOT=$state\$" /proc/[0-9]*/environ >"$folder/lives" ||
        [ -s "$folder/lives" ]
}
expect_none() { ! lives || fail "$1: these are left: $(cat "$folder/lives")"; }

expect_status 0 "the shell" -- /usr/sbin/kiv.bin -c "show vsan"
grep -q '^1 .*active' "$folder/output" || fail "no virtual SANs in: $(cat "$folder/output")"
expect_none "the shell has ended"
expect_status 7 "the command's own status" -- sh -c 'exit 7'
printf 'configure terminal\nvsan 10\n' >"$folder/lines"
expect_status 0 "lines" -- /usr/sbin/kiv.bin -f "$folder/lines"
expect_status 0 "what was configured stays" -- /usr/sbin/kiv.bin -c "show vsan 10"

expect_status 1 "a module that ends" --module /bin/false -- true
grep -q 'false has ended$' "$folder/error" || fail "the module is not named"
expect_none "a module that ends"
ln -s /bin/false "$folder/ends"
status=0
(cd "$folder" && "$lab" --build "$(realpath --relative-to . "$build")" --state in_here \
    --module ./ends -- true) 2>"$folder/error" || status=$?
if [ $status != 1 ] || ! grep -q 'has ended$' "$folder/error" || [ ! -d "$folder/in_here/ubex" ]; then
    fail "names as seen from another folder: status $status: $(cat "$folder/error")"
fi
expect_status 2 "wrong usage" --stat "$state"
expect_status 2 "a module that is not there" --module "$folder/missing" -- true
expect_status 2 "a module that is no program" --module "$folder/lines" -- true

# Modules that never register hold nothing up: a silent one, and those that talk without end.
program() { # name, line...
    printf '#!/bin/sh\n%s\n' "$2" >"$folder/$1"
    chmod +x "$folder/$1"
}
program silent 'exec sleep 1000'
program floods 'yes "kivd: tree" >&2'
program line_without_end 'exec cat /dev/zero >&2'
before=$SECONDS
KIV_LAB_PATIENCE=1 expect_status 7 "modules that do not register" --module "$folder/silent" \
    --module "$folder/line_without_end" -- sh -c 'exit 7'
grep -qF "lab: not all modules have registered; see $state/kivd.log" "$folder/error" ||
    fail "says only: $(head -c 500 "$folder/error")"
KIV_LAB_PATIENCE=1 expect_status 7 "modules that do not register" \
    --module "$folder/floods" -- sh -c 'exit 7'
[ $((SECONDS - before)) -lt 20 ] || fail "held up for $((SECONDS - before)) s"
expect_none "modules that do not register"
KIV_LAB_PATIENCE=soon expect_status 2 "no number of seconds" -- true

# Two on one state, where the second one says so and the first one goes on; then that one is ended
# by a signal, or killed.
mkfifo "$folder/up" "$folder/end"
exec {up}<>"$folder/up"
for signal in TERM KILL; do
    "$lab" --build "$build" --state "$state" -- \
        sh -c 'echo >"$0/up"; read -r line <"$0/end"' "$folder" &
    first=$!
    read -r -t 20 _ <&"$up" || fail "the first lab does not start"
    expect_status 1 "a second lab" -- true
    grep -q 'Address already in use' "$folder/error" || fail "says only: $(cat "$folder/error")"
    lives || fail "the first lab is not found among the processes"
    kill -s $signal $first
    ! wait $first 2>/dev/null || fail "the first lab has ended by itself"
    end=$((SECONDS + 20))
    while lives; do
        [ $SECONDS -lt $end ] || expect_none "SIG$signal"
    done
done

# An ordinary user, where this is root and the user may make a switch root at all.
if [ "$(id -u)" = 0 ]; then
    state=$(mktemp -d)
    trap 'rm -rf "$folder" "$state"' EXIT
    chown 65534:65534 "$state"
    lab=$folder/as_nobody
    printf '#!/bin/sh\nexec setpriv --reuid=65534 --regid=65534 --clear-groups "%s" "$@"\n' "$1" >"$lab"
    chmod +x "$lab"
    if ! run_lab -- true 2>/dev/null; then
        echo "Not tried: an ordinary user cannot make a switch root of this build."
        exit 0
    fi
    expect_status 0 "an ordinary user" -- /usr/sbin/kiv.bin -c "show vsan"
    expect_none "an ordinary user"
fi
