#!/usr/bin/env bash
# Packs this build and runs Debian's and the desktop's own checkers over it. They look nothing up elsewhere.
# usage: lint.sh BUILD-FOLDER
set -euo pipefail
here=$(cd "$(dirname "$0")/../.." && pwd)
build=$1
. "$here/scripts/started.sh"
failed=no

package=$("$here/packaging/linux/package.sh" "$build" "$folder")
lintian --no-cfg --allow-root --fail-on error,warning --tag-display-limit 0 "$package" || failed=yes
dpkg-deb -x "$package" "$folder/root"
share=$folder/root/usr/share
desktop-file-validate "$share/applications/tarsinndi.desktop" >"$folder/desktop" || failed=yes
if [ -s "$folder/desktop" ]; then cat "$folder/desktop"; failed=yes; fi
appstreamcli validate --no-net --strict "$share"/metainfo/*.metainfo.xml || failed=yes
appstreamcli validate-tree --no-net "$folder/root/usr" || failed=yes
xmllint --noout "$folder/root/usr/lib/firewalld/services/tarsinndi.xml" || failed=yes

# The same build gives the same bytes.
mkdir "$folder/again"
cmp "$package" "$("$here/packaging/linux/package.sh" "$build" "$folder/again")" || failed=yes
[ $failed = no ]
