# To be sourced; "$seconds" is how long measure() takes.

# Nanoseconds on a CPU of all threads of a process.
used() { cat /proc/"$1"/task/*/schedstat | awk '{ ns += $1 } END { printf "%.0f", ns }'; }

# Milliseconds per 1/30 s of a running process.
measure() {
    local before after start end
    before=$(used "$1"); start=$(date +%s%N)
    sleep "$seconds"
    after=$(used "$1"); end=$(date +%s%N)
    awk -v used=$((after - before)) -v time=$((end - start)) \
        'BEGIN { printf "%.4f", used / time * 1000 / 30 }'
}
