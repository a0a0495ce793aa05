#!/usr/bin/env bash
# Builds the libFuzzer harnesses of the file readers (fuzz/, clang-14 with AddressSanitizer and
# UndefinedBehaviorSanitizer) in build-fuzz and runs each over its committed seed corpus. New inputs go
# to a scratch directory, so the committed corpus stays as it is; a crash leaves its input in
# build-fuzz/artifacts and fails the script.
#
# Usage: scripts/fuzz.sh [seconds per harness, default 15] [further libFuzzer options]
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
seconds="${1:-15}"
[ $# -gt 0 ] && shift
build="$root/build-fuzz"
cmake -S "$root" -B "$build" -DCORVANE_FUZZ=ON -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DCMAKE_CXX_COMPILER=clang++-14 -DCMAKE_C_COMPILER=clang-14 >/dev/null
cmake --build "$build" -j"$(nproc)"
mkdir -p "$build/artifacts"
# A moderate quarantine and no fill of new blocks keep a run cheap; use-after-free is still caught
# within 64 MB of recent frees.
export ASAN_OPTIONS="quarantine_size_mb=64:max_malloc_fill_size=0:detect_leaks=1:abort_on_error=0"
export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"
for h in iqt_header iqt_read vector_load text_import sigmf_meta; do
    work="$(mktemp -d)"
    echo "== fuzz_$h: ${seconds}s over fuzz/corpus/$h"
    status=0
    "$build/fuzz/fuzz_$h" -max_total_time="$seconds" -max_len=20000 -print_final_stats=1 \
        -artifact_prefix="$build/artifacts/$h-" "$@" "$work" "$root/fuzz/corpus/$h" >"$work.log" 2>&1 || status=$?
    grep -E '^stat::number_of_executed_units|^stat::peak_rss_mb|^SUMMARY|ERROR' "$work.log" || true
    if [ "$status" -ne 0 ]; then
        tail -n 60 "$work.log"
        rm -rf "$work" "$work.log"
        echo "fuzz_$h failed (exit $status); the input is in $build/artifacts"
        exit 1
    fi
    rm -rf "$work" "$work.log"
done
echo "== fuzzing: no crash"
