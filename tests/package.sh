#!/usr/bin/env bash
# The Debian package installs, works and goes away again, in a small system of its own that is made
# of this machine's packages. Exit status 77 where there can be none.
set -euo pipefail
cpack=$1 build=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
root=$work/root
skip() { echo "skipped: $1"; exit 77; }
for tool in dpkg-query dpkg-shlibdeps bwrap file; do
    command -v "$tool" >/dev/null || skip "no $tool"
done

"$cpack" --config "$build/CPackConfig.cmake" -B "$work/package" >"$work/cpack.log" 2>&1 ||
    { cat "$work/cpack.log"; exit 1; }
package=$(echo "$work"/package/libkiv_*.deb)

# What the package says that it needs, and what dpkg itself runs.
read -ra depends < <(dpkg-deb -f "$package" Depends | sed 's/([^)]*)//g; s/,/ /g')
all=(base-files libc-bin dpkg dash bash coreutils tar diffutils sed grep findutils "${depends[@]}")
for ((i = 0; i < ${#all[@]}; ++i)); do
    for needed in $(dpkg-query -W -f '${Depends} ${Pre-Depends}' "${all[i]}" |
        sed 's/([^)]*)//g; s/|[^,]*//g; s/[,:]/ /g'); do
        [ "$needed" = any ] || [[ " ${all[*]} " == *" $needed "* ]] || all+=("$needed")
    done
done
mkdir -p "$root"/{dev,proc,tmp,run,var/lib/dpkg/{info,updates},var/log,etc}
ln -s usr/bin usr/sbin usr/lib usr/lib64 "$root"
# Folders such as /bin are links into /usr, also where a package has not heard of it.
files_of_packages() {
    local file
    local -A real
    { dpkg-query -L "${all[@]}" 2>/dev/null || true; } |
        grep '^/.*/' | grep -vE '^/usr/share/(doc|man|locale|i18n|info|lintian)/' | sort -u |
        while read -r file; do
            if [ ! -d "$file" ] && [ -e "$file" ]; then
                : "${real[${file%/*}]=$(realpath "${file%/*}")}"
                file=${real[${file%/*}]}/${file##*/}
                echo "${file#/}"
            fi
        done
}
files_of_packages | tar -C / -cf - -T - | tar -C "$root" -xf -
dpkg-query -s "${all[@]}" >"$root/var/lib/dpkg/status" 2>/dev/null || true
cp "$package" "$root/tmp/libkiv.deb"

inside() {
    bwrap --unshare-all --uid 0 --gid 0 --cap-add ALL --bind "$root" / --proc /proc --dev /dev \
        --die-with-parent --setenv PATH /usr/sbin:/usr/bin --setenv LC_ALL C "$@"
}
inside dpkg --version >/dev/null 2>"$work/bwrap.log" || skip "$(tail -1 "$work/bwrap.log")"
expect() { # text that the output has, command...
    local wanted=$1 output
    shift
    output=$(inside "$@" 2>&1) || { echo "$* failed: $output"; exit 1; }
    [[ $output == *"$wanted"* ]] || { echo "$*: no \"$wanted\" in: $output"; exit 1; }
}
# Says that systemd runs, and keeps what it was asked for.
mkdir -p "$root"/{run/systemd/system,etc/systemd/system/multi-user.target.wants}
printf '#!/bin/sh\necho "$*" >>/tmp/systemctl.log\n' >"$root/usr/bin/systemctl"
chmod +x "$root/usr/bin/systemctl"
: >"$root/tmp/systemctl.log"
files_there() { (cd "$root" && find . -path ./var -prune -o -print | sort); }

expect "" ldconfig
before=$(files_there)
expect "Setting up libkiv" dpkg -i /tmp/libkiv.deb
expect "Variant:  normal" kivctl run show version
expect "Variant:  boot" kivctl run --boot show version
# shellcheck disable=SC2016 # for the inner shell
expect "active" timeout 20 sh -c 'kivd && { kiv_vsan_module & }
    until kivctl trees | grep -q vsan; do :; done
    kiv -c "show vsan"'
expect "" sh -c 'echo switchname left | kivctl session --conf --marker -'

# An upgrade keeps a tree that was changed; a removal takes the links of enabled services with it.
! grep -q try-restart "$root/tmp/systemctl.log" || { echo "the first installation restarts"; exit 1; }
ln -s /lib/systemd/system/kivd.service "$root/etc/systemd/system/multi-user.target.wants"
cp "$root"/ubex/etc/par/{vsan,main_tree}.par
expect "Setting up libkiv" dpkg -i /tmp/libkiv.deb
cmp "$root"/ubex/etc/par/{vsan,main_tree}.par || { echo "the upgrade replaces trees"; exit 1; }
expect "try-restart kivd.service" cat /tmp/systemctl.log
expect "Purging configuration files for libkiv" dpkg --purge libkiv

# Users have made the name of the switch and the virtual SANs; the daemon was told of nothing else.
left=$(comm -13 <(echo "$before") <(files_there) | paste -sd ' ')
wanted="./ubex ./ubex/cfg ./ubex/cfg/running.cfg ./ubex/cfg/vsan ./ubex/etc ./ubex/etc/kivd"
wanted+=" ./ubex/etc/kivd/state ./ubex/etc/kivd/state.previous"
[ "$left" = "$wanted" ] || { echo "left behind: $left"; exit 1; }
[ -z "$(comm -23 <(echo "$before") <(files_there))" ] || { echo "files of others are gone"; exit 1; }
