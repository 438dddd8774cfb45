#!/usr/bin/env bash
# What is installed can be used by others: moves an installed tree elsewhere, builds the programs of
# this folder against it, by the CMake package and by pkg-config, and runs them and the tools there.
set -euo pipefail
cmake=$1 build=$2 cc=$3 cxx=$4
source_dir=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
switch_root=("$source_dir/../../script/switch-root" --build "$build")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

DESTDIR='' "$cmake" --install "$build" --prefix "$work/first" >"$work/install.log"
mv "$work/first" "$work/installed"
installed=$work/installed

expect() { # text that the output has, command...
    local wanted=$1 output
    shift
    output=$("$@" 2>&1) || { echo "$* failed: $output"; exit 1; }
    [[ $output == *"$wanted"* ]] || { echo "$*: no \"$wanted\" in: $output"; exit 1; }
}

try_programs() { # folder of the programs
    for tree in "$installed"/share/kiv/*.par; do
        expect " commands" "$1/c_program" "$tree"
        expect " commands" "$1/cpp_program" "$tree"
    done
    expect "File does not exist" "$1/platform_program"
    expect served "${switch_root[@]}" "$1/hello_module"
}

"$cmake" -S "$source_dir" -B "$work/cmake" -G Ninja -DCMAKE_PREFIX_PATH="$installed" \
    -DCMAKE_C_COMPILER="$cc" -DCMAKE_CXX_COMPILER="$cxx" \
    -DCMAKE_C_FLAGS="-Wall -Wextra -Werror" -DCMAKE_CXX_FLAGS="-Wall -Wextra -Werror" >"$work/cmake.log"
"$cmake" --build "$work/cmake" >"$work/cmake.log" || { cat "$work/cmake.log"; exit 1; }
try_programs "$work/cmake"

PKG_CONFIG_PATH=$(dirname "$(find "$installed" -name kiv.pc)")
export PKG_CONFIG_PATH
mkdir "$work/pkgconfig"
build_one() { # package, program, compiler...
    local flags
    read -ra flags <<<"$(pkg-config --cflags --libs "$1")"
    local out=$work/pkgconfig/$2
    shift 2
    "$@" -Wall -Wextra -Werror -o "$out" "${flags[@]}" -Wl,-rpath,"$(pkg-config --variable=libdir kiv)"
}
cd "$source_dir"
build_one kiv c_program "$cc" -std=c11 program.c
build_one kiv cpp_program "$cxx" -std=c++20 program.cpp
build_one kivplatform platform_program "$cc" -std=c11 platform.c
build_one kivmodule hello_module "$cc" -std=c11 hello_module.c
try_programs "$work/pkgconfig"

"$installed/bin/kivctl" tree compile hello.grammar -o "$work/hello.par"
expect "show_hello" "$installed/bin/kivctl" tree show "$work/hello.par"
expect "usage: kiv " "$installed/bin/kiv" --help
expect "usage: kivd " "$installed/sbin/kivd" --help
for file in man/man1/kivctl.1 man/man3/libkiv.3 man/man5/par.5 man/man8/kivd.8 \
    bash-completion/completions/kivctl kiv/grammar/kiv.grammar; do
    [ -s "$installed/share/$file" ] || { echo "$file is not installed"; exit 1; }
done
for unit in "$installed"/lib/systemd/system/*.service; do
    program=$(sed -n 's/^ExecStart=\([^ ]*\).*/\1/p' "$unit")
    [[ $program == "$work/first/"* && -x $installed/${program#"$work/first/"} ]] ||
        { echo "$unit starts $program, which is not installed"; exit 1; }
done
