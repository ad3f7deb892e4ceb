#!/usr/bin/env bash
# Makes the Debian package of a finished Linux build. The same build and SOURCE_DATE_EPOCH give the same bytes.
# usage: package.sh BUILD-FOLDER RESULT-FOLDER [VERSION]     result: tarsinndi_VERSION_ARCHITECTURE.deb
#   SOURCE_DATE_EPOCH      the date of every file in the package; by default that of the last commit
#   DEBFULLNAME, DEBEMAIL  whom the package names as its maintainer
set -euo pipefail
umask 022
here=$(cd "$(dirname "$0")" && pwd)
build=$(cd "$1" && pwd)
mkdir -p "$2"
result=$(cd "$2" && pwd)
version=${3:-$(sed -n 's/^CMAKE_PROJECT_VERSION:STATIC=//p' "$build/CMakeCache.txt")}
architecture=$(dpkg --print-architecture)
maintainer="${DEBFULLNAME:-The TarsinNDI developers} <${DEBEMAIL:-tarsinndi@halvark.example}>"
SOURCE_DATE_EPOCH=${SOURCE_DATE_EPOCH:-$(git -C "$here" log -1 --format=%ct 2>/dev/null || date +%s)}
export SOURCE_DATE_EPOCH

. "$here/../../scripts/started.sh"
root=$folder/debian/tarsinndi
own=$root/usr/lib/tarsinndi
mkdir -p "$root/DEBIAN"

cmake --install "$build" --prefix "$root/usr" --strip >/dev/null
strip --remove-section=.comment --remove-section=.note "$own/tarsinndi" "$own/ndisend" "$own/ndimonitor" \
    "$own/tarsin-wayland.so"
overlay=()
if [ -e "$own/tarsin-overlay" ]; then
    strip --remove-section=.comment --remove-section=.note "$own/tarsin-overlay"
    overlay=(-dSuggests -e"$own/tarsin-overlay")
fi
mv "$root/usr/etc" "$root/etc"
find "$root/usr/share/man" -name '*.1' -exec gzip -9n {} +
documents=$root/usr/share/doc/tarsinndi
rm "$documents/LICENSE"
install -m 644 "$here/debian/copyright" "$documents/copyright"
printf 'tarsinndi (%s) stable; urgency=medium\n\n  * Release %s.\n\n -- %s  %s\n' "$version" "$version" \
    "$maintainer" "$(LC_ALL=C date -u -R -d "@$SOURCE_DATE_EPOCH")" | gzip -9n >"$documents/changelog.gz"

# What the programs link is required; what the module for Wayland sessions links besides is recommended; what the
# overlay links besides, which Qt's own Wayland platform alone needs, is suggested.
printf 'Source: tarsinndi\n\nPackage: tarsinndi\nArchitecture: any\n' >"$folder/debian/control"
libraries=$(cd "$folder" && dpkg-shlibdeps -O -dDepends -e"$own/tarsinndi" -e"$own/ndisend" -e"$own/ndimonitor" \
    -dRecommends -e"$own/tarsin-wayland.so" "${overlay[@]}")
of() { sed -n "s/^shlibs:$1=//p" <<<"$libraries"; }

sed -e "s|@VERSION@|$version|; s|@ARCHITECTURE@|$architecture|; s|@MAINTAINER@|$maintainer|" \
    -e "s|@SIZE@|$(du -sk --apparent-size --exclude=DEBIAN "$root" | cut -f1)|" \
    -e "s/@DEPENDS@/$(of Depends)/; s/@RECOMMENDS@/$(of Recommends)/" \
    -e "s/@SUGGESTS@/${overlay:+, layer-shell-qt, $(of Suggests)}/" \
    "$here/debian/control.in" >"$root/DEBIAN/control"
install -m 755 "$here/debian/postrm" "$root/DEBIAN/postrm"
(cd "$root" && find etc -type f -printf '/%p\n' | sort) >"$root/DEBIAN/conffiles"
(cd "$root" && find usr -type f -print0 | sort -z | xargs -0 md5sum) >"$root/DEBIAN/md5sums"
find "$root" -exec touch --no-dereference --date "@$SOURCE_DATE_EPOCH" {} +
dpkg-deb --root-owner-group -Zxz --build "$root" "$result/tarsinndi_${version}_$architecture.deb" >/dev/null
echo "$result/tarsinndi_${version}_$architecture.deb"
