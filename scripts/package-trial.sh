#!/usr/bin/env bash
# Installs the Debian package on a bare Debian 12 and uses it: started from its menu entry, after an
# upgrade, removed, purged. Needs root and the mirror that apt uses; takes some minutes.
# usage: package-trial.sh BUILD-FOLDER PACKAGE.deb      the build's own tools press the start button
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
. "$here/started.sh"

if [ "${1:-}" != --inside ]; then
    "$here/install-packages.sh" run trial
    build=$(realpath "$1")
    package=$(realpath "$2")
    root=$folder/root
    trap 'stop "${started[@]}"; for mounted in proc dev; do umount "$root/$mounted" 2>/dev/null || true; done
        rm -rf --one-file-system "$folder"' EXIT
    mirror=$(apt-get indextargets --format '$(REPO_URI)' 'Created-By: Packages' 'Codename: bookworm' | head -n 1)
    debootstrap --variant=minbase bookworm "$root" "$mirror" >"$folder/debootstrap.log" ||
        { tail "$folder/debootstrap.log" >&2; exit 1; }
    mount --bind /dev "$root/dev"
    mount -t proc proc "$root/proc"
    printf '#!/bin/sh\nexit 101\n' >"$root/usr/sbin/policy-rc.d" && chmod +x "$root/usr/sbin/policy-rc.d"

    mkdir "$root/old" "$root/new"
    "$here/../packaging/linux/package.sh" "$build" "$root/old" 0.9.0 >/dev/null
    cp "$package" "$root/new"
    export DEBIAN_FRONTEND=noninteractive
    chroot "$root" apt-get update -q >/dev/null
    chroot "$root" apt-get install -y -q --no-install-recommends dex >"$folder/install.log" 2>&1
    find "$root" -xdev -path "$root/old" -prune -o -path "$root/new" -prune -o -iname '*tarsin*' -print >"$folder/before"
    [ ! -s "$folder/before" ] || { echo "not a bare system" >&2; exit 1; }
    echo "Installing the older package and what it recommends"
    chroot "$root" sh -c 'apt-get install -y -q /old/*.deb' >>"$folder/install.log" 2>&1 ||
        { tail -n 30 "$folder/install.log" >&2; exit 1; }
    chroot "$root" useradd --create-home trial
    # No network from here on.
    "$here/private-network.sh" "$here/with-display.sh" --wm "$0" --inside "$build" "$root"
    exit
fi

build=$2
root=$3
fail() { echo "package-trial.sh: $1" >&2; exit 1; }
as_user() { chroot --userspec=trial "$root" env -u XDG_DATA_HOME HOME=/home/trial LC_ALL=C.UTF-8 "$@"; }
as_root() { chroot "$root" env DEBIAN_FRONTEND=noninteractive "$@"; }
mkdir -p "$root/tmp/.X11-unix"
mount --bind /tmp/.X11-unix "$root/tmp/.X11-unix"

settings=$root/home/trial/.local/share/Halvark/TarsinNDI/TarsinNDI.ini
as_user mkdir -p "$(dirname "${settings#"$root"}")"
as_user sh -c "printf '[SystemSet]\nname=Trial\nframeRate=15\n' >'${settings#"$root"}'"

use() {
    as_user dex /usr/share/applications/tarsinndi.desktop >"$folder/log" 2>&1 &
    started+=($!)
    for _ in $(seq 200); do
        window=$(xdotool search --onlyvisible --class '^tarsinndi$' 2>/dev/null | tail -n 1) || true
        [ -z "$window" ] || break
        sleep 0.1
    done
    [ -n "$window" ] || { cat "$folder/log" >&2; fail "no window"; }
    program=$(xdotool getwindowpid "$window")
    "$here/press.sh" "$build" "$program" start
    as_user ndimonitor Trial --frames 3 || { cat "$folder/log" >&2; fail "nothing was received"; }
    as_user tarsinndi --version
    kill "$program"
    while [ -e "/proc/$program" ]; do sleep 0.1; done
}

echo "Started from its menu entry:"
use
as_root sh -c 'apt-get install -y -q /new/*.deb' >"$folder/upgrade.log" 2>&1 || { cat "$folder/upgrade.log" >&2; exit 1; }
grep -q "^frameRate=15" "$settings" || fail "the upgrade changed the settings"
echo "After the upgrade over $(sed -n 's/.*(\(0[^)]*\)).*/\1/p' "$folder/upgrade.log" | head -n 1):"
use

# Everything with our name in it, outside the user's home and the packages themselves.
ours() { find "$root" -xdev \( -path "$root/old" -o -path "$root/new" -o -path "$root/home" \) -prune -o -iname '*tarsin*' -print; }
as_root apt-get remove -y -q tarsinndi >"$folder/remove.log" 2>&1
echo "Left after the removal:"
ours
as_root apt-get purge -y -q tarsinndi 2>&1 | tee "$folder/purge.log"
grep -q '\.local/share/Halvark/TarsinNDI' "$folder/purge.log" || fail "purge does not say where the settings are"
[ -z "$(ours)" ] || { ours; fail "purge left this"; }
[ -f "$settings" ] && [ -d "$(dirname "$settings")/log" ] || fail "settings or logs are gone"
echo "Nothing is left after the purge, except settings and logs: $(ls -x "$(dirname "$settings")")"
