#!/usr/bin/env bash
# Builds the Windows program on Debian, from the libraries up: build/windows/bin.
# The first run takes about half an hour, most of it Qt, which later runs find in its cache.
# usage: ./build-windows.sh [--package] [--test]
#   --package   also makes the installer and the portable archive: build/windows/package
#   --test      also runs it under Wine, installer included; see docs/WINDOWS.md
set -euo pipefail
cd "$(dirname "$0")"
package=no
test=no
for option in "$@"; do
    case $option in
        --package) package=yes ;;
        --test) package=yes test=yes ;;
        *) sed -n '2,7p' "$0" >&2; exit 2 ;;
    esac
done

scripts/install-packages.sh build windows
scripts/windows/libraries.sh
cmake --preset windows -DTARSIN_TESTS=$([ $test = yes ] && echo ON || echo OFF)
cmake --build --preset windows
[ $package = no ] || packaging/windows/package.sh build/windows
[ $test = no ] || {
    # The receiver of the test is the Linux one.
    scripts/install-packages.sh build run test windows
    cmake --preset release
    cmake --build --preset release --target ndimonitor
    ctest --preset windows
}
