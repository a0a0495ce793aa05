#!/usr/bin/env python3
"""Wall time of two series of stepped sweeps on two objects: one after the other in one thread, and in two threads.

The sweeps release the GIL, so on two free cores the two-thread run should take about half the time.
Prints the medians of several rounds and the ratio (two threads / one thread).

    PYTHONPATH=build/python /usr/bin/python3 bench/python_threads.py
"""
import statistics
import threading
import time

import numpy as np

import corvane

KW = dict(span_hz=200e6, center_freq_hz=500e6, rbw_hz=10e3, points=20001, acq_span_hz=10e6, samp_freq_hz=12.5e6)


def setup(seed):
    ss = corvane.SteppedSpectrum()
    plan = ss.init(**KW)
    rng = np.random.default_rng(seed)
    blocks = [(rng.standard_normal(int(n)) + 1j * rng.standard_normal(int(n))).astype(np.complex64)
              for n in plan.num_samples]
    return ss, blocks


REPEAT = 40  # sweeps per object per round, so that thread start-up is negligible


def run(ss, blocks):
    for _ in range(REPEAT):
        ss.sweep(blocks)


def main():
    jobs = [setup(1), setup(2)]
    for ss, b in jobs:
        ss.sweep(b)
    one, two = [], []
    for _ in range(5):
        t = time.perf_counter()
        for ss, b in jobs:
            run(ss, b)
        one.append(time.perf_counter() - t)
        threads = [threading.Thread(target=run, args=(ss, b)) for ss, b in jobs]
        t = time.perf_counter()
        for th in threads:
            th.start()
        for th in threads:
            th.join()
        two.append(time.perf_counter() - t)
    o, w = statistics.median(one), statistics.median(two)
    print(f"two sweeps, one thread:  {o * 1e3:8.1f} ms  (rounds: {', '.join(f'{v * 1e3:.1f}' for v in one)})")
    print(f"two sweeps, two threads: {w * 1e3:8.1f} ms  (rounds: {', '.join(f'{v * 1e3:.1f}' for v in two)})")
    print(f"ratio two threads / one thread: {w / o:.3f}")


if __name__ == "__main__":
    main()
