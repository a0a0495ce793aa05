#!/usr/bin/env bash
# Configures the benchmark build (Release, benchmarks on, tests off) in build-bench/, builds it and runs
# every bench_* program, or only those named on the command line:
#
#   bench/run.sh                 # all programs
#   bench/run.sh ft vector       # bench_ft and bench_vector
#
# Output goes to the terminal and to build-bench/results/<program>.txt, ready to paste into
# bench/RESULTS.md. Each benchmark is repeated (random interleaving, so slow phases of a shared machine
# hit every benchmark alike) and the summary tables use the medians.
#
# Environment: BENCH_REPETITIONS (default 15), BENCH_MIN_TIME (seconds per repetition, default 0.2),
# BENCH_ARGS (extra Google Benchmark flags, e.g. --benchmark_filter=...), BUILD_DIR, JOBS.
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
build=${BUILD_DIR:-$root/build-bench}
reps=${BENCH_REPETITIONS:-15}
min_time=${BENCH_MIN_TIME:-0.2}
jobs=${JOBS:-$(nproc)}

cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=Release -DCORVANE_BUILD_BENCH=ON -DCORVANE_BUILD_TESTS=OFF \
    -DCORVANE_BUILD_TOOLS=OFF >/dev/null
cmake --build "$build" -j "$jobs"

mkdir -p "$build/results"
if [ $# -gt 0 ]; then
    programs=()
    for name in "$@"; do programs+=("$build/bench/bench_${name#bench_}"); done
else
    programs=("$build"/bench/bench_*)
fi

for prog in "${programs[@]}"; do
    [ -x "$prog" ] || { echo "no such benchmark program: $prog" >&2; exit 1; }
    name=$(basename "$prog")
    # Planning benchmarks make each plan once; repeating their executions a few times is enough.
    r=$reps
    [ "$name" = bench_planner ] && r=$(( reps < 5 ? reps : 5 ))
    {
        echo "## $name"
        echo "\$ $name --benchmark_repetitions=$r --benchmark_enable_random_interleaving=true" \
            "--benchmark_report_aggregates_only=true --benchmark_min_time=$min_time ${BENCH_ARGS:-}"
        echo "machine: $(lscpu | sed -n 's/^Model name: *//p'), $(nproc) cores; load: $(cut -d' ' -f1-3 /proc/loadavg)"
        "$prog" --benchmark_repetitions="$r" --benchmark_enable_random_interleaving=true \
            --benchmark_report_aggregates_only=true --benchmark_min_time="$min_time" ${BENCH_ARGS:-}
    } 2>&1 | tee "$build/results/$name.txt"
done
