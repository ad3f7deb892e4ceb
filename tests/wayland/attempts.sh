#!/usr/bin/env bash
# Runs a test in a Wayland session, and again in a new one when it fails, three times at most: on a
# busy machine the desktop's own services (compositor, portal, PipeWire) hang now and then. An error
# of this program fails in every session.
# usage: attempts.sh COMMAND [ARGUMENT...]
set -uo pipefail
for attempt in 1 2 3; do
    "$@" && exit 0
    code=$?
    [ $code -ne 77 ] || exit 77
    echo "attempts.sh: attempt $attempt failed" >&2
done
exit $code
