#!/usr/bin/env bash
# Everything that shows how the built-in NDI output behaves under load, faults and hostile input, in
# networks of its own. docs/RELIABILITY.md says what is looked at.
# usage: reliability.sh [--long] [--soak MINUTES] [--sanitizers] [--preset PRESET]
#   --long         the long forms: about 10 minutes, with sanitizers half an hour more
#   --soak         then a soak of that many minutes (2 or more)
#   --sanitizers   then all but the soak again, with AddressSanitizer and with ThreadSanitizer
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
# The sender and the receivers go before what else this machine does, where that is allowed: on a
# network each of them had a machine of its own.
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
