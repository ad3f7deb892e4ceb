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
tests=OFF
for option in "$@"; do
    case $option in
        --package) package=yes ;;
        --test) package=yes test=yes tests=ON ;;
        *) sed -n '2,7p' "$0" >&2; exit 2 ;;
    esac
done

scripts/install-packages.sh build windows
scripts/windows/libraries.sh
cmake --preset windows -DTARSIN_TESTS=$tests
cmake --build --preset windows
[ $package = no ] || packaging/windows/package.sh build/windows
[ $test = no ] || {
    # The receiver of the test and the picture on its screen are the Linux ones.
    scripts/install-packages.sh build run test windows
    cmake --preset release
    cmake --build --preset release --target ndimonitor testpicture
    ctest --preset windows
}
