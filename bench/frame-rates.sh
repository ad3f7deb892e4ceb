#!/usr/bin/env bash
# What exactFrameRate announces and what arrives at a receiver on loopback while the screen changes
# all the time. Prints a Markdown table. Idle machine, please: a core has to be free.
# usage: frame-rates.sh [--seconds N] [--build FOLDER] [--scene caret|scroll|full] [--rates "5 59.94"]
#                       [--sizes "1920x1080 3840x2160"] [--ffmpeg]
#   --seconds   per row, default 60
#   --build     default build/release; needs the targets tarsinndi, ndimonitor, sceneplayer and
#               controlplaces
#   --scene     default caret, which costs little at any size: the rates are measured, not the codec
#   --rates     for the first size, default "5 10 24 25 30 48 50 59.94 60"; the others get 60
#   --ffmpeg    the capture path through FFmpeg instead of the default one
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)

seconds=60 build=$here/../build/release scene=caret rates="5 10 24 25 30 48 50 59.94 60"
sizes="1920x1080 3840x2160" ffmpeg=0 inside=
while [ $# -gt 0 ]; do
    case "$1" in
        --seconds) seconds=$2; shift ;;
        --build) build=$2; shift ;;
        --scene) scene=$2; shift ;;
        --rates) rates=$2; shift ;;
        --sizes) sizes=$2; shift ;;
        --ffmpeg) ffmpeg=1 ;;
        --inside) inside=yes ;;
        *) echo "frame-rates.sh: unknown option $1" >&2; exit 2 ;;
    esac
    shift
done

if [ -z "$inside" ]; then
    echo "| screen | chosen | announced | arrives | difference | jitter | late or lost |"
    echo "|---|---|---|---|---|---|---|"
    for size in $sizes; do
        more=()
        [ "$ffmpeg" = 0 ] || more=(--ffmpeg)
        "$here/../scripts/private-network.sh" "$here/../scripts/with-display.sh" --wm --size "$size" \
            "$0" --inside --seconds "$seconds" --build "$build" --scene "$scene" --sizes "$size" \
            --rates "$rates" "${more[@]}"
        rates=60
    done
    exit
fi

. "$here/../scripts/started.sh"
export XDG_DATA_HOME=$folder/data XDG_RUNTIME_DIR=$folder
mkdir -p "$XDG_DATA_HOME/Halvark/TarsinNDI"

# The value of a key of ndimonitor's report.
value() { sed -n "s/.*\"$1\":\([^,}]*\).*/\1/p" "$folder/report"; }

# More changes than any rate sends.
"$build/bench/sceneplayer" "$scene" 120 >/dev/null 2>&1 &
started+=($!)
for rate in $rates; do
    case "$rate" in
        *.*) chosen=$(printf '%.0f' "$rate") exact=ntsc ;;
        *) chosen=$rate exact=1 ;;
    esac
    printf '[SystemSet]\nname=Bench\nframeRate=%s\nexactFrameRate=%s\nforceUseOldCapture=%s\n' \
        "$chosen" "$exact" "$ffmpeg" >"$XDG_DATA_HOME/Halvark/TarsinNDI/TarsinNDI.ini"
    "$build/bin/tarsinndi" >/dev/null 2>&1 &
    program=$!
    started+=("$program")
    "$here/../scripts/press.sh" "$build" "$program" start >&2
    sleep 2
    "$build/bin/ndimonitor" --address 127.0.0.1:5961 --no-decode --seconds "$seconds" --json \
        >"$folder/report"
    stop "$program"
    awk -v size="$sizes" -v chosen="$rate" -v announced="$(value announced_rate)" \
        -v rate="$(value rate)" -v jitter="$(value interval_deviation_ms)" \
        -v late="$(value late_or_lost)" 'BEGIN {
            printf "| %s | %s | %.2f | %.3f | %+.3f %% | %.2f ms | %s |\n", size, chosen, announced,
                rate, (rate / announced - 1) * 100, jitter, late
        }'
done
