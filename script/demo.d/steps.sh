# shellcheck shell=bash
# shellcheck disable=SC2034,SC2154 # what the demo has set, and what it uses
# What the demo's steps are made of. $demo is a folder for its files, removed at the end; $switch is
# where the switch keeps its own, $build whose programs it has, and $bin where they are.
demo=$(mktemp -d "$build/demo.XXXXXXXX")
output=$demo/output
started=()   # in the background
processes=() # the programs within them
stop() {
    [ ${#processes[@]} = 0 ] || kill -KILL "${processes[@]}" 2>/dev/null || true
    [ ${#started[@]} = 0 ] || wait "${started[@]}" 2>/dev/null || true
    rm -rf "$demo"
}
trap stop EXIT

shown=30 # lines of what a command printed

step() { printf '\n== %s\n' "$1"; }
fail() { printf 'demo: %s\n' "$1" >&2; exit 1; }
echo_command() { printf '$ %s\n' "${1##*/} ${*:2}" | sed "s|$demo/||g"; }
echo_text() { sed 's/^/    | /' "$1"; }

# Runs a command in the demo's switch, shows it and what it printed, and compares its status.
run() { # expected status, command...
    local expected=$1 status=0
    shift
    echo_command "$@"
    script/switch-root --build "$build" --state "$switch" "$@" >"$output" 2>&1 || status=$?
    sed -i 's/\r*$//; s/.*\r//' "$output" # as a terminal shows it
    sed "s|$demo/||g; s/^/    /; ${shown}q" "$output"
    [ "$(wc -l <"$output")" -le "$shown" ] || echo "    ..."
    [ "$status" = "$expected" ] || fail "ended with status $status, not $expected"
}
expect() { # pattern, [file]
    grep -qE -- "$1" "${2:-$output}" || fail "\"$1\" is not in ${2:-what it printed}"
}
refuse() {
    ! grep -qE -- "$1" "$2" || fail "\"$1\" is in $2"
}

# Starts a program in the demo's switch. $process is its id, and $said where it is heard.
background() { # command...
    echo_command "$@" "&"
    rm -f "$demo/pipe"
    mkfifo "$demo/pipe"
    # shellcheck disable=SC2016 # for the inner shell
    script/switch-root --build "$build" --state "$switch" sh -c 'echo $$; exec "$@"' sh "$@" >"$demo/pipe" 2>&1 &
    started+=($!)
    exec {said}<"$demo/pipe"
    read -r -t 10 process <&"$said" || fail "it does not start"
    processes+=("$process")
}
# Goes on when a program has said this.
await() { # where it is heard, pattern
    local line
    while read -r -t 10 line <&"$1"; do
        echo "    $line" | sed "s|$demo/||g"
        [[ ! $line =~ $2 ]] || return 0
    done
    fail "\"$2\" does not come"
}
start_daemon() {
    background "$bin/kivd" --foreground
    daemon=$process daemon_log=$said
    await "$daemon_log" 'kivd: serving'
}
start_module() {
    background "$bin/kiv_vsan_module"
    module=$process
    await "$daemon_log" 'of 2 trees$'
}

# Sends a line to the session that stays open, and takes the answer, up to its marker.
ask() { # marker, line
    local answer='' character
    printf 'session> %s\n' "$2"
    printf '%s\n' "$2" >&"${session[1]}"
    until [[ $answer == *KIV_@(CALLBACK_SUCCESS|CALLBACK_ERROR|PARSE_ERROR) ]]; do
        IFS= read -r -N 1 -t 10 character <&"${session[0]}" || fail "no answer"
        answer+=$character
    done
    printf '%s\n' "$answer" | tee "$output" | sed 's/^/    /'
    [[ $answer == *"$1" ]] || fail "the answer is not $1"
}
