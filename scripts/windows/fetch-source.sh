#!/usr/bin/env bash
# Downloads a Debian source package, in the version of an installed binary package if the mirror
# still has that one.
# usage: fetch-source.sh BINARY-PACKAGE FOLDER [--unpack]
#   --unpack   also unpacks it, with Debian's patches
# The machine's own mirrors are used; its list of sources is not touched.
set -euo pipefail
binary=$1
folder=$2
download=(--download-only)
[ "${3:-}" = --unpack ] && download=()

name=$(dpkg-query -W -f='${source:Package}' "$binary")
version=$(dpkg-query -W -f='${source:Version}' "$binary")

# A source line for every Debian binary line the machine has, in lists of our own.
apt=$folder/apt
mkdir -p "$apt/lists/partial" "$folder"
apt-get indextargets --format '$(ORIGIN) deb-src $(REPO_URI) $(RELEASE) $(COMPONENT)' \
    'Created-By: Packages' | sed -n 's/^Debian deb-src/deb-src/p' | sort -u >"$apt/sources.list"
[ -s "$apt/sources.list" ] || {
    echo "fetch-source.sh: apt knows no Debian mirror; run apt-get update first" >&2
    exit 1
}
options=(-q -o "Dir::Etc::SourceList=$apt/sources.list" -o Dir::Etc::SourceParts=/dev/null
    -o "Dir::State::Lists=$apt/lists" -o APT::Sandbox::User=root)
[ -n "$(find "$apt/lists" -maxdepth 1 -name '*_Sources*' -mmin -60 -print -quit)" ] ||
    apt-get "${options[@]}" update

cd "$folder"
apt-get "${options[@]}" source "${download[@]}" "$name=$version" || {
    echo "fetch-source.sh: the mirror does not have $name in version $version, which is installed" >&2
    echo "here; its latest version is taken." >&2
    apt-get "${options[@]}" source "${download[@]}" "$name"
}
