#!/usr/bin/env bash
# Draws the PNG files of the program anew from the SVG files beside this script.
# Needs rsvg-convert (packages.list, kind art: scripts/install-packages.sh art).
set -euo pipefail
cd "$(dirname "$0")"
beside=../../../beside/configImage

for source in [a-z]*.svg; do
    rsvg-convert "$source" -o "../${source%.svg}.png"
done
rsvg-convert NDI_ICON.svg -o "$beside/NDI_ICON.png"
rsvg-convert -z 2 NDI_ICON.svg -o "$beside/NDI_ICON@2x.png"
rsvg-convert WINDOW_ICON.svg -o "$beside/WINDOW_ICON.png"
