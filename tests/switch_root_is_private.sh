#!/usr/bin/env bash
# A switch root gives every run its own switch, shows the command's own status, and leaves nothing
# on the machine. Arguments: the switch-root command with its options.
# shellcheck disable=SC2016 # scripts for the shells in the roots
set -euo pipefail
root=("$@")
build=$3

fail() { echo "$1"; exit 1; }
expect_status() { # status, what, command...
    local expected=$1 what=$2 status=0
    shift 2
    "$@" >/dev/null || status=$?
    [ $status = "$expected" ] || fail "$what: status $status, not $expected"
}
machine() {
    for path in /ubex /lc /run/kiv /usr/sbin/kiv.bin /sbin/kivScript.sh; do
        [ ! -e $path ] || echo $path
    done
}
before=$(machine)

expect_status 0 "the shell" "${root[@]}" /usr/sbin/kiv.bin -c "show version"
expect_status 0 "the boot shell" "${root[@]}" /lc/ubexboot/bin/kivboot -c "show version"
expect_status 0 "the machine's own programs" "${root[@]}" test -x /usr/sbin/chroot

# A process that ends later than the command does not matter.
folder=$(mktemp -d "$build/overlap.XXXXXXXX")
trap 'rm -rf "$folder"' EXIT
mkfifo "$folder/late"
late='(read -r x <"$1"; exit 3) & exit 7'
{ "${root[@]}" sh -c "$late" sh "$folder/late" || echo $? >"$folder/status"; } &
echo >"$folder/late"
wait $!
[ "$(cat "$folder/status")" = 7 ] || fail "status 7 came out as $(cat "$folder/status")"

# Two at once: each waits until both have written, so that they really overlap.
mkfifo "$folder/one" "$folder/two"
meet='echo $0 > /ubex/mine; rm /usr/sbin/kiv.bin; if [ $0 = one ]; then echo > "$1/two"; read x < "$1/one"
else read x < "$1/two"; echo > "$1/one"; fi; read mine < /ubex/mine; [ "$mine" = $0 ]'
"${root[@]}" sh -c "$meet" one "$folder" &
first=$!
"${root[@]}" sh -c "$meet" two "$folder" || fail "the second run saw the first one's files"
wait $first || fail "the first run saw the second one's files"

# What a run leaves is gone, also what it made inaccessible.
locked='mkdir -p /ubex/d/e; touch /ubex/d/e/f; chmod 000 /ubex/d; echo "$KIV_SWITCH_ROOT" >"$1"'
expect_status 0 "a locked folder" "${root[@]}" sh -c "$locked" sh "$folder/used"
[ ! -e "$(cat "$folder/used")" ] || fail "left $(cat "$folder/used")"
[ "$(machine)" = "$before" ] || fail "left on the machine: $(machine)"

# A state that is used by two: what runs keeps its own trees, whatever the next one brings.
tree=$folder/state/ubex/etc/par/main_tree.par
expect_status 0 "a state" "${root[@]}" --state "$folder/state" true
exec {mapped}<"$tree"
touch -d 1970-01-02 "$tree"
expect_status 0 "the same trees" "${root[@]}" --state "$folder/state" true
[ "$tree" -ef /proc/self/fd/$mapped ] || fail "replaced a tree by the same"
truncate -s 1000 "$tree"
touch -d 1970-01-02 "$tree"
expect_status 0 "other trees" "${root[@]}" --state "$folder/state" true
[ "$(wc -c <&$mapped)" = 1000 ] || fail "wrote into a tree that may be mapped"
cmp "$tree" "$build/share/main_tree.par" || fail "an old tree is left"

expect_status 125 "no such build" "${root[@]:0:1}" --build "$folder/none" true 2>/dev/null
