#!/usr/bin/env bash
# Starts, ends or kills one part of the session that with-wayland.sh made, for that script and for
# tests that take parts away.
# usage: wayland-part.sh start|stop|kill sway|mutter|pipewire|wireplumber|backend|portal
# "start" returns when the part can be used; its process id is in $SESSION_FOLDER/PART.pid.
set -euo pipefail
action=$1
part=$2
pid_file=$SESSION_FOLDER/$part.pid

await() {
    for _ in $(seq 200); do
        if eval "$1" >/dev/null 2>&1; then return 0; fi
        sleep 0.05
    done
    echo "wayland-part.sh: $part did not come up:" >&2
    tail -20 "$SESSION_FOLDER/$part.log" >&2
    exit 1
}

on_bus() {
    gdbus call --session -d org.freedesktop.DBus -o / -m org.freedesktop.DBus.NameHasOwner "$1" |
        grep -q true
}

# Whether that process has the name; D-Bus may have started another one for it.
owned_by() {
    gdbus call --session -d org.freedesktop.DBus -o / \
        -m org.freedesktop.DBus.GetConnectionUnixProcessID "$1" | grep -q "uint32 $2,"
}

launch() {
    "$@" >>"$SESSION_FOLDER/$part.log" 2>&1 &
    echo $! >"$pid_file"
}

end() {
    [ -s "$pid_file" ] || return 0
    local pid
    pid=$(cat "$pid_file")
    rm -f "$pid_file"
    kill "-$1" "$pid" 2>/dev/null || return 0
    for _ in $(seq 200); do
        # A zombie has gone too: its parent may be waiting for something else.
        case "$(ps -o stat= -p "$pid" || true)" in '' | Z*) return 0 ;; esac
        sleep 0.02
    done
    kill -KILL "$pid" 2>/dev/null || true
}

if [ "$action" != start ]; then
    if [ "$action" = kill ]; then end KILL; else end TERM; fi
    exit 0
fi
case $part in
    sway)
        rm -f "$XDG_RUNTIME_DIR"/wayland-* "$XDG_RUNTIME_DIR"/sway.sock
        SWAYSOCK=$XDG_RUNTIME_DIR/sway.sock WLR_BACKENDS=headless WLR_HEADLESS_OUTPUTS=2 \
            WLR_RENDERER=pixman WLR_LIBINPUT_NO_DEVICES=1 launch env -u WAYLAND_DISPLAY -u DISPLAY sway
        await 'swaymsg -s "$XDG_RUNTIME_DIR/sway.sock" -t get_outputs | grep -q HEADLESS-2'
        basename "$(ls "$XDG_RUNTIME_DIR"/wayland-? | head -1)" >"$SESSION_FOLDER/wayland-display"
        ;;
    mutter)
        launch mutter --headless --wayland --no-x11 --wayland-display wayland-9 \
            --virtual-monitor 1280x720 --virtual-monitor 1600x1200
        await 'on_bus org.gnome.Mutter.ScreenCast && test -S "$XDG_RUNTIME_DIR/wayland-9"'
        ;;
    pipewire)
        launch pipewire
        await 'pw-cli info 0'
        ;;
    wireplumber)
        launch wireplumber
        await 'pw-cli ls Client | grep -q WirePlumber'
        ;;
    backend)
        # At the level ERROR: it can fill a disk with warnings about a slow client.
        launch env ${SESSION_PRELOAD:+LD_PRELOAD="$SESSION_PRELOAD"} \
            /usr/libexec/xdg-desktop-portal-wlr -l "${SESSION_BACKEND_LOG:-ERROR}"
        await 'on_bus org.freedesktop.impl.portal.desktop.wlr'
        ;;
    portal)
        launch /usr/libexec/xdg-desktop-portal --replace
        await 'owned_by org.freedesktop.portal.Desktop "$(cat "$pid_file")"'
        ;;
esac
