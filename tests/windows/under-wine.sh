#!/usr/bin/env bash
# Builds the Windows program with its libraries and runs it and its tests under Wine. Ends with 77,
# which ctest counts as skipped, where the cross-compiler or Wine is not installed, or where
# libraries are to be built and the machine's Debian mirror gives no sources.
# usage: under-wine.sh LINUX-BUILD-FOLDER
set -euo pipefail
top=$(cd "$(dirname "$0")/../.." && pwd)
for tool in x86_64-w64-mingw32-g++-posix wine; do
    command -v $tool >/dev/null || {
        echo "skipped: $tool is not installed (scripts/install-packages.sh windows)"
        exit 77
    }
done
missing=$("$top/scripts/windows/libraries.sh" --missing)
if [ -n "$missing" ]; then
    folder=$(mktemp -d)
    trap 'rm -rf "$folder"' EXIT
    # The smallest of them.
    "$top/scripts/windows/fetch-source.sh" libpugixml-dev "$folder" || {
        echo "skipped: ${missing//$'\n'/, } would have to be built; no sources can be had here"
        exit 77
    }
fi
"$top/build-windows.sh" --test --linux-build "$1"
