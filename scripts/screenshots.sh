#!/usr/bin/env bash
# Takes screenshots of the window in every language and state, and of the overlay, on a virtual
# screen.
# usage: screenshots.sh FOLDER [BUILD-FOLDER]
# Prefixes: none: no compositor; "composed-": with one; "x1.5-", "x2-": Qt's scale factor.
set -euo pipefail
here=$(cd "$(dirname "$0")/.." && pwd)
folder=$(realpath -m "$1")
tour=${2:-$here/build/release}/tests/gui/windowtour

# A patterned desktop makes translucency visible.
display() { "$here/scripts/with-display.sh" --size "$1" --wm bash -c '
    xsetroot -mod 16 16 -fg "#4a6a8a" -bg "#2a4a6a"; "$@"' _ "${@:2}"; }

display 1280x720 "$tour" "$folder" ""
display 1280x720 bash -c 'xcompmgr & compositor=$!; sleep 0.5; "$@"; code=$?; kill $compositor; exit $code' _ \
    "$tour" "$folder" "composed-"
for factor in 1.5 2; do
    display 2560x1440 env QT_SCALE_FACTOR=$factor "$tour" "$folder" "x$factor-"
done
# Those of the README: docs/images/window.png and overlay.png.
convert "$folder/status-3-receivers-en.png" -crop 638x260+40+60 +repage -strip "$folder/readme-window.png"
convert "$folder/composed-overlay-drawing.png" -crop 960x560+0+0 +repage -strip "$folder/readme-overlay.png"
ls "$folder"
