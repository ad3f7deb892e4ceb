#!/usr/bin/env bash
# Installs what is missing, builds, and runs every test.
# usage: ./test.sh [PRESET [CTEST-ARGUMENT...]]     presets: release (default), debug, asan, tsan
set -euo pipefail
cd "$(dirname "$0")"
preset=${1:-release}
shift || true
scripts/install-packages.sh build run test package
cmake --preset "$preset" -DTARSIN_TESTS=ON -DTARSIN_BENCH=ON
cmake --build --preset "$preset"
# The test of the Windows program comes last. What it needs is compiled meanwhile, on what the other
# tests leave of the processors; it waits for that, and shows what goes wrong.
if [ "$preset" = release ] && [ $# = 0 ] && command -v x86_64-w64-mingw32-g++-posix >/dev/null; then
    set -m  # A process group of its own, to be ended as a whole.
    chrt --idle 0 ./build-windows.sh --build-tests --linux-build "$PWD/build/release" \
        >build/windows.log 2>&1 </dev/null &
    trap 'kill -- -$! 2>/dev/null || true' EXIT
    set +m
fi
ctest --preset "$preset" "$@"
