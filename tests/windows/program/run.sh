#!/usr/bin/env bash
# The Windows program as its user meets it: installed silently, operated by real clicks and keys on
# a virtual screen, received by the Linux ndimonitor through multicast DNS, removed again.
# Screenshots and logs stay in RESULT-FOLDER.
# usage: run.sh SETUP.exe LINUX-BUILD-FOLDER CTRLC.exe RESULT-FOLDER
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
scripts=$here/../../../scripts

if [[ ${1:-} != --* ]]; then
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
ctrlc=$4
result=$5
rm -rf "$result"
mkdir -p "$result"
user=$WINEPREFIX/drive_c/users/$(id -un)
installed=$user/AppData/Local/Programs/TarsinNDI
# No character of it is in the western code page that Wine has here.
roaming='C:\users\Профиль\AppData\Roaming'
data=$WINEPREFIX/drive_c/users/Профиль/AppData/Roaming/Halvark
log=$data/TarsinNDI/log/TarsinNDI
source=WineDemo
pattern=
folders='HKCU\Software\Microsoft\Windows\CurrentVersion\Explorer\User Shell Folders'
clean_up() {
    [ -z "$pattern" ] || kill "$pattern" 2>/dev/null || true
    wine reg delete "$folders" /v AppData /f >/dev/null 2>&1 || true
}
trap clean_up EXIT

step() { echo "== $*"; }
fail() {
    echo "FAILED: $*" >&2
    import -window root "$result/failure.png" || true
    tail -n 50 "$result"/*.out "$log" >&2 || true
    exit 1
}
# eventually COMMAND...: repeats the command until it succeeds, for two minutes at most.
eventually() {
    local until=$((SECONDS + 120))
    while ! "$@" >/dev/null 2>&1; do
        [ $SECONDS -lt $until ] || return 1
        sleep 0.2
    done
}

# click X Y: on the window.   enter X Y TEXT: into a field there, ended by the tabulator.
click() {
    xdotool mousemove --window "$window" "$1" "$2" sleep 0.1 click 1 sleep 0.5
}
enter() {
    click "$1" "$2"
    xdotool key ctrl+a type "$3"
    xdotool key Tab sleep 0.5
}
start_or_pause() {
    click 205 200
    xdotool mousemove 1279 719
}
times_logged() { grep -cF -- "$1" "$log" || true; }
logged_more() { [ "$(times_logged "$1")" -gt "$2" ]; }
# logs TEXT COMMAND...: what the command does is that the program logs the text once more.
logs() {
    local before
    before=$(times_logged "$1")
    "${@:2}"
    eventually logged_more "$1" "$before" || fail "the log lacks: $1"
}
log_ends_with_banner() {
    tail -n 6 "$log" | grep -qF "#                    STOP                         #" ||
        fail "the log does not end with the banner"
}
# receive NAME OPTION...: as ndimonitor does, its result in the files NAME.out and NAME.png.
receive() {
    "$linux/bin/ndimonitor" "$source" --wait 10 --save "$result/$1.png" "${@:2}" \
        >"$result/$1.out" 2>&1
}
# The image of a screen that comes to rest: nothing changes for a second.
screen_at_rest() {
    import -window root "$result/screen.png"
    sleep 1
    import -window root "$result/later.png"
    compare -metric AE "$result/screen.png" "$result/later.png" null:
}
# shows NAME GEOMETRY FRAMES: so many frames arrive, and the last one is this part of the screen,
# within 38 decibels of luma.
like_screen() {
    screen_at_rest && receive "$1" --frames "$3" || return 1
    local part=$result/$1-screen.png
    convert "$result/screen.png" -crop "$2" +repage "$part"
    [ "$(identify -format %wx%h "$result/$1.png")" = "$(identify -format %wx%h "$part")" ] || return 1
    psnr=$(compare -metric PSNR -colorspace Gray "$result/$1.png" "$part" null: 2>&1) || true
    awk -v psnr="${psnr%% *}" 'BEGIN { exit !(psnr == "inf" || psnr >= 38) }'
}
shows() {
    psnr=
    eventually like_screen "$@" || fail "$1: not the image of the screen (${psnr:-none} dB)"
    echo "   $1: $psnr dB"
}

mkdir -p "${data%/*}"
wine reg add "$folders" /v AppData /t REG_EXPAND_SZ /d "$roaming" /f >"$result/reg.out" 2>&1

step "The installer, silently"
rm -rf "$data" "$installed"
wine "$setup" /S || fail "the installer ends with $?"
for file in TarsinNDI.exe ndisend.exe ndimonitor.exe uninstall.exe $(cd "$here/../../../beside" && find . -type f); do
    [ -f "$installed/$file" ] || fail "$file was not installed"
done
[ -n "$(find "${user%/*}" -name TarsinNDI.lnk)" ] || fail "no entry in the start menu"

step "The program above a still test pattern"
"$linux/demo/showpattern" >"$result/showpattern.out" 2>&1 &
pattern=$!
mkdir -p "$data/TarsinNDI"
printf '[SystemSet]\nname=WineDemo\n' >"$data/TarsinNDI/TarsinNDI.ini"
wine "$installed/TarsinNDI.exe" >"$result/program.out" 2>&1 &
program=$!
WIDTH= HEIGHT=
find_window() {
    window=$(xdotool search --onlyvisible --class tarsinndi.exe | tail -n 1)
    eval "$(xdotool getwindowgeometry --shell "$window")"
    [ "${WIDTH}x$HEIGHT" = 638x260 ]
}
eventually find_window || fail "no window of 638x260, but ${WIDTH}x$HEIGHT"
eventually screen_at_rest
mv "$result/screen.png" "$result/window.png"

step "Start: duplication is tried, the old mode serves, a hundred frames arrive"
logs "DX screenshot failed, switch to the old ffmpeg screenshot mode." start_or_pause
grep -qF "initParmeter x 0 y 0 w 1280 h 720 framerate 30 outputName \\\\.\\DISPLAY1" "$log" ||
    fail "not started with the whole screen"
grep -qF "DeviceId is " "$log" || fail "the adapter is not named"
shows whole 1280x720+0+0 100

step "Neither installer nor uninstaller touches a running program"
refuses() {
    local code=0
    wine "$@" || code=$?
    [ $code -eq 2 ] || fail "$1 ends with $code"
}
refuses "$setup" /S
# In place: otherwise it goes on as a copy of itself, and nobody learns how that one ends.
refuses "$installed/uninstall.exe" /S "_?=C:\\users\\$(id -un)\\AppData\\Local\\Programs\\TarsinNDI"
[ -f "$installed/configImage/NDI_ICON.png" ] || fail "files are gone"

step "A region by the spin boxes"
enter 414 164 640
enter 540 164 320
enter 414 203 512
logs "initParmeter x 640 y 320 w 512 h 288" enter 540 203 288
xdotool mousemove 1279 719
shows region 512x288+640+320 20

step "Pause, continue, reset"
start_or_pause
# A receiver that comes now is still given the last frame, about once a second.
paused() { receive paused --seconds 4 && grep -qE ' [0-3]\.[0-9]+ fps of' "$result/paused.out"; }
eventually paused || fail "not paused"
logs "captureFrame begin" start_or_pause
shows continued 512x288+640+320 20
click 270 200
logs "initParmeter x 0 y 0 w 1280 h 720" start_or_pause
shows reset 1280x720+0+0 20

step "Another name"
enter 180 97 Renamed
click 270 200
logs "(Renamed) is on the network" start_or_pause
source=Renamed
shows renamed 1280x720+0+0 20
grep -q '^name=Renamed' "$data/TarsinNDI/TarsinNDI.ini" || fail "the name was not kept"

step "Close: the banner ends the log"
click 610 22
ended() { ! kill -0 $program; }
eventually ended || fail "the program does not end"
wait "$program" || fail "the program ends with $?"
log_ends_with_banner
cp "$log" "$result/program.log"

step "Ctrl+C in the console it was started from does not end it"
wine "$ctrlc" "C:\\users\\$(id -un)\\AppData\\Local\\Programs\\TarsinNDI\\TarsinNDI.exe" \
    >"$result/ctrlc.out" 2>&1 || fail "ctrlc ends with $?"
log_ends_with_banner

step "The uninstaller, silently"
wine "$installed/uninstall.exe" /S
eventually test ! -e "$installed" || fail "left behind: $(find "$installed")"
[ -f "$data/TarsinNDI/TarsinNDI.ini" ] || fail "the user's settings are gone"
[ -z "$(find "${user%/*}" -name TarsinNDI.lnk)" ] || fail "the entry in the start menu is still there"
echo "All of it worked; screenshots and logs: $result"
