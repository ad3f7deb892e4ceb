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
ctest --preset "$preset" "$@"
