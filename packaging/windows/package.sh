#!/usr/bin/env bash
# Makes the installer and the portable archive of a finished Windows build.
# usage: package.sh BUILD-FOLDER     result: BUILD-FOLDER/package/TarsinNDI-VERSION-setup.exe, .zip
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
build=$(cd "$1" && pwd)
version=$(sed -n 's/^CMAKE_PROJECT_VERSION:STATIC=//p' "$build/CMakeCache.txt")
name=TarsinNDI-$version
folder=$build/package
rm -rf "$folder"
mkdir -p "$folder/$name"

# What is delivered: the programs without their debug symbols, and the files beside them.
for program in TarsinNDI ndisend ndimonitor; do
    x86_64-w64-mingw32-strip -o "$folder/$name/$program.exe" "$build/bin/$program.exe"
done
cp -r "$here/../../beside/." "$folder/$name"
cp "$here/../../LICENSE" "$folder/$name/LICENSE.txt"
cp "$here/THIRD-PARTY.txt" "$folder/$name"

(cd "$folder" && zip -q -r "$name.zip" "$name")
# The uninstaller's list: first the files, then the folders that they leave empty.
(cd "$folder/$name" &&
    find . -type f -printf 'Delete "$INSTDIR/%P"\n' &&
    find . -mindepth 1 -depth -type d -printf 'RMDir "$INSTDIR/%P"\n') |
    tr / '\\' >"$folder/deletions.nsh"
makensis -V2 -DVERSION="$version" -DFILES="$folder/$name" -DICON="$here/../../src/windows/tarsinndi.ico" \
    -DDELETIONS="$folder/deletions.nsh" -DRESULT="$folder/$name-setup.exe" "$here/installer.nsi"
rm -rf "${folder:?}/$name" "$folder/deletions.nsh"
ls -l "$folder"
