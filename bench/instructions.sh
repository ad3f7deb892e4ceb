#!/usr/bin/env bash
# Instructions per frame, counted by callgrind, so other work on the machine does not affect them.
# callgrind does not support AVX-512, so these are the AVX2 kernels.
# usage: instructions.sh [BUILD-FOLDER]     default: build/release
set -euo pipefail
cd "$(dirname "$0")/.."
program=${1:-build/release}/bench/instructions
frames=5
out=$(mktemp)
trap 'rm -f "$out"' EXIT

count() { # ENCODER SCENE: instructions per frame
    valgrind --tool=callgrind --callgrind-out-file=/dev/null --toggle-collect='bench::measured*' \
        "$program" "$1" "$2" "$frames" >"$out" 2>&1 || { cat "$out" >&2; exit 1; }
    awk -v n="$frames" '/Collected/ { printf "%d\n", $NF / n }' "$out"
}

printf '%-10s %15s %15s %9s\n' scene "libav" "ours" ratio
theirs=$(count libav full)
for scene in full caret scrolling nothing; do
    ours=$(count ours "$scene")
    printf '%-10s %15d %15d %9s\n' "$scene" "$theirs" "$ours" \
        "1/$(awk -v a="$theirs" -v b="$ours" 'BEGIN { printf "%.1f", a / b }')"
done
