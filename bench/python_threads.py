#!/usr/bin/env python3
"""Two series of calls on two objects: one after the other in one thread, and one series per thread.

The work (--work): "sweep" (default), a stepped sweep of 21 tunings (200 MHz span, 20001 points);
"spectrum", 100 calls of a 4096-point Spectrum (short calls, which keep the GIL: a hand-over per call would
cost as much as the spectrum); "spectrum-batch", the same 100 blocks as one (100, 4096) batch in one call;
"downconvert", DigitalIQDownconverter.apply on 2^18 real samples (M = 16, 321 taps).

The calls release the GIL, so on two free cores the two-thread run should take about half the wall time.
On a loaded machine wall time says little, so the script also reports the CPU time the process spent per
unit of work (user + sys from getrusage), the minor page faults per unit and the context switches: if the
two threads contended for anything (a lock, the allocator, the kernel's page tables, a shared cache line)
the CPU time per unit would rise with two threads, whatever the load. Each thread's own CPU time
(time.thread_time) is printed too, and the load average at the start and end.

    PYTHONPATH=build/python /usr/bin/python3 bench/python_threads.py [--work sweep] [--rounds 5] [--repeat 40]
    PYTHONPATH=build/python valgrind --tool=callgrind /usr/bin/python3 bench/python_threads.py --plain 20
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


def setup_sweep(seed):
    ss = corvane.SteppedSpectrum()
    plan = ss.init(**KW)
    rng = np.random.default_rng(seed)
    blocks = [(rng.standard_normal(int(n)) + 1j * rng.standard_normal(int(n))).astype(np.complex64)
              for n in plan.num_samples]
    return lambda: ss.sweep(blocks)


def setup_spectrum(seed):
    sp = corvane.Spectrum(size=4096)
    rng = np.random.default_rng(seed)
    x = (rng.standard_normal(4096) + 1j * rng.standard_normal(4096)).astype(np.complex64)

    def work():
        for _ in range(100):
            sp.apply(x)
    return work


def setup_spectrum_batch(seed):
    sp = corvane.Spectrum(size=4096)
    rng = np.random.default_rng(seed)
    x = (rng.standard_normal((100, 4096)) + 1j * rng.standard_normal((100, 4096))).astype(np.complex64)
    return lambda: sp.apply(x)


def setup_downconvert(seed):
    d = corvane.DigitalIQDownconverter()
    d.set_parameters(center_freq_hz=20e6, samp_freq_hz=100e6, span_hz=5e6)
    x = np.random.default_rng(seed).standard_normal(1 << 18).astype(np.float32)
    d.apply(x)  # the stream's first segment; later ones go on from it
    return lambda: d.apply(x)


SETUPS = {"sweep": setup_sweep, "spectrum": setup_spectrum, "spectrum-batch": setup_spectrum_batch,
          "downconvert": setup_downconvert}


def usage():
    r = resource.getrusage(resource.RUSAGE_SELF)
    return r.ru_utime + r.ru_stime, r.ru_minflt, r.ru_nvcsw, r.ru_nivcsw


def measure(fn, units):
    """Runs fn(); returns wall s, CPU s per unit, minor faults per unit, voluntary and involuntary switches."""
    c0, f0, v0, i0 = usage()
    t = time.perf_counter()
    fn()
    wall = time.perf_counter() - t
    c1, f1, v1, i1 = usage()
    return wall, (c1 - c0) / units, (f1 - f0) / units, v1 - v0, i1 - i0


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("--work", choices=sorted(SETUPS), default="sweep")
    ap.add_argument("--rounds", type=int, default=5)
    ap.add_argument("--repeat", type=int, default=40, help="units of work per object per round")
    ap.add_argument("--plain", type=int, metavar="N",
                    help="only set up one object, run one unit and then N more in this thread, untimed (for "
                         "callgrind: the difference of N = 20 and N = 0 over 20 is the instructions per unit)")
    args = ap.parse_args()
    if args.plain is not None:
        work = SETUPS[args.work](1)
        for _ in range(args.plain + 1):
            work()
        return
    repeat = args.repeat

    jobs = [SETUPS[args.work](1), SETUPS[args.work](2)]
    for work in jobs:  # first use: plans and scratch grow here, not in the timed rounds
        work()
    thread_cpu = []

    def run(work, record=False):
        t = time.thread_time()
        for _ in range(repeat):
            work()
        if record:
            thread_cpu.append((time.thread_time() - t) / repeat)

    def one_thread():
        for work in jobs:
            run(work)

    def two_threads():
        threads = [threading.Thread(target=run, args=(work, True)) for work in jobs]
        for th in threads:
            th.start()
        for th in threads:
            th.join()

    units = 2 * repeat
    load0 = os.getloadavg()
    one, two = [], []
    for _ in range(args.rounds):
        one.append(measure(one_thread, units))
        two.append(measure(two_threads, units))
    load1 = os.getloadavg()

    def report(label, rows):
        wall = statistics.median(r[0] for r in rows)
        cpu = statistics.median(r[1] for r in rows)
        flt = statistics.median(r[2] for r in rows)
        vol = statistics.median(r[3] for r in rows)
        inv = statistics.median(r[4] for r in rows)
        print(f"{label}: wall {wall * 1e3:8.1f} ms for {units} x {args.work} (rounds: "
              f"{', '.join(f'{r[0] * 1e3:.1f}' for r in rows)}); CPU {cpu * 1e3:.3f} ms/unit; "
              f"{flt:.1f} minor faults/unit; context switches {vol:.0f} voluntary, {inv:.0f} involuntary")
        return wall, cpu

    print(f"work: {args.work}; load average at start {load0[0]:.2f}, at end {load1[0]:.2f}; {os.cpu_count()} CPUs")
    w1, c1 = report("one thread ", one)
    w2, c2 = report("two threads", two)
    print(f"per-thread CPU time in the two-thread rounds: median {statistics.median(thread_cpu) * 1e3:.3f} ms/unit")
    print(f"wall ratio two threads / one thread: {w2 / w1:.3f}   (about 0.5 expected on two idle cores)")
    print(f"CPU per unit ratio two threads / one thread: {c2 / c1:.3f}   (about 1.0 when nothing is contended)")


if __name__ == "__main__":
    main()
