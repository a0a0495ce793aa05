#!/usr/bin/env python3
"""Overhead of the corvane Python module: a 4096-point Spectrum call from Python against the C++ call.

Runs bench_python_overhead (the C++ call, Google Benchmark) and times corvane.Spectrum.apply on the same
kind of block, alternating the two for several rounds so that a loaded machine slows both alike; prints
the medians and the ratio Python / C++.

    PYTHONPATH=build/python /usr/bin/python3 bench/python_overhead.py build/bench/bench_python_overhead
"""
import json
import statistics
import subprocess
import sys
import timeit

import numpy as np

import corvane

N = 4096
ROUNDS = 5


def cxx_us(binary):
    out = subprocess.run([binary, "--benchmark_format=json", "--benchmark_min_time=0.3",
                          "--benchmark_repetitions=3", "--benchmark_report_aggregates_only=true"],
                         check=True, capture_output=True, text=True).stdout
    runs = json.loads(out)["benchmarks"]
    return next(b["real_time"] for b in runs if b.get("aggregate_name") == "median")


def py_us():
    sp = corvane.Spectrum(size=N, window=corvane.WindowType.BLACKMAN_HARRIS)
    rng = np.random.default_rng(7)
    x = rng.uniform(-1, 1, 2 * N).astype(np.float32).view(np.complex64)
    sp.apply(x)
    t = timeit.Timer(lambda: sp.apply(x))
    n, _ = t.autorange()
    n = max(1, int(n * 0.3 / max(t.timeit(n), 1e-9)))
    return statistics.median(s / n for s in t.repeat(3, n)) * 1e6


def main():
    binary = sys.argv[1]
    cxx, py = [], []
    for _ in range(ROUNDS):
        cxx.append(cxx_us(binary))
        py.append(py_us())
    c, p = statistics.median(cxx), statistics.median(py)
    print(f"C++ Spectrum::Apply {N}:         {c:8.2f} us  (rounds: {', '.join(f'{v:.2f}' for v in cxx)})")
    print(f"Python Spectrum.apply {N}:       {p:8.2f} us  (rounds: {', '.join(f'{v:.2f}' for v in py)})")
    print(f"ratio Python / C++:               {p / c:8.3f}")
    print(f"overhead per call:                {p - c:8.2f} us")


if __name__ == "__main__":
    main()
