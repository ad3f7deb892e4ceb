#!/usr/bin/env bash
# What the whole program costs, against FFmpeg grabbing and encoding the same screen: 1920x1080 at 30
# fps, four scenes. One after the other, on the same virtual screen. Prints processor
# time (user and system) per frame interval of 1/30 s.
# usage: whole-program.sh [SECONDS-PER-MEASUREMENT]      after ./test.sh has built; needs ffmpeg
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
build=$here/../build/release

if [ "${1:-}" != --inside ]; then
    command -v ffmpeg >/dev/null || { echo "whole-program.sh: ffmpeg is not installed" >&2; exit 1; }
    exec "$here/../scripts/private-network.sh" "$here/../scripts/with-display.sh" --wm \
        --size 1920x1080 "$0" --inside "${1:-10}"
fi
seconds=$2

. "$here/../scripts/started.sh"

# Milliseconds of processor time that a process has used.
used() { awk -v tick="$(getconf CLK_TCK)" '{ sub(/.*\) /, ""); print ($12 + $13) * 1000 / tick }' "/proc/$1/stat"; }

# Measures a running process and prints milliseconds per 1/30 s.
measure() {
    local before after
    before=$(used "$1")
    sleep "$seconds"
    after=$(used "$1")
    awk -v ms="$(awk -v a="$after" -v b="$before" 'BEGIN { print a - b }')" -v s="$seconds" \
        'BEGIN { printf "%.3f\n", ms / (s * 30) }'
}

export XDG_DATA_HOME=$folder/data XDG_RUNTIME_DIR=$folder
mkdir -p "$XDG_DATA_HOME/Halvark/TarsinNDI"
printf '[SystemSet]\nname=Bench\n' >"$XDG_DATA_HOME/Halvark/TarsinNDI/TarsinNDI.ini"

printf '%-10s %12s %12s %12s %10s\n' scene "ffmpeg ms" "watched ms" "alone ms" ratio
for scene in full scroll caret nothing; do
    "$build/bench/sceneplayer" "$scene" >/dev/null 2>&1 &
    player=$!
    started+=("$player")
    sleep 1

    ffmpeg -loglevel error -f x11grab -framerate 30 -video_size 1920x1080 -draw_mouse 0 \
        -i "$DISPLAY" -pix_fmt yuv422p -c:v speedhq -f rawvideo -y /dev/null </dev/null &
    theirs_pid=$!
    started+=("$theirs_pid")
    sleep 1
    theirs=$(measure "$theirs_pid")
    stop "$theirs_pid"

    "$build/bin/tarsinndi" >/dev/null 2>&1 &
    program=$!
    started+=("$program")
    "$here/../scripts/press.sh" "$build" "$program" start
    sleep 2
    alone=$(measure "$program")
    "$build/bin/ndimonitor" --address 127.0.0.1:5961 --no-decode >/dev/null 2>&1 &
    monitor=$!
    started+=("$monitor")
    sleep 3  # a resting frame is as good as it gets by now
    watched=$(measure "$program")
    stop "$monitor" "$program" "$player"

    printf '%-10s %12s %12s %12s %10s\n' "$scene" "$theirs" "$watched" "$alone" \
        "$(awk -v a="$watched" -v b="$theirs" 'BEGIN { printf("1/%.1f", (a > 0 ? b / a : 0)) }')"
done
