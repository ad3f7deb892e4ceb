#!/usr/bin/env bash
# Tests the built-in NDI output under load, faults and hostile input, in private networks.
# docs/RELIABILITY.md describes the tests.
# usage: reliability.sh [--long] [--soak MINUTES] [--sanitizers] [--preset PRESET]
#   --long         long versions: about 10 minutes, with sanitizers another 30
#   --soak         then a soak test of that many minutes (2 or more)
#   --sanitizers   then all except the soak test with AddressSanitizer and ThreadSanitizer
set -euo pipefail
cd "$(dirname "$0")/.."
preset=release
soak=
sanitizers=no
while [ $# -gt 0 ]; do
    case "$1" in
        --long) export RELIABILITY_LONG=1 ;;
        --soak) soak=$2; shift ;;
        --sanitizers) sanitizers=yes ;;
        --preset) preset=$2; shift ;;
        *) sed -n '2,8s/^# //p' "$0" >&2; exit 2 ;;
    esac
    shift
done

build() {
    cmake --preset "$1" -DTARSIN_TESTS=ON >/dev/null
    cmake --build --preset "$1" --target reliability_discovery_test reliability_hostile_test \
        reliability_network_test reliability_soak_test reliability_logfiles_test
}
# Sender and receivers get real-time or high priority where that is allowed: in production each runs
# on its own machine.
first=(nice -n -20)
! chrt -f 1 true 2>/dev/null || first=(chrt -f 1)
run() { # PRESET TEST
    "${first[@]}" scripts/private-network.sh "build/$1/tests/reliability_$2_test"
}

# As the test preset tsan has it.
export TSAN_OPTIONS="ignore_noninstrumented_modules=1 suppressions=$PWD/tests/support/tsan-suppressions.txt"
scripts/install-packages.sh build test
failed=()
build "$preset"
for test in hostile network discovery; do run "$preset" $test || failed+=("$test"); done
"build/$preset/tests/reliability_logfiles_test" || failed+=(logfiles)
if [ -n "$soak" ]; then
    RELIABILITY_SOAK_MINUTES=$soak run "$preset" soak || failed+=(soak)
fi
if [ $sanitizers = yes ]; then
    for sanitizer in asan tsan; do
        build $sanitizer
        for test in hostile network discovery; do
            run $sanitizer $test || failed+=("$test with $sanitizer")
        done
    done
fi
[ ${#failed[@]} -eq 0 ] || { printf 'failed: %s\n' "${failed[@]}" >&2; exit 1; }
