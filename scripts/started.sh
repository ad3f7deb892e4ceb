# To be sourced by scripts that start programs. Creates a temporary folder. When the script ends,
# deletes the folder and ends the processes whose ids are in `started`.
folder=$(mktemp -d)
started=()
stop() {
    for pid in "$@"; do kill "$pid" 2>/dev/null || true; done
    for pid in "$@"; do wait "$pid" 2>/dev/null || true; done
}
trap 'stop "${started[@]}"; rm -rf "$folder"' EXIT
