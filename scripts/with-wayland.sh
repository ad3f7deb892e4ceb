#!/usr/bin/env bash
# Runs a command in a Wayland session of its own, without a display: sway with two outputs (HEADLESS-1
# 1280x720 at scale 1, HEADLESS-2 1600x1200 at scale 2, right of it), Xwayland, PipeWire and the
# desktop portal, all on a private D-Bus and in folders that go with it.
# usage: with-wayland.sh [--mutter] COMMAND [ARGUMENT...]
# --mutter: GNOME's compositor with two monitors of these sizes instead of sway, without Xwayland and
# without a portal, which a test brings itself (GNOME's would ask in a window).
# For the command: WAYLAND_DISPLAY, DISPLAY, SWAYSOCK, DBUS_SESSION_BUS_ADDRESS and the XDG folders;
# SESSION_FOLDER, where scripts/wayland-part.sh keeps logs and process ids. The portal hands out the
# output that $SESSION_FOLDER/pick names; when the file is empty, it refuses.
# Exit code 77: this machine can't run it, with the reason on standard error.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)

if [ -z "${SESSION_FOLDER:-}" ]; then
    export SESSION_COMPOSITOR=sway
    needed=(pipewire wireplumber pw-cli gdbus dbus-run-session)
    if [ "$1" = --mutter ]; then
        SESSION_COMPOSITOR=mutter
        shift
        needed+=(mutter foot)
    else
        needed+=(sway swaymsg Xwayland grim /usr/libexec/xdg-desktop-portal
            /usr/libexec/xdg-desktop-portal-wlr)
    fi
    for program in "${needed[@]}"; do
        command -v "$program" >/dev/null || {
            echo "with-wayland.sh: $program is not installed" >&2
            exit 77
        }
    done
    SESSION_FOLDER=$(mktemp -d /tmp/tarsin-wayland.XXXXXX)
    trap 'rm -rf "$SESSION_FOLDER"' EXIT
    export SESSION_FOLDER HOME=$SESSION_FOLDER/home TMPDIR=$SESSION_FOLDER/tmp
    export XDG_RUNTIME_DIR=$SESSION_FOLDER/run XDG_CONFIG_HOME=$SESSION_FOLDER/config
    export XDG_DATA_HOME=$SESSION_FOLDER/data XDG_CACHE_HOME=$SESSION_FOLDER/cache
    export XDG_STATE_HOME=$SESSION_FOLDER/state XDG_CURRENT_DESKTOP=sway XDG_SESSION_TYPE=wayland
    # Only the wlr back end: the portal would start every other one that is installed.
    export XDG_DESKTOP_PORTAL_DIR=$SESSION_FOLDER/portals
    export GSETTINGS_BACKEND=memory LIBGL_ALWAYS_SOFTWARE=1 GTK_USE_PORTAL=0 NO_AT_BRIDGE=1
    unset DISPLAY WAYLAND_DISPLAY SWAYSOCK DBUS_SESSION_BUS_ADDRESS QT_QPA_PLATFORM XAUTHORITY
    mkdir -m 700 "$XDG_RUNTIME_DIR" "$HOME" "$TMPDIR" "$XDG_CONFIG_HOME" "$XDG_DATA_HOME" \
        "$XDG_CACHE_HOME" "$XDG_STATE_HOME" "$XDG_DESKTOP_PORTAL_DIR"
    mkdir -p "$XDG_CONFIG_HOME"/{sway,xdg-desktop-portal-wlr} "$XDG_RUNTIME_DIR/dbus-1/services"
    if [ $SESSION_COMPOSITOR = sway ]; then
        cp /usr/share/xdg-desktop-portal/portals/wlr.portal "$XDG_DESKTOP_PORTAL_DIR"
    fi
    cat >"$XDG_CONFIG_HOME/sway/config" <<'EOF'
xwayland enable
output HEADLESS-1 mode --custom 1280x720@60Hz pos 0 0 scale 1 bg #204060 solid_color
output HEADLESS-2 mode --custom 1600x1200@60Hz pos 1280 0 scale 2 bg #602040 solid_color
default_border none
default_floating_border none
focus_on_window_activation none
EOF
    cat >"$XDG_CONFIG_HOME/xdg-desktop-portal-wlr/config" <<EOF
[screencast]
max_fps=60
chooser_type=simple
chooser_cmd=echo asked >>$SESSION_FOLDER/asked; cat $SESSION_FOLDER/pick
EOF
    echo HEADLESS-1 >"$SESSION_FOLDER/pick"
    # The document portal would mount a FUSE file system that outlives the session, and D-Bus would
    # start the back end without the preloaded library that it needs here.
    for name in portal.Documents impl.portal.desktop.wlr; do
        printf '[D-BUS Service]\nName=org.freedesktop.%s\nExec=/bin/false\n' "$name" \
            >"$XDG_RUNTIME_DIR/dbus-1/services/org.freedesktop.$name.service"
    done
    as=()
    if [ "$(id -u)" -eq 0 ]; then # sway refuses to run as root.
        chown -R nobody:nogroup "$SESSION_FOLDER"
        as=(setpriv --reuid nobody --regid nogroup --clear-groups)
    fi
    "${as[@]}" dbus-run-session -- "$0" "$@" || exit $?
    exit 0
fi

if [ "$SESSION_COMPOSITOR" = mutter ]; then
    parts=(pipewire wireplumber mutter)
else
    parts=(sway pipewire wireplumber backend portal)
fi
finish() {
    # The last one first: sway's portal can crash when the compositor goes away under it.
    for ((i = ${#parts[@]} - 1; i >= 0; --i)); do
        "$here/wayland-part.sh" stop "${parts[i]}" || true
    done
}
trap finish EXIT
for part in "${parts[@]}"; do
    "$here/wayland-part.sh" start "$part"
    case $part in
        sway)
            export WAYLAND_DISPLAY=$(cat "$SESSION_FOLDER/wayland-display")
            export SWAYSOCK=$SESSION_FOLDER/run/sway.sock
            # sway tells only its children.
            swaymsg -q exec "printenv DISPLAY >$SESSION_FOLDER/x-display"
            for _ in $(seq 100); do [ -s "$SESSION_FOLDER/x-display" ] && break; sleep 0.1; done
            export DISPLAY=$(cat "$SESSION_FOLDER/x-display")
            ;;
        mutter) export WAYLAND_DISPLAY=wayland-9 ;;
    esac
done
"$@"
