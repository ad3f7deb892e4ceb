#!/usr/bin/env bash
# Waits for the program's window and clicks one of its controls.
# usage: press.sh BUILD-FOLDER PID CONTROL       controls: the names that demo/controlplaces prints
set -euo pipefail
for _ in $(seq 200); do
    # xdotool fails as long as there is no window.
    window=$(xdotool search --onlyvisible --pid "$2" 2>/dev/null | tail -n 1) || true
    [ -z "$window" ] || break
    sleep 0.1
done
[ -n "$window" ] || { echo "press.sh: process $2 has no window" >&2; exit 1; }
read -r x y < <("$1/demo/controlplaces" | sed -n "s/^$3 //p") || {
    echo "press.sh: the window has no control named $3" >&2
    exit 1
}
xdotool mousemove --window "$window" "$x" "$y" click 1
