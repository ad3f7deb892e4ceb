#!/usr/bin/env bash
# Runs a command in a new network namespace: nothing it sends leaves the machine.
# usage: private-network.sh [--avahi] COMMAND [ARGUMENT...]
#   --avahi   also starts an Avahi daemon there, on a private D-Bus; the system's is not touched.
# Requires root or unprivileged user namespaces.
set -euo pipefail

if [ "${1:-}" != --inside ]; then
    map_root=()
    [ "$(id -u)" -eq 0 ] || map_root=(--map-root-user)
    exec unshare "${map_root[@]}" --net --mount -- "$0" --inside "$@"
fi
shift

avahi=no
if [ "${1:-}" = --avahi ]; then
    avahi=yes
    shift
fi

ip link set lo up
ip link set lo multicast on
ip route add 224.0.0.0/4 dev lo

. "$(dirname "$0")/started.sh"

if [ "$avahi" = no ]; then
    # The address of no bus, so that the machine's own Avahi is not used.
    export DBUS_SYSTEM_BUS_ADDRESS="unix:path=$folder/no-bus"
else
    mount -t tmpfs tmpfs /run
    cat >"$folder/bus.conf" <<EOF
<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-BUS Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>system</type>
  <listen>unix:path=$folder/bus</listen>
  <policy context="default">
    <allow user="*"/>
    <allow own="*"/>
    <allow send_destination="*" eavesdrop="true"/>
    <allow receive_sender="*"/>
  </policy>
</busconfig>
EOF
    cat >"$folder/avahi.conf" <<EOF
[server]
host-name=testhost
use-ipv4=yes
use-ipv6=yes
ratelimit-interval-usec=1000000
ratelimit-burst=1000
[publish]
publish-workstation=no
EOF
    export DBUS_SYSTEM_BUS_ADDRESS="unix:path=$folder/bus"
    dbus-daemon --config-file="$folder/bus.conf" --nofork --nopidfile &
    started+=($!)
    for _ in $(seq 100); do [ -S "$folder/bus" ] && break; sleep 0.05; done
    avahi-daemon --file="$folder/avahi.conf" --no-drop-root --no-chroot --no-rlimits \
        >"$folder/avahi.log" 2>&1 &
    started+=($!)
    for _ in $(seq 100); do
        grep -q "Server startup complete" "$folder/avahi.log" && break
        sleep 0.05
    done
    grep -q "Server startup complete" "$folder/avahi.log" || {
        echo "private-network.sh: avahi-daemon did not start:" >&2
        cat "$folder/avahi.log" >&2
        exit 1
    }
fi

"$@"
