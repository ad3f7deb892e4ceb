#!/usr/bin/env bash
# CPU time of the whole program per frame interval of 1/30 s, against FFmpeg grabbing and encoding the
# same screen: 1920x1080 at 30 fps, four scenes, one measurement after the other. Prints CSV, the
# medians of all runs; bench/chart.sh draws it. Idle machine, please: FFmpeg's times vary with load.
# usage: whole-program.sh [--runs N] [--seconds N] [--build FOLDER] [--scenes "full scroll caret nothing"]
#                         [--baseline FOLDER]
#   --runs      default 5          --seconds    per measurement, default 10
#   --build     default build/release; needs the targets tarsinndi, ndimonitor, sceneplayer and
#               controlplaces, and ffmpeg
#   --baseline  another build, measured in the same runs: adds two columns
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)

if [ "${1:-}" != --inside ]; then
    command -v ffmpeg >/dev/null || { echo "whole-program.sh: ffmpeg is not installed" >&2; exit 1; }
    exec "$here/../scripts/private-network.sh" "$here/../scripts/with-display.sh" --wm \
        --size 1920x1080 "$0" --inside "$@"
fi
shift
runs=5 seconds=10 build=$here/../build/release baseline= scenes="full scroll caret nothing"
while [ $# -gt 0 ]; do
    case "$1" in
        --runs) runs=$2 ;;
        --seconds) seconds=$2 ;;
        --build) build=$2 ;;
        --baseline) baseline=$2 ;;
        --scenes) scenes=$2 ;;
        *) echo "whole-program.sh: unknown option $1" >&2; exit 2 ;;
    esac
    shift 2
done

. "$here/../scripts/started.sh"
. "$here/cputime.sh"

measure_ffmpeg() {
    ffmpeg -loglevel error -f x11grab -framerate 30 -video_size 1920x1080 -draw_mouse 0 \
        -i "$DISPLAY" -pix_fmt yuv422p -c:v speedhq -f rawvideo -y /dev/null </dev/null &
    local ffmpeg=$!
    started+=("$ffmpeg")
    sleep 1
    measure "$ffmpeg"
    stop "$ffmpeg"
}

# With a receiver, then without: "1.2345,0.1234".
measure_program() {
    "$1/bin/tarsinndi" >/dev/null 2>&1 &
    local program=$!
    started+=("$program")
    "$here/../scripts/press.sh" "$build" "$program" start >&2
    sleep 2
    local alone
    alone=$(measure "$program")
    "$build/bin/ndimonitor" --address 127.0.0.1:5961 --no-decode >/dev/null 2>&1 &
    local monitor=$!
    started+=("$monitor")
    sleep 3  # By now a still frame has reached its final quality.
    printf '%s,%s' "$(measure "$program")" "$alone"
    stop "$monitor" "$program"
}

export XDG_DATA_HOME=$folder/data XDG_RUNTIME_DIR=$folder
mkdir -p "$XDG_DATA_HOME/Halvark/TarsinNDI"
printf '[SystemSet]\nname=Bench\n' >"$XDG_DATA_HOME/Halvark/TarsinNDI/TarsinNDI.ini"

for run in $(seq "$runs"); do
    for scene in $scenes; do
        "$build/bench/sceneplayer" "$scene" >/dev/null 2>&1 &
        player=$!
        started+=("$player")
        sleep 1
        measure_ffmpeg >"$folder/ffmpeg"
        measure_program "$build" >"$folder/program"
        if [ -n "$baseline" ]; then
            measure_program "$baseline" >"$folder/baseline"
        fi
        stop "$player"
        line=$scene,$(cat "$folder/ffmpeg"),$(cat "$folder/program")
        [ -z "$baseline" ] || line+=,$(cat "$folder/baseline")
        echo "$line" >>"$folder/all"
        echo "run $run: $line" >&2
    done
done

print_medians ffmpeg "$folder/all" ${baseline:+baseline}
