#!/usr/bin/env bash
# The options in --help, in the man page and in the completion of each program are the same.
# --help and --version answer without a display and leave nothing behind.
# usage: descriptions.sh BUILD-FOLDER PROGRAM...
set -euo pipefail
build=$1
shift
. "$(dirname "$0")/../../scripts/started.sh"
export HOME=$folder/home XDG_DATA_HOME=$folder/home/data
unset DISPLAY WAYLAND_DISPLAY
mkdir "$HOME"
failed=no
cmake --install "$build" --prefix "$folder/tree" >/dev/null

# The options at the beginning of a description, not those that a text mentions.
of_help() { "$folder/tree/bin/$1" --help | grep -E '^ +-' | sed 's/   .*//' | words; }
of_page() { sed -n '/^\.TP/{n;s/\\-/-/g;p}' "$folder/tree/share/man/man1/$1.1" | words; }
of_completion() { words <"$folder/tree/share/bash-completion/completions/$1"; }
words() { grep -oE -- '--[a-z][a-z-]*' | sort -u; }

for program in "$@"; do
    of_help "$program" >"$folder/help"
    [ -s "$folder/help" ] || { echo "$program --help lists no options"; failed=yes; }
    for where in page completion; do
        of_$where "$program" | diff "$folder/help" - ||
            { echo "^ $program: what --help has (<) and what the $where has (>)"; failed=yes; }
    done
    "$folder/tree/bin/$program" --version | grep -qE "^$program [0-9]+\.[0-9]+\.[0-9]+$" ||
        { echo "$program --version does not tell its version"; failed=yes; }
    bash -n "$folder/tree/share/bash-completion/completions/$program" || failed=yes
    LC_ALL=C.UTF-8 MANROFFSEQ='' MANWIDTH=80 man --warnings -E UTF-8 -l -Tutf8 -Z \
        "$folder/tree/share/man/man1/$program.1" 2>"$folder/warnings" >/dev/null
    if [ -s "$folder/warnings" ]; then cat "$folder/warnings"; failed=yes; fi
done
[ -z "$(ls "$HOME")" ] || { echo "--help or --version left in the home folder:"; find "$HOME"; failed=yes; }
[ $failed = no ]
