#!/usr/bin/env python3
"""Two series of stepped sweeps on two objects: one after the other in one thread, and one series per thread.

The sweeps release the GIL, so on two free cores the two-thread run should take about half the wall time.
On a loaded machine wall time says little, so the script also reports the CPU time the process spent per
sweep (user + sys from getrusage), the minor page faults per sweep and the context switches: if the two
threads contended for anything (a lock, the allocator, the kernel's page tables, a shared cache line) the
CPU time per sweep would rise with two threads, whatever the load. Each thread's own CPU time
(time.thread_time) is printed too, and the load average at the start and end.

    PYTHONPATH=build/python /usr/bin/python3 bench/python_threads.py [--rounds 5] [--repeat 40]
"""
import argparse
import os
import resource
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


def usage():
    r = resource.getrusage(resource.RUSAGE_SELF)
    return r.ru_utime + r.ru_stime, r.ru_minflt, r.ru_nvcsw, r.ru_nivcsw


def measure(fn, sweeps):
    """Runs fn(); returns wall s, CPU s per sweep, minor faults per sweep, voluntary and involuntary switches."""
    c0, f0, v0, i0 = usage()
    t = time.perf_counter()
    fn()
    wall = time.perf_counter() - t
    c1, f1, v1, i1 = usage()
    return wall, (c1 - c0) / sweeps, (f1 - f0) / sweeps, v1 - v0, i1 - i0


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("--rounds", type=int, default=5)
    ap.add_argument("--repeat", type=int, default=40, help="sweeps per object per round")
    args = ap.parse_args()
    repeat = args.repeat

    jobs = [setup(1), setup(2)]
    for ss, b in jobs:  # first use: plans and scratch grow here, not in the timed rounds
        ss.sweep(b)
    thread_cpu = []

    def run(ss, blocks, record=False):
        t = time.thread_time()
        for _ in range(repeat):
            ss.sweep(blocks)
        if record:
            thread_cpu.append((time.thread_time() - t) / repeat)

    def one_thread():
        for ss, b in jobs:
            run(ss, b)

    def two_threads():
        threads = [threading.Thread(target=run, args=(ss, b, True)) for ss, b in jobs]
        for th in threads:
            th.start()
        for th in threads:
            th.join()

    sweeps = 2 * repeat
    load0 = os.getloadavg()
    one, two = [], []
    for _ in range(args.rounds):
        one.append(measure(one_thread, sweeps))
        two.append(measure(two_threads, sweeps))
    load1 = os.getloadavg()

    def report(label, rows):
        wall = statistics.median(r[0] for r in rows)
        cpu = statistics.median(r[1] for r in rows)
        flt = statistics.median(r[2] for r in rows)
        vol = statistics.median(r[3] for r in rows)
        inv = statistics.median(r[4] for r in rows)
        print(f"{label}: wall {wall * 1e3:8.1f} ms for {sweeps} sweeps (rounds: "
              f"{', '.join(f'{r[0] * 1e3:.1f}' for r in rows)}); CPU {cpu * 1e3:.3f} ms/sweep; "
              f"{flt:.1f} minor faults/sweep; context switches {vol:.0f} voluntary, {inv:.0f} involuntary")
        return wall, cpu

    print(f"load average at start {load0[0]:.2f}, at end {load1[0]:.2f}; {os.cpu_count()} CPUs")
    w1, c1 = report("one thread ", one)
    w2, c2 = report("two threads", two)
    print(f"per-thread CPU time in the two-thread rounds: median {statistics.median(thread_cpu) * 1e3:.3f} ms/sweep")
    print(f"wall ratio two threads / one thread: {w2 / w1:.3f}   (about 0.5 expected on two idle cores)")
    print(f"CPU per sweep ratio two threads / one thread: {c2 / c1:.3f}   (about 1.0 when nothing is contended)")


if __name__ == "__main__":
    main()
