#!/usr/bin/env bash
# Installs into a folder, moves that folder, and sends a screen with the programs in it.
# usage: moved-tree.sh BUILD-FOLDER
set -euo pipefail
scripts=$(cd "$(dirname "$0")/../../scripts" && pwd)
if [ "${1:-}" != --inside ]; then
    exec "$scripts/private-network.sh" "$scripts/with-display.sh" --wm "$0" --inside "$@"
fi
build=$2
. "$scripts/started.sh"
fail() { echo "moved-tree.sh: $1" >&2; cat "$folder/log" >&2; exit 1; }

touch "$folder/log"
cmake --install "$build" --prefix "$folder/staged" >/dev/null
mkdir "$folder/other place"
mv "$folder/staged" "$folder/other place/moved"
PATH="$folder/other place/moved/bin:$PATH"
[ "$(command -v tarsinndi)" = "$folder/other place/moved/bin/tarsinndi" ] || fail "bin/ has no tarsinndi"

export XDG_DATA_HOME=$folder/data XDG_RUNTIME_DIR=$folder
mkdir -p "$XDG_DATA_HOME/Halvark/TarsinNDI"
printf '[SystemSet]\nname=Moved\n' >"$XDG_DATA_HOME/Halvark/TarsinNDI/TarsinNDI.ini"
tarsinndi >"$folder/log" 2>&1 &
program=$!
started+=("$program")
"$scripts/press.sh" "$build" "$program" start || fail "the start button was not pressed"
ndimonitor Moved --frames 3 --save "$folder/image.png" || fail "nothing was received"
if grep "language file" "$folder/log"; then fail "the language files were not found"; fi
# The menu entry finds the window by this class.
class=$(sed -n 's/^StartupWMClass=//p' "$folder/other place/moved/share/applications/tarsinndi.desktop")
xdotool search --onlyvisible --class "^$class\$" >/dev/null || fail "no window has the class \"$class\""
# The icon of the window, the one other thing that is looked for beside the program.
xprop -id "$(xdotool search --onlyvisible --pid "$program" | tail -n 1)" _NET_WM_ICON >"$folder/icon"
grep -q Icon "$folder/icon" || fail "the images were not found"

# ndimonitor finds the module for Wayland sessions beside the program.
ndimonitor --doctor --wait 1 >"$folder/doctor" || { cat "$folder/doctor"; fail "--doctor found a problem"; }
grep -q "capture: X11 session" "$folder/doctor" || fail "--doctor did not ask the X server"
env TARSIN_CAPTURE=wayland DBUS_SESSION_BUS_ADDRESS= ndimonitor --doctor --wait 1 >"$folder/doctor" &&
    fail "--doctor found a session bus"
grep -q "PipeWire (library [0-9.]*): no daemon" "$folder/doctor" ||
    { cat "$folder/doctor"; fail "--doctor did not load the Wayland module"; }
