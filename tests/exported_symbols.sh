#!/usr/bin/env bash
# The exported sets are the documented ones: what the headers declare, no more and no less. And
# libkiv needs nothing but the C and C++ runtime and the platform's documented functions.
set -euo pipefail
nm=$1 source_dir=$2 libkiv=$3 libkivplatform=$4 libkivmodule=$5

# Names that the headers of a folder declare with its export macro.
declared() { # macro, folder
    cat "$2"/*.h | tr '\n' ' ' | grep -oE "$1 [^;]*;" | grep -v '__attribute__' |
        sed -E 's/\(.*//; s/\[.*//; s/;.*//' | grep -oE '[A-Za-z_0-9]+ *$' | tr -d ' ' | sort -u
}
exported() { "$nm" -D --defined-only "$1" | awk '$2 != "A" {print $3}' | sed 's/@.*//' | sort -u; }
needed() { "$nm" -D --undefined-only "$1" | awk '{print $NF}'; }

status=0
compare() { # library, documented, exported
    [ "$2" = "$3" ] && return
    echo "$1: the exported set (>) is not the documented one (<):"
    diff <(echo "$2") <(echo "$3") | grep '^[<>]' || true
    status=1
}

platform=$(declared KIV_PLATFORM_API "$source_dir/platform/include/kiv/platform")
compare libkivplatform "$platform" "$(exported "$libkivplatform")"
compare libkiv "$(declared KIV_API "$source_dir/libkiv/include/kiv")" "$(exported "$libkiv")"
compare libkivmodule "$(declared KIV_API "$source_dir/lab/module/include/kiv")" \
    "$(exported "$libkivmodule")"

# Symbols of the C and C++ runtime carry the runtime's versions, or are the compiler's own hooks.
runtime='@(GLIBC|GLIBCXX|CXXABI|GCC)_|^(__gmon_start__|__cxa_finalize|_ITM_.*|__gxx_personality_v0)$'
foreign=$(needed "$libkiv" | grep -vE "$runtime" | sed 's/@.*//' | sort -u |
    comm -23 - <(echo "$platform"))
if [ -n "$foreign" ]; then
    echo "libkiv needs symbols of neither the runtime nor the platform: $foreign"
    status=1
fi
[ "$(echo "$platform" | wc -l)" -ge 10 ] || { echo "the headers were not read"; status=1; }
exit $status
