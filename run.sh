#!/usr/bin/env bash
# Installs what is missing, builds, and starts the program on your display. Without a display it
# shows what the program does instead: see scripts/demo.sh.
set -euo pipefail
cd "$(dirname "$0")"
scripts/install-packages.sh build run
cmake --preset release -DTARSIN_TESTS=OFF -DTARSIN_BENCH=OFF
cmake --build --preset release
if [ -n "${DISPLAY:-}" ] || [ -n "${WAYLAND_DISPLAY:-}" ]; then
    exec build/release/bin/tarsinndi
fi
exec scripts/demo.sh build/release received.png
