# Threads: the long calls release the GIL, so sweeps on two objects in two threads give exactly the results
# of one thread; two threads sharing one object are serialised by the object's lock instead of racing.
import threading

import numpy as np
import pytest

import corvane
from conftest import crandn

KW = dict(span_hz=40e6, center_freq_hz=100e6, rbw_hz=30e3, points=1001, acq_span_hz=10e6, samp_freq_hz=12.5e6)


def make(rng, detector):
    ss = corvane.SteppedSpectrum()
    p = ss.init(detector=detector, **KW)
    blocks = [crandn(rng, int(n)) for n in p.num_samples]
    return ss, blocks


def run_threads(jobs):
    results = [None] * len(jobs)
    errors = []

    def work(k):
        try:
            results[k] = jobs[k]()
        except Exception as e:  # reported to the main thread below
            errors.append(e)

    threads = [threading.Thread(target=work, args=(k,)) for k in range(len(jobs))]
    for t in threads:
        t.start()
    for t in threads:
        t.join()
    assert not errors, errors
    return results


def test_two_sweeps_on_two_objects_in_two_threads_equal_one_thread(rng):
    a, blocks_a = make(rng, corvane.DetectorType.MAX)
    b, blocks_b = make(rng, corvane.DetectorType.RMS)
    ref_a = [a.sweep(blocks_a) for _ in range(3)]
    ref_b = [b.sweep(blocks_b) for _ in range(3)]
    got_a, got_b = run_threads([lambda: [a.sweep(blocks_a) for _ in range(3)],
                                lambda: [b.sweep(blocks_b) for _ in range(3)]])
    for r, g in zip(ref_a + ref_b, got_a + got_b):
        np.testing.assert_array_equal(g, r)


def test_two_threads_sharing_one_object_are_serialised(rng):
    a, blocks = make(rng, corvane.DetectorType.MAX)
    ref = a.sweep(blocks)
    outs = run_threads([lambda: [a.sweep(blocks) for _ in range(4)] for _ in range(2)])
    for series in outs:
        for g in series:
            np.testing.assert_array_equal(g, ref)


def test_spectra_and_filters_in_two_threads_equal_one_thread(rng):
    n = 4096
    xs = [crandn(rng, n) for _ in range(20)]
    h = rng.standard_normal(101).astype(np.float32)
    sp = [corvane.Spectrum(size=n), corvane.Spectrum(size=n)]
    fir = [corvane.FIRFilter(), corvane.FIRFilter()]
    ref_s = [sp[0].apply(x) for x in xs]
    ref_f = [fir[0].apply(h, x) for x in xs]
    got = run_threads([lambda k=k: ([sp[k].apply(x) for x in xs], [fir[k].apply(h, x) for x in xs]) for k in (0, 1)])
    for s, f in got:
        for g, r in zip(s, ref_s):
            np.testing.assert_array_equal(g, r)
        for g, r in zip(f, ref_f):
            np.testing.assert_array_equal(g, r)


def test_spectrum_batches_in_two_threads_equal_one_thread(rng):
    n = 4096
    xs = np.stack([crandn(rng, n) for _ in range(24)])
    sp = [corvane.Spectrum(size=n), corvane.Spectrum(size=n)]
    ref = sp[0].apply(xs)
    shared = corvane.Spectrum(size=n)  # one object from both threads: batches take turns on its lock
    got = run_threads([lambda k=k: [sp[k].apply(xs), shared.apply(xs)] for k in (0, 1)])
    for series in got:
        for g in series:
            np.testing.assert_array_equal(g, ref)


def test_sweeps_check_every_block_and_repeat_exactly_with_the_kept_buffers(rng):
    # The sweeps read the callers' blocks in place and stitch into buffers the object keeps: each block is
    # still checked, and a sweep after a different one (other detectors, other data) is not disturbed.
    # The two-stage way leaves its last detector as the one of a later sweep(), as apply2 does, so each
    # detector list here ends with the plan's detector.
    a, blocks = make(rng, corvane.DetectorType.MAX)
    ref = a.sweep(blocks)
    ref_det = a.sweep_detectors(blocks, [corvane.DetectorType.MIN, corvane.DetectorType.MAX])
    other = [crandn(rng, len(b)) for b in blocks]
    a.sweep(other)
    a.sweep_detectors(other, [corvane.DetectorType.RMS, corvane.DetectorType.MIN, corvane.DetectorType.MAX])
    np.testing.assert_array_equal(a.sweep(blocks), ref)
    for g, r in zip(a.sweep_detectors(blocks, [corvane.DetectorType.MIN, corvane.DetectorType.MAX]), ref_det):
        np.testing.assert_array_equal(g, r)
    bad = list(blocks)
    bad[-1] = blocks[-1].astype(np.complex128)
    with pytest.raises(TypeError, match="complex64"):
        a.sweep(bad)
    bad[-1] = np.repeat(blocks[-1], 2)[::2]
    with pytest.raises(ValueError, match="contiguous"):
        a.sweep_detectors(bad, [corvane.DetectorType.MAX])
    bad[-1] = blocks[-1].tolist()
    with pytest.raises(TypeError, match="numpy array"):
        a.sweep(bad)
    np.testing.assert_array_equal(a.sweep(blocks), ref)


def test_downconverters_interpolators_and_readers_in_two_threads_equal_one_thread(rng):
    import os

    x = rng.standard_normal(200000).astype(np.float32)
    knots = np.cumsum(rng.uniform(0.1, 1.0, 500))
    values = rng.standard_normal(500)
    queries = rng.uniform(knots[0], knots[-1], 20000)
    capture = os.path.join(os.path.dirname(__file__), "..", "..", "src", "infra", "testdata", "cdma2kfwd5mspan.iqt")
    reader = corvane.IQTReader(capture)  # one reader shared by both threads: reads keep no state

    def job():
        d = corvane.DigitalIQDownconverter()
        d.set_parameters(center_freq_hz=20e6, samp_freq_hz=100e6, span_hz=5e6)
        p = corvane.CubicHermiteInterpolation()
        s = corvane.Spline()
        return ([d.apply(x[k:k + 50000]) for k in range(0, len(x), 50000)],
                [p.interpolate(knots, values, queries) for _ in range(3)],
                [s.interpolate(knots, values, queries) for _ in range(3)],
                [reader.iq_data(k, 5)[0] for k in range(0, 120, 5)])

    ref = job()
    for got in run_threads([job, job]):
        for g_list, r_list in zip(got, ref):
            for g, r in zip(g_list, r_list):
                np.testing.assert_array_equal(g, r)
