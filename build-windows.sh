#!/usr/bin/env bash
# Builds the Windows program on Debian, from the libraries up: build/windows/bin.
# The first run takes about twenty minutes, half of it Qt, which later runs find in its cache.
# Where an earlier run in the same checkout still builds, this one waits.
# usage: ./build-windows.sh [--package] [--build-tests] [--test] [--linux-build FOLDER]
#   --package       also makes the installer and the portable archive: build/windows/package
#   --build-tests   also builds the tests
#   --test          also runs it under Wine, installer included; see docs/WINDOWS.md
#   --linux-build   where the receiver of the test and the test pattern on its screen are built already;
#                   otherwise they are built in build/release
set -euo pipefail
cd "$(dirname "$0")"
package=no
test=no
tests=OFF
linux=
while [ $# -gt 0 ]; do
    case $1 in
        --package) package=yes ;;
        --build-tests) tests=ON ;;
        --test) package=yes test=yes tests=ON ;;
        --linux-build) linux=${2:?} && shift ;;
        *) sed -n '2,11p' "$0" >&2; exit 2 ;;
    esac
    shift
done

scripts/install-packages.sh build package windows
mkdir -p build
exec 9>build/windows.lock
flock 9
scripts/windows/libraries.sh
cmake --preset windows -DTARSIN_TESTS=$tests -DTARSIN_LINUX_BUILD="${linux:-$PWD/build/release}"
cmake --build --preset windows
[ $package = no ] || packaging/windows/package.sh build/windows
exec 9>&-  # Not for Wine's server, which outlives the tests.
[ $test = no ] || {
    scripts/install-packages.sh build run test package windows
    [ -n "$linux" ] || {
        cmake --preset release
        cmake --build --preset release --target ndimonitor showpattern
    }
    ctest --preset windows -j1
}
