#!/usr/bin/env bash
# Installs the Debian packages of packages.list that are missing.
# usage: install-packages.sh KIND...     kinds: those of packages.list
set -euo pipefail
here=$(cd "$(dirname "$0")/.." && pwd)

wanted=$(awk -v kinds="$*" '
    BEGIN { split(kinds, k, " "); for (i in k) want[k[i]] = 1 }
    /^[a-z]/ && want[$1] { print $2 }' "$here/packages.list")
missing=()
for package in $wanted; do
    status=$(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null || true)
    [ "$status" = installed ] || missing+=("$package")
done
[ ${#missing[@]} -gt 0 ] || exit 0

as_root=()
if [ "$(id -u)" -ne 0 ]; then
    command -v sudo >/dev/null || {
        echo "Missing packages, and neither root nor sudo to install them: ${missing[*]}" >&2
        exit 1
    }
    as_root=(sudo)
fi
echo "Installing: ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
"${as_root[@]}" apt-get update -q
"${as_root[@]}" apt-get install -y -q --no-install-recommends "${missing[@]}"
