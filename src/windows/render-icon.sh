#!/usr/bin/env bash
# Renders the program's icon from the window's SVG, in the sizes that Windows shows.
# Needs rsvg-convert and ImageMagick (packages.list, kinds art and test).
set -euo pipefail
cd "$(dirname "$0")"
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
for size in 16 24 32 48 64 256; do
    rsvg-convert -w $size -h $size ../../Resources/image/src/WINDOW_ICON.svg -o "$folder/$size.png"
done
convert "$folder"/{16,24,32,48,64,256}.png tarsinndi.ico
