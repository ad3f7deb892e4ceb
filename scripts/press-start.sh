#!/usr/bin/env bash
# Waits for the program's window and clicks its start button, as a hand would.
# usage: press-start.sh PID
set -euo pipefail
for _ in $(seq 200); do
    # No window yet makes xdotool fail; that is what this loop waits out.
    window=$(xdotool search --onlyvisible --pid "$1" 2>/dev/null | tail -n 1) || true
    [ -z "$window" ] || break
    sleep 0.1
done
[ -n "$window" ] || { echo "press-start.sh: process $1 shows no window" >&2; exit 1; }
# The start button is at the same place in every language: the window's layout is fixed.
xdotool mousemove --window "$window" "${START_X:-190}" "${START_Y:-204}" click 1
