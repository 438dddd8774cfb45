#!/usr/bin/env bash
# The manual pages of the programs have the options that the programs' own --help has, no more and
# no less, and every job.
set -euo pipefail
pages=$1 bin=$2

status=0
options_of_text() { grep -oE -- "(^|[^A-Za-z0-9'-])--?[A-Za-z][A-Za-z-]*" | grep -oE -- '--?[A-Za-z].*' |
    grep -vxE -- '--help|-h' | sort -u; }
# Arguments of the macro Fl, up to the next macro.
options_of_page() {
    awk '{
        flag = 0
        for (i = 1; i <= NF; ++i) {
            word = $i
            sub(/^\./, "", word)
            if (word == "Fl")
                flag = 1
            else if (word ~ /^[A-Z][a-z]$/)
                flag = 0
            else if (flag && word ~ /[A-Za-z]/ && word != "-help")
                print "-" word
        }
    }' | sort -u
}
compare() { # what, options of --help, options of the page
    [ "$2" = "$3" ] && [ -n "$2$4" ] && return
    echo "$1: the options of --help (<) and of the manual page (>) differ:"
    diff <(echo "$2") <(echo "$3") || true
    status=1
}

for program in kiv.1 kivd.8 kiv_vsan_module.8; do
    name=${program%.*}
    compare "$name" "$("$bin/$name" --help | options_of_text)" \
        "$(options_of_page <"$pages/man${program##*.}/$program")" ""
done

page=$pages/man1/kivctl.1
section() { awk -v title="$1" '/^\.S[sh]/ { inside = ($0 == ".Ss " title) } inside' "$page"; }
daemon=(daemon trees register deregister merge settings lock unlock)
mapfile -t commands < <("$bin/kivctl" --help | grep -oE '^  [a-z]+(, [a-z]+)?' | tr -d ' ' | tr , '\n')
[ ${#commands[@]} -ge 16 ] || { echo "the commands of kivctl were not read"; exit 1; }

help_of_daemon=
for command in "${commands[@]}"; do
    help=$("$bin/kivctl" "$command" --help)
    jobs=$(sed -nE "s/^ *(usage: )?kivctl $command ([a-z]+)( .*|$)/\2/p" <<<"$help" | sort -u)
    for job in $jobs; do
        help+=$("$bin/kivctl" "$command" "$job" --help)
        grep -qE "Ic (.*Ic )?$command $job( |$)|Ic settings Oo Ic show" "$page" ||
            { echo "kivctl.1 does not have $command $job"; status=1; }
    done
    grep -qE "Ic $command( |$)" "$page" || { echo "kivctl.1 does not have $command"; status=1; }
    if [[ " ${daemon[*]} " == *" $command "* ]]; then
        help_of_daemon+=$help
    else
        compare "kivctl $command" "$(options_of_text <<<"$help")" \
            "$(section "$command" | options_of_page)" none
    fi
done
compare "kivctl for the daemon" "$(options_of_text <<<"$help_of_daemon")" \
    "$(section "The daemon" | options_of_page)" ""
exit $status
