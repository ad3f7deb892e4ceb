#!/usr/bin/env bash
# The whole road without a display: a virtual screen with a moving test pattern, the program on it
# with its start button really pressed, and a receiver that finds the source through mDNS. All of it
# inside a private network. Ends with the image that was received.
# usage: demo.sh BUILD-FOLDER IMAGE.png
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)

if [ "${1:-}" != --inside ]; then
    exec "$here/private-network.sh" --avahi "$here/with-display.sh" --wm "$0" --inside "$@"
fi
build=$2
image=$3
source_name=Demo

. "$here/started.sh"

export XDG_DATA_HOME=$folder/data XDG_RUNTIME_DIR=$folder
mkdir -p "$XDG_DATA_HOME/Halvark/TarsinNDI"
printf '[SystemSet]\nname=%s\n' "$source_name" >"$XDG_DATA_HOME/Halvark/TarsinNDI/TarsinNDI.ini"

echo "A moving test pattern on the virtual screen $DISPLAY"
"$build/demo/showpattern" --moving 30 >"$folder/showpattern.log" 2>&1 &
started+=($!)

echo "The program on that screen"
"$build/bin/tarsinndi" >"$folder/program.log" 2>&1 &
program=$!
started+=("$program")
"$here/press.sh" "$build" "$program" start || {
    cat "$folder/program.log" >&2
    exit 1
}

echo "A receiver that looks for \"$source_name\" on the network"
if ! "$build/bin/ndimonitor" "$source_name" --seconds 5 --save "$image"; then
    echo "The image did not arrive. The program's log:" >&2
    cat "$folder/program.log" >&2
    exit 1
fi
echo "The last image: $(realpath "$image")"
