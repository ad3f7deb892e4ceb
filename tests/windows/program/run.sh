#!/usr/bin/env bash
# The Windows program as its user meets it: installed silently, operated by real clicks and keys on
# a virtual screen, received by the Linux ndimonitor through multicast DNS, removed again.
# Pictures and logs stay in RESULT-FOLDER. Ends with 77 (skipped) where Wine is not installed.
# usage: run.sh SETUP.exe LINUX-BUILD-FOLDER RESULT-FOLDER
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
scripts=$here/../../../scripts

if [[ ${1:-} != --* ]]; then
    command -v wine >/dev/null || {
        echo "skipped: wine is not installed (scripts/install-packages.sh windows)"
        exit 77
    }
    exec "$scripts/private-network.sh" "$0" --network "$@"
fi
if [ "$1" = --network ]; then
    # Windows has no multicast DNS on its loopback: an adapter whose other end is in here, too.
    ip link add ndi0 type veth peer name ndi1
    ip address add 192.0.2.1/24 dev ndi0
    ip link set ndi0 up
    ip link set ndi1 up
    exec "$scripts/windows/with-wine.sh" "$0" --inside "${@:2}"
fi
setup=$2
linux=$3
result=$4
rm -rf "$result"
mkdir -p "$result"
step() { echo "== $*"; }
fail() {
    echo "FAILED: $*" >&2
    import -window root "$result/failure.png" || true
    [ ! -f "$log" ] || { echo "The program's log:"; cat "$log"; } >&2
    exit 1
}
# eventually SECONDS COMMAND...: repeats the command until it succeeds.
eventually() {
    local until=$((SECONDS + $1))
    while ! "${@:2}" >/dev/null 2>&1; do
        [ $SECONDS -lt $until ] || return 1
        sleep 0.2
    done
}

user=$WINEPREFIX/drive_c/users/$(id -un)
installed=$user/AppData/Local/Programs/TarsinNDI
data=$user/AppData/Roaming/Halvark
log=$data/TarsinNDI/log/TarsinNDI
rm -rf "$data" "$installed"
picture=
cleanup() { [ -z "$picture" ] || kill "$picture" 2>/dev/null || true; }
trap cleanup EXIT

step "The installer, silently"
wine "$setup" /S || fail "the installer ends with $?"
for file in TarsinNDI.exe ndimonitor.exe LanguageEN_Tools.xml configImage/NDI_ICON.png uninstall.exe; do
    [ -f "$installed/$file" ] || fail "$file was not installed"
done
[ -n "$(find "$user" -name TarsinNDI.lnk)" ] || fail "no entry in the start menu"

step "The program above a still test picture"
"$linux/demo/testpicture" >"$result/testpicture.log" 2>&1 &
picture=$!
mkdir -p "$data/TarsinNDI"
printf '[SystemSet]\nname=WineDemo\n' >"$data/TarsinNDI/TarsinNDI.ini"
wine "$installed/TarsinNDI.exe" >"$result/program.out" 2>&1 &
program=$!
window() { xdotool search --onlyvisible --class tarsinndi.exe | tail -n 1; }
eventually 60 test -n "$(eventually 60 window && window)" || fail "no window"
window=$(window)
eval "$(xdotool getwindowgeometry --shell "$window")"
[ "${WIDTH}x$HEIGHT" = 638x260 ] || fail "the window is ${WIDTH}x$HEIGHT instead of 638x260"
sleep 2
import -window root "$result/window.png"

# click X Y: on the window.   enter X Y TEXT: into a field there, ended by the tabulator.
click() {
    xdotool mousemove --window "$window" "$1" "$2"
    sleep 0.1
    xdotool click 1
    sleep 0.5
}
enter() {
    click "$1" "$2"
    xdotool key ctrl+a
    xdotool type "$3"
    xdotool key Tab
    sleep 0.5
}
# receive NAME OPTION...: as ndimonitor does, its result in the file NAME.out and NAME.png.
receive() {
    "$linux/bin/ndimonitor" "$source" --wait 15 --save "$result/$1.png" "${@:2}" \
        >"$result/$1.out" 2>&1
}
# The least likeness of what was received to this part of the screen, in decibels of luma.
resembles() {
    local psnr
    import -window root -crop "$2" +repage "$result/$1-screen.png"
    psnr=$(compare -metric PSNR -colorspace Gray "$result/$1.png" "$result/$1-screen.png" null: 2>&1) ||
        true
    echo "   $1: $psnr dB"
    awk -v psnr="${psnr%% *}" 'BEGIN { exit !(psnr == "inf" || psnr >= 38) }' ||
        fail "$1.png resembles the screen with $psnr dB only"
}
size_of() { identify -format '%wx%h' "$1"; }
logged() { grep -qF -- "$1" "$log" || fail "the log lacks: $1"; }
source=WineDemo

step "Start: duplication is tried, the old mode serves, a hundred pictures arrive"
click 205 200
xdotool mousemove 1279 719
receive whole --frames 100 || fail "nothing was received: $(cat "$result/whole.out")"
logged "initParmeter x 0 y 0 w 1280 h 720 framerate 30 outputName \\\\.\\DISPLAY1"
logged "DX screenshot failed, switch to the old ffmpeg screenshot mode."
logged "DeviceId is "
[ "$(size_of "$result/whole.png")" = 1280x720 ] || fail "received $(size_of "$result/whole.png")"
resembles whole 1280x720+0+0

step "A region by the spin boxes"
enter 414 164 640
enter 540 164 320
enter 414 203 512
enter 540 203 288
xdotool mousemove 1279 719
receive region --frames 20 || fail "no region: $(cat "$result/region.out")"
[ "$(size_of "$result/region.png")" = 512x288 ] || fail "received $(size_of "$result/region.png")"
resembles region 512x288+640+320

step "Pause, continue, reset"
click 205 200
receive paused --seconds 4 || true
# A receiver that comes now is still given the last picture, about once a second.
grep -qE ' [0-3]\.[0-9]+ a second' "$result/paused.out" || fail "not paused: $(cat "$result/paused.out")"
click 205 200
receive continued --frames 20 || fail "not continued: $(cat "$result/continued.out")"
click 270 200
click 205 200
receive reset --frames 20 || fail "nothing after the reset: $(cat "$result/reset.out")"
[ "$(size_of "$result/reset.png")" = 1280x720 ] || fail "the reset kept $(size_of "$result/reset.png")"

step "Another name"
enter 180 97 Renamed
click 270 200
click 205 200
source=Renamed
receive renamed --frames 20 || fail "not under its new name: $(cat "$result/renamed.out")"
grep -q '^name=Renamed' "$data/TarsinNDI/TarsinNDI.ini" || fail "the name was not kept"

step "Close: the banner ends the log"
click 610 22
eventually 20 bash -c "! kill -0 $program" || fail "the program does not end"
wait "$program" || fail "the program ends with $?"
tail -n 6 "$log" | grep -qF "#                    STOP                         #" ||
    fail "the log does not end with the banner"
cp "$log" "$result/program.log"

step "The uninstaller, silently"
wine "$installed/uninstall.exe" /S
eventually 20 test ! -e "$installed" || fail "left behind: $(find "$installed")"
[ -f "$data/TarsinNDI/TarsinNDI.ini" ] || fail "the user's settings are gone"
echo "All of it worked; pictures and logs: $result"
