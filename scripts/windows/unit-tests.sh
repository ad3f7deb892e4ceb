#!/usr/bin/env bash
# Builds the engine for Windows (everything that needs no Qt) and runs its unit tests under Wine,
# desktop duplication included: a few minutes, where the whole Windows program takes twenty.
# Ends with 77, which ctest counts as skipped, where the cross-compiler or Wine is not installed.
# usage: unit-tests.sh [CTEST-ARGUMENT...]
set -euo pipefail
cd "$(dirname "$0")/../.."
for tool in x86_64-w64-mingw32-g++-posix wine; do
    command -v $tool >/dev/null || {
        echo "skipped: $tool is not installed (scripts/install-packages.sh windows)"
        exit 77
    }
done
scripts/windows/libraries.sh headers googletest pugixml
cmake --preset windows-engine
cmake --build --preset windows-engine
ctest --preset windows-engine "$@"
