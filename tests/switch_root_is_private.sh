#!/usr/bin/env bash
# A switch root gives every run its own switch, and nothing of it reaches the machine.
# Arguments: the switch-root command with its options.
set -euo pipefail
root=("$@")
build=$3

fail() { echo "$1"; exit 1; }

before=$(find "$build" -maxdepth 1 -name 'switch-root.*' | wc -l)
machine() { for path in /ubex /lc /run/kiv /usr/sbin/kiv.bin /sbin/kivScript.sh; do [ ! -e $path ] || echo "$path"; done; }
machine_before=$(machine)

"${root[@]}" /usr/sbin/kiv.bin -c "show version" >/dev/null || fail "the shell does not run"
"${root[@]}" /lc/ubexboot/bin/kivboot -c "show version" >/dev/null || fail "the boot shell does not run"

# Two at once: each waits until both have written, so that they really overlap.
folder=$(mktemp -d "$build/overlap.XXXXXXXX")
trap 'rm -rf "$folder"' EXIT
mkfifo "$folder/one" "$folder/two"
meet='echo $0 > /ubex/mine; rm /usr/sbin/kiv.bin; if [ $0 = one ]; then echo > "$1/two"; read x < "$1/one"
else read x < "$1/two"; echo > "$1/one"; fi; read mine < /ubex/mine; [ "$mine" = $0 ]'
"${root[@]}" sh -c "$meet" one "$folder" &
first=$!
"${root[@]}" sh -c "$meet" two "$folder" || fail "the second run saw the first one's files"
wait $first || fail "the first run saw the second one's files"

status=0
"${root[@]}" sh -c 'exit 7' || status=$?
[ $status = 7 ] || fail "status 7 came out as $status"

[ "$(machine)" = "$machine_before" ] || fail "left on the machine: $(machine)"
[ "$(find "$build" -maxdepth 1 -name 'switch-root.*' | wc -l)" -le "$before" ] || fail "left its folder behind"
