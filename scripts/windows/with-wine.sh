#!/usr/bin/env bash
# Runs a command that runs Windows programs with `wine`, on a virtual screen of its own. Wine's
# folder is made once, beside the libraries built for Windows; TARSIN_WINE_PREFIX names another one.
# Runs that share the folder go one after another.
# usage: with-wine.sh [--size WxH] COMMAND [ARGUMENT...]
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)

if [ "${1:-}" != --inside ]; then
    size=1280x720
    [ "$1" = --size ] && { size=$2; shift 2; }
    exec "$here/../with-display.sh" --size "$size" "$0" --inside "$@"
fi
shift

export WINEPREFIX=${TARSIN_WINE_PREFIX:-$("$here/prefix.sh")/wine}
export WINEDEBUG=${WINEDEBUG:--all} WINEDLLOVERRIDES='mscoree=;mshtml=' LC_ALL=C.UTF-8
# Qt's test output is silent in a pipe otherwise; Wine passes QT_* on under this name only.
export WINEQT_FORCE_STDERR_LOGGING=1

mkdir -p "$WINEPREFIX"
exec 9>"$WINEPREFIX/.in-use"
flock 9
end_wine() {
    wineserver -k 9>&- || true
    wineserver -w 9>&- || true
}
trap end_wine EXIT

if [ ! -e "$WINEPREFIX/.ready" ]; then
    echo "Making Wine's folder $WINEPREFIX" >&2
    {
        wine wineboot -i
        # A crash ends the program with a backtrace instead of waiting for a click.
        wine reg add 'HKCU\Software\Wine\WineDbg' /v ShowCrashDialog /t REG_DWORD /d 0 /f
        for font in 'MS Shell Dlg' 'MS Shell Dlg 2'; do
            wine reg add 'HKLM\Software\Microsoft\Windows NT\CurrentVersion\FontSubstitutes' \
                /v "$font" /d 'Liberation Sans' /f
        done
        wineserver -w
    } 9>&- >"$WINEPREFIX/.setup.log" 2>&1 || {
        cat "$WINEPREFIX/.setup.log" >&2
        exit 1
    }
    touch "$WINEPREFIX/.ready"
fi

# Not exec: Wine's server has to be ended afterwards. It must not inherit the lock.
"$@" 9>&-
