#!/usr/bin/env bash
# Prints the folder that holds the libraries built for Windows. It is outside the source tree, so
# that it outlives a fresh checkout. TARSIN_WINDOWS_PREFIX names another one.
echo "${TARSIN_WINDOWS_PREFIX:-${XDG_CACHE_HOME:-$HOME/.cache}/tarsin-windows}"
