#!/usr/bin/env bash
# Makes what is delivered, in dist/: the Debian package, the source archive, where the cross-compiler and its
# libraries are also the Windows installer and archive, and SHA256SUMS. Packs the last commit; two runs give
# the same Debian package, byte for byte.
# usage: ./package.sh [--linux-only]
set -euo pipefail
cd "$(dirname "$0")"
[ "${1:-}" = --linux-only ] && windows=no || windows=yes
scripts/install-packages.sh build package
[ -z "$(git status --porcelain)" ] || echo "package.sh: changes that are not committed are left out" >&2

SOURCE_DATE_EPOCH=$(git log -1 --format=%ct)
export SOURCE_DATE_EPOCH
# From scratch: the archive's files have the date of their commit, so a build would miss their changes.
rm -rf dist build/package
mkdir -p dist build/package/source
git archive HEAD | tar -x -C build/package/source

# Debian's own hardening flags; no path of this machine gets into the programs. ccache would make relative
# ones of them where CCACHE_BASEDIR is set.
unset CCACHE_BASEDIR
source=$PWD/build/package/source
flags() { DEB_BUILD_MAINT_OPTIONS=hardening=+all dpkg-buildflags --get "$1"; }
cmake -S "$source" -B build/package/linux -G Ninja -DCMAKE_BUILD_TYPE=Release -DTARSIN_TESTS=OFF -DTARSIN_BENCH=OFF \
    -DCMAKE_CXX_FLAGS="$(flags CPPFLAGS) $(flags CXXFLAGS) -g0 -ffile-prefix-map=$PWD=." \
    -DCMAKE_C_FLAGS="$(flags CPPFLAGS) $(flags CFLAGS) -g0 -ffile-prefix-map=$PWD=." \
    -DCMAKE_EXE_LINKER_FLAGS="$(flags LDFLAGS)" -DCMAKE_MODULE_LINKER_FLAGS="$(flags LDFLAGS)" \
    -DCMAKE_CXX_FLAGS_RELEASE="-O2 -DNDEBUG" -DCMAKE_C_FLAGS_RELEASE="-O2 -DNDEBUG"
cmake --build build/package/linux
"$source/packaging/linux/package.sh" build/package/linux dist

version=$(sed -n 's/^CMAKE_PROJECT_VERSION:STATIC=//p' build/package/linux/CMakeCache.txt)
git archive --prefix="tarsinndi-$version/" HEAD | xz -9 -T1 >"dist/tarsinndi-$version.tar.xz"

prefix=$(scripts/windows/prefix.sh)
if [ $windows = no ]; then
    echo "package.sh: Windows was not asked for"
elif ! command -v x86_64-w64-mingw32-g++-posix >/dev/null || ! command -v makensis >/dev/null ||
    [ ! -d "$prefix/lib" ]; then
    echo "package.sh: no Windows package: the cross-compiler, makensis or the libraries in $prefix are missing;" \
        "./build-windows.sh installs and builds them" >&2
else
    cmake --preset windows -S "$source" -B build/package/windows -DTARSIN_TESTS=OFF
    cmake --build build/package/windows
    "$source/packaging/windows/package.sh" build/package/windows
    cp build/package/windows/package/* dist
fi
(cd dist && sha256sum -- * >SHA256SUMS && cat SHA256SUMS)
