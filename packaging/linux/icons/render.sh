#!/usr/bin/env bash
# Draws the icon's PNG files anew: the large ones from the window icon, the small ones from a simpler drawing.
# Needs rsvg-convert (packages.list, kind art: scripts/install-packages.sh art).
set -euo pipefail
cd "$(dirname "$0")"
for size in 16 22 24; do
    rsvg-convert -w $size -h $size tarsinndi-small.svg -o $size.png
done
for size in 32 48 64 128 256 512; do
    rsvg-convert -w $size -h $size ../../../Resources/image/src/WINDOW_ICON.svg -o $size.png
done
