# Sourced by scripts that start programs: a folder of their own, and when they end, both that folder
# and the processes they noted in `started` are gone.
folder=$(mktemp -d)
started=()
stop() {
    for pid in "$@"; do kill "$pid" 2>/dev/null || true; done
    for pid in "$@"; do wait "$pid" 2>/dev/null || true; done
}
trap 'stop "${started[@]}"; rm -rf "$folder"' EXIT
