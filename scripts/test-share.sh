#!/usr/bin/env bash
# Prints the lines of C++ per folder, without blank lines and comments, and the share of tests/.
# usage: test-share.sh
set -euo pipefail
cd "$(dirname "$0")/.."

# Counts the code lines of all C++ files in a folder. Knows // and /* */ comments that begin a line.
count() {
    git ls-files -z -- "$1/*.cpp" "$1/*.h" "$1/*.c" | xargs -0 -r cat | awk '
        inside { if (/\*\//) inside = 0; next }
        /^[ \t]*$/ || /^[ \t]*\/\// { next }
        /^[ \t]*\/\*/ { inside = !/\*\//; next }
        { lines++ }
        END { print lines + 0 }'
}

total=0
for folder in src tests bench demo; do
    lines=$(count "$folder")
    printf '%-6s %6d\n' "$folder" "$lines"
    total=$((total + lines))
    [ "$folder" != tests ] || tests=$lines
done
awk -v tests="$tests" -v total="$total" 'BEGIN {
    printf "tests are %.1f %% of %d lines\n", 100 * tests / total, total }'
