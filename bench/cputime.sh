# To be sourced. "$seconds" is how long measure() takes, "$scenes" what print_medians() prints.

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

# The medians of all runs, as CSV: a header, then a line per scene with what the other program and
# this one take, this one without receivers, and the ratio of the first two.
# usage: print_medians NAME FILE [baseline]
#   NAME      of the first column's program
#   FILE      lines of all runs: "scene,other,program,no receiver", with a baseline its two as well
print_medians() {
    echo "scene,$1_ms,program_ms,no_receiver_ms,ratio${3:+,baseline_ms,baseline_no_receiver_ms}"
    local scene column
    for scene in $scenes; do
        for column in 2 3 4 ${3:+5 6}; do
            grep "^$scene," "$2" | cut -d, -f"$column" | sort -n |
                awk '{ v[NR] = $1 } END { printf "%s ", (v[int((NR + 1) / 2)] + v[int((NR + 2) / 2)]) / 2 }'
        done | awk -v scene="$scene" '{
            printf "%s,%.2f,%.3f,%.3f,%.1f", scene, $1, $2, $3, ($2 > 0 ? $1 / $2 : 0)
            if (NF > 3) printf ",%.3f,%.3f", $4, $5
            print ""
        }'
    done
}
