#!/usr/bin/env bash
# Runs a command on a new virtual screen.
# usage: with-display.sh [--size WxH[xDEPTH]] [--wm] COMMAND [ARGUMENT...]
#   --size   default 1280x720x24
#   --wm     also starts a window manager
set -euo pipefail

size=1280x720x24
wm=no
while :; do
    case "${1:-}" in
        --size) size=$2; shift 2 ;;
        --wm) wm=yes; shift ;;
        *) break ;;
    esac
done
[[ $size == *x*x* ]] || size=${size}x24

. "$(dirname "$0")/started.sh"

mkfifo "$folder/number"
Xvfb -displayfd 3 -screen 0 "$size" -noreset -nolisten tcp 3>"$folder/number" \
    >"$folder/xvfb.log" 2>&1 &
started+=($!)
read -r -t 20 number <"$folder/number" || {
    echo "with-display.sh: Xvfb did not start:" >&2
    cat "$folder/xvfb.log" >&2
    exit 1
}
export DISPLAY=:$number
unset WAYLAND_DISPLAY XDG_SESSION_TYPE XAUTHORITY

if [ "$wm" = yes ]; then
    openbox --config-file /etc/xdg/openbox/rc.xml >"$folder/wm.log" 2>&1 &
    started+=($!)
    for _ in $(seq 100); do
        xprop -root _NET_SUPPORTING_WM_CHECK 2>/dev/null | grep -q 'window id' && break
        sleep 0.05
    done
fi

"$@"
