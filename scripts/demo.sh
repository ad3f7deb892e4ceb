#!/usr/bin/env bash
# An end-to-end demo without a display: shows a moving test pattern on a virtual screen, starts the
# program there, clicks its start button, finds the source through mDNS and receives it. Everything
# runs in a private network. Saves the last received frame.
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

echo "Showing a moving test pattern on the virtual screen $DISPLAY"
"$build/demo/showpattern" --moving 30 >"$folder/showpattern.log" 2>&1 &
started+=($!)

echo "Starting the program on that screen and pressing Start"
"$build/bin/tarsinndi" >"$folder/program.log" 2>&1 &
program=$!
started+=("$program")
"$here/press.sh" "$build" "$program" start || {
    cat "$folder/program.log" >&2
    exit 1
}

echo "Receiving \"$source_name\", found through mDNS"
if ! "$build/bin/ndimonitor" "$source_name" --seconds 5 --save "$image"; then
    echo "No frame was received. The log of the program:" >&2
    cat "$folder/program.log" >&2
    exit 1
fi
echo "The last received frame: $(realpath "$image")"
