#!/usr/bin/env bash
# Builds the Windows program with its libraries and runs it and its tests under Wine. Ends with 77,
# which ctest counts as skipped, where the cross-compiler or Wine is not installed.
# usage: under-wine.sh LINUX-BUILD-FOLDER
set -euo pipefail
for tool in x86_64-w64-mingw32-g++-posix wine; do
    command -v $tool >/dev/null || {
        echo "skipped: $tool is not installed (scripts/install-packages.sh windows)"
        exit 77
    }
done
exec "$(dirname "$0")/../../build-windows.sh" --test --linux-build "$1"
