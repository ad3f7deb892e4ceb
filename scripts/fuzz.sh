#!/usr/bin/env bash
# Fuzzes every parser for SECONDS with libFuzzer, AddressSanitizer and UndefinedBehaviorSanitizer and
# prints one line per parser. Inputs that reach new code are kept in build/fuzz/found/NAME for the
# next run; the input of a crash is saved in build/fuzz/crashes.
# usage: fuzz.sh [--minimise] [SECONDS [NAME...]]     default: 60 seconds, all parsers
#   --minimise   afterwards, merge the new inputs into tests/fuzz/corpus, minimised
set -euo pipefail
cd "$(dirname "$0")/.."
minimise=no
if [ "${1:-}" = --minimise ]; then
    minimise=yes
    shift
fi
seconds=${1:-60}
shift || true
names=("$@")
if [ ${#names[@]} -eq 0 ]; then
    for folder in tests/fuzz/corpus/*/; do names+=("$(basename "$folder")"); done
fi

scripts/install-packages.sh build test fuzz
CC=clang CXX=clang++ cmake --preset asan -B build/fuzz -DTARSIN_BENCH=OFF >build/fuzz-configure.log ||
    { cat build/fuzz-configure.log >&2; exit 1; }
cmake --build build/fuzz --target "${names[@]/#/fuzz_}"

mkdir -p build/fuzz/crashes
failed=()
for name in "${names[@]}"; do
    found=build/fuzz/found/$name
    log=build/fuzz/$name.log
    mkdir -p "$found"
    # More than 5 seconds or half a GiB for 64 KiB of input is also a finding.
    if build/fuzz/tests/fuzz_"$name" -max_total_time="$seconds" -max_len=65536 -timeout=5 \
        -rss_limit_mb=1024 -malloc_limit_mb=512 -print_final_stats=1 \
        -artifact_prefix=build/fuzz/crashes/"$name"- "$found" "tests/fuzz/corpus/$name" \
        >"$log" 2>&1; then
        runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log")
        covered=$(sed -n 's/.* cov: \([0-9]*\) .*/\1/p' "$log" | tail -n 1)
        echo "$name: $runs inputs in $seconds s, $covered edges covered, no findings"
    else
        tail -n 40 "$log" >&2
        failed+=("$name")
        continue
    fi
    if [ $minimise = yes ]; then
        merged=$(mktemp -d)
        build/fuzz/tests/fuzz_"$name" -merge=1 -max_len=1024 "$merged" "tests/fuzz/corpus/$name" \
            "$found" >>"$log" 2>&1
        cp -n "$merged"/* "tests/fuzz/corpus/$name/"
        rm -rf "$merged"
    fi
done
[ ${#failed[@]} -eq 0 ] || { echo "Findings in: ${failed[*]}" >&2; exit 1; }
