#!/usr/bin/env bash
# corvane-analyze over a 1 GB raw cf32 recording (generated here, seeded: white noise and two tones at
# 100 MS/s), analysed over its whole span with the mean detector: wall time and peak memory beside
# reading the file once (cat > /dev/null, page cache warm for all three) and beside scipy.signal.welch
# doing the same average over the same blocks (bench/analyze_welch.py). A recording of 1/8 the size
# shows that the tool's peak memory does not grow with the file.
#
#   bench/analyze_1gb.sh [path/to/corvane-analyze]      (default build/tools/corvane-analyze)
#
# Environment: BENCH_DIR (scratch, default /tmp/corvane-analyze-bench; the files are removed at the end
# unless KEEP=1), SIZE_MB (default 1024), RBW (default 100k).
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
tool=${1:-$root/build/tools/corvane-analyze}
dir=${BENCH_DIR:-/tmp/corvane-analyze-bench}
size_mb=${SIZE_MB:-1024}
rbw=${RBW:-100k}
py=/usr/bin/python3
mkdir -p "$dir"
big=$dir/recording.cf32
small=$dir/recording-eighth.cf32

if [ ! -f "$big" ] || [ "$(stat -c %s "$big")" -ne $((size_mb * 1048576)) ]; then
    "$py" - "$big" "$size_mb" <<'PYEOF'
import sys
import numpy as np
path, mb = sys.argv[1], int(sys.argv[2])
n_total = mb * 1048576 // 8
rng = np.random.default_rng(1)
chunk = 1 << 22
with open(path + ".tmp", "wb") as f:
    for start in range(0, n_total, chunk):
        n = min(chunk, n_total - start)
        k = np.arange(start, start + n, dtype=np.float64)
        x = 1e-4 * (rng.standard_normal(n) + 1j * rng.standard_normal(n))
        x += 0.1 * np.exp(2j * np.pi * 0.123 * k) + 0.01 * np.exp(-2j * np.pi * 0.311 * k)
        x.astype(np.complex64).tofile(f)
import os
os.replace(path + ".tmp", path)
PYEOF
fi
head -c $((size_mb * 1048576 / 8)) "$big" > "$small"

measure() {  # label, command...
    local label=$1
    shift
    /usr/bin/time -v "$@" > "$dir/out.txt" 2> "$dir/time.txt" || { cat "$dir/time.txt"; exit 1; }
    local wall rss
    wall=$(sed -n 's/.*Elapsed (wall clock) time (h:mm:ss or m:ss): //p' "$dir/time.txt")
    rss=$(sed -n 's/.*Maximum resident set size (kbytes): //p' "$dir/time.txt")
    printf '%-44s wall %8s   peak RSS %8.1f MB\n' "$label" "$wall" "$(echo "$rss / 1024" | bc -l)"
}

echo "load average: $(cut -d' ' -f1-3 /proc/loadavg), $(nproc) cores; file $size_mb MB"
cat "$big" > /dev/null
measure "cat recording > /dev/null" sh -c "cat '$big' > /dev/null"
args=(--rate 100M --center 1G --rbw "$rbw" --points 1001 --window flattop --detector mean -q)
block=$("$tool" "$small" "${args[@]}" -v --blocks 1 -o "$dir/plan.csv" 2>&1 | sed -n 's/^tuning 0: .* Hz, \([0-9]*\) samples.*/\1/p')
measure "corvane-analyze (${size_mb} MB)" "$tool" "$big" "${args[@]}" -o "$dir/trace.csv"
measure "corvane-analyze ($((size_mb / 8)) MB)" "$tool" "$small" "${args[@]}" -o "$dir/trace-eighth.csv"
measure "scipy.signal.welch, nperseg $block (${size_mb} MB)" "$py" "$root/bench/analyze_welch.py" "$big" 100e6 "$block"
cat "$dir/out.txt"
if [ "${KEEP:-0}" != 1 ]; then rm -f "$big" "$small"; fi
