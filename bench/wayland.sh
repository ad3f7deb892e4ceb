#!/usr/bin/env bash
# CPU time of the whole program per frame interval of 1/30 s in a Wayland session, against wf-recorder
# encoding the same output to SpeedHQ: sway without a display, 1920x1080, scenes that play at 30 fps,
# one measurement after the other. Prints CSV, the medians of all runs. The compositor's and the
# portal's own time is in neither. Idle machine, please.
# usage: wayland.sh [--runs N] [--seconds N] [--build FOLDER] [--scenes "full scroll caret nothing"]
#   --runs      default 3          --seconds    per measurement, default 10
#   --build     default build/release; needs the targets tarsinndi, tarsin-wayland, ndimonitor,
#               sceneplayer, controlplaces and shmscreencopy, and wf-recorder
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
runs=3 seconds=10 build=$here/../build/release scenes="full scroll caret nothing" inside=
while [ $# -gt 0 ]; do
    case "$1" in
        --inside) inside=yes; shift; continue ;;
        --runs) runs=$2 ;;
        --seconds) seconds=$2 ;;
        --build) build=$(cd "$2" && pwd) ;;
        --scenes) scenes=$2 ;;
        *) echo "wayland.sh: unknown option $1" >&2; exit 2 ;;
    esac
    shift 2
done
if [ -z "$inside" ]; then
    command -v wf-recorder >/dev/null || { echo "wayland.sh: wf-recorder is not installed" >&2; exit 1; }
    export SESSION_PRELOAD=$build/tests/shmscreencopy.so
    exec "$here/../scripts/private-network.sh" "$here/../scripts/with-wayland.sh" "$0" --inside \
        --runs "$runs" --seconds "$seconds" --build "$build" --scenes "$scenes"
fi
. "$here/../scripts/started.sh"
. "$here/cputime.sh"

measure_recorder() {
    wf-recorder -o HEADLESS-1 -c speedhq -F format=yuv422p -x yuv422p -m avi -f /dev/null \
        >"$folder/recorder.log" 2>&1 &
    local recorder=$!
    started+=("$recorder")
    sleep 2
    measure "$recorder"
    stop "$recorder"
}

# With a receiver, then without: "1.2345,0.1234".
measure_program() {
    "$build/bin/tarsinndi" >"$folder/program.log" 2>&1 &
    local program=$!
    started+=("$program")
    "$here/../scripts/press.sh" "$build" "$program" start >&2
    # Out of sight: its status changes, and a change of the screen is what is measured.
    swaymsg -q "[pid=$program] move scratchpad"
    sleep 3
    local alone
    alone=$(measure "$program")
    "$build/bin/ndimonitor" --address 127.0.0.1:5961 --no-decode >"$folder/monitor.log" 2>&1 &
    local monitor=$!
    started+=("$monitor")
    sleep 3  # By now a still frame has reached its final quality.
    printf '%s,%s' "$(measure "$program")" "$alone"
    stop "$monitor"
    grep -m1 -i "frames" "$folder/monitor.log" >&2 || true
    stop "$program"
}

swaymsg -q 'output HEADLESS-1 mode --custom 1920x1080@60Hz, output HEADLESS-2 pos 1920 0'
swaymsg -q 'focus output HEADLESS-1'
export QT_QPA_PLATFORM=xcb  # The program chooses it by itself, the scene player does not.
mkdir -p "$XDG_DATA_HOME/Halvark/TarsinNDI"
printf '[SystemSet]\nname=Bench\n' >"$XDG_DATA_HOME/Halvark/TarsinNDI/TarsinNDI.ini"

for run in $(seq "$runs"); do
    for scene in $scenes; do
        "$build/bench/sceneplayer" "$scene" >/dev/null 2>&1 &
        player=$!
        started+=("$player")
        sleep 2
        measure_recorder >"$folder/recorder"
        measure_program >"$folder/program"
        stop "$player"
        line=$scene,$(cat "$folder/recorder"),$(cat "$folder/program")
        echo "$line" >>"$folder/all"
        echo "run $run: $line" >&2
    done
done

print_medians wf_recorder "$folder/all"
