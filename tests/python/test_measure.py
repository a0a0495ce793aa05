# Spectrum, SteppedSpectrum, VideoBandwidth, CISPRDetector, DigitalZoom and DigitalSource.
import numpy as np
import pytest

import corvane
from conftest import crandn, rel_l2

FS = 12.5e6


@pytest.mark.parametrize("n", [7, 64, 4096])
def test_spectrum_matches_numpy_window_fft_shift(rng, n):
    sp = corvane.Spectrum(size=n, window=corvane.WindowType.HANN)
    w = corvane.Window(type=corvane.WindowType.HANN, size=n).coefficients.astype(np.float64)
    x = crandn(rng, n)
    mag = np.abs(np.fft.fftshift(np.fft.fft(x * w)))
    db = sp.apply(x)
    assert db.dtype == np.float32 and db.shape == (n,)
    assert np.max(np.abs(db - 20 * np.log10(mag))) < 1e-3
    sp.unit = corvane.PowerUnit.LINEAR
    assert rel_l2(sp.apply(x), mag) < 1e-5
    r = rng.standard_normal(n).astype(np.float32)
    assert rel_l2(sp.apply(r), np.abs(np.fft.fftshift(np.fft.fft(r * w)))) < 1e-5


def test_spectrum_wrong_length_is_value_error(rng):
    sp = corvane.Spectrum(size=64)
    with pytest.raises(ValueError, match="64 samples"):
        sp.apply(crandn(rng, 63))
    with pytest.raises(ValueError):
        sp.apply(crandn(rng, 65))


@pytest.mark.parametrize("rows", [0, 1, 5])
@pytest.mark.parametrize("n", [7, 4096, 32768])
def test_spectrum_batch_equals_block_by_block(rng, rows, n):
    sp = corvane.Spectrum(size=n, window=corvane.WindowType.BLACKMAN_HARRIS)
    for unit in (corvane.PowerUnit.DB, corvane.PowerUnit.LINEAR):
        sp.unit = unit
        xs = np.stack([crandn(rng, n) for _ in range(rows)]) if rows else np.zeros((0, n), np.complex64)
        rs = rng.standard_normal((rows, n)).astype(np.float32)
        got, got_real = sp.apply(xs), sp.apply(rs)
        assert got.dtype == np.float32 and got.shape == (rows, n) and got_real.shape == (rows, n)
        for r in range(rows):
            np.testing.assert_array_equal(got[r], sp.apply(xs[r]))
            np.testing.assert_array_equal(got_real[r], sp.apply(rs[r]))


def tone_blocks(plan, tone_hz, acq_span_hz):
    # A tuner that sees the tone only inside its acquisition span, as a band-limited front end would.
    blocks = []
    for f, n in zip(plan.freq_steps_hz, plan.num_samples):
        off = tone_hz - f
        if abs(off) < acq_span_hz / 2:
            blocks.append(corvane.SteppedSpectrum.gen_cw(off / FS, int(n)))
        else:
            blocks.append(np.zeros(int(n), np.complex64))
    return blocks


def plan_wide(ss, **kw):
    args = dict(span_hz=40e6, center_freq_hz=100e6, rbw_hz=100e3, points=801, acq_span_hz=10e6, samp_freq_hz=FS)
    args.update(kw)
    return ss.init(**args)


def test_stepped_plan_fields_are_consistent():
    ss = corvane.SteppedSpectrum()
    p = plan_wide(ss)
    assert p.tunings == len(p.freq_steps_hz) == len(p.acq_spans_hz) == len(p.num_samples) == len(p.num_points)
    assert p.freq_steps_hz.dtype == np.float64 and p.num_samples.dtype == np.int32
    assert int(p.num_points.sum()) == 801
    assert 0.8 * 100e3 < p.actual_rbw_hz < 1.2 * 100e3
    assert np.all(np.diff(p.freq_steps_hz) > 0)


def test_stepped_sweep_places_a_unit_tone_at_its_frequency_at_0_db():
    ss = corvane.SteppedSpectrum()
    p = plan_wide(ss)
    tone = 103.05e6
    trace = ss.sweep(tone_blocks(p, tone, 10e6))
    assert trace.shape == (801,)
    freqs = 80e6 + np.arange(801) * 40e6 / 800
    k = int(np.argmax(trace))
    assert abs(freqs[k] - tone) <= 50e3
    assert abs(trace[k]) < 0.5


def test_stepped_sweep_equals_apply_per_tuning_and_two_stage_way(rng):
    ss = corvane.SteppedSpectrum()
    p = plan_wide(ss)
    blocks = [crandn(rng, int(n)) for n in p.num_samples]
    whole = ss.sweep(blocks)
    plan_wide(ss)
    parts = np.concatenate([ss.apply(b, i) for i, b in enumerate(blocks)])
    np.testing.assert_array_equal(whole, parts)
    plan_wide(ss)
    peak, mn = ss.sweep_detectors(blocks, [corvane.DetectorType.MAX, corvane.DetectorType.MIN])
    np.testing.assert_allclose(peak, whole, atol=1e-4)
    assert np.all(mn <= peak + 1e-6)


def test_stepped_max_min_gives_two_values_per_point(rng):
    ss = corvane.SteppedSpectrum()
    p = plan_wide(ss, detector=corvane.DetectorType.MAX_MIN)
    out = ss.sweep([crandn(rng, int(n)) for n in p.num_samples])
    assert out.shape == (1602,)
    assert np.all(out[0::2] >= out[1::2])


def test_stepped_cispr_sequence_peak_and_average_of_a_steady_tone_equal_the_peak_trace():
    ss = corvane.SteppedSpectrum()
    kw = dict(span_hz=1e6, center_freq_hz=100e6, rbw_hz=120e3, window=corvane.WindowType.CISPR_6DB, points=101,
              acq_span_hz=10e6, samp_freq_hz=FS, cispr_acq_blocks=3)
    p = ss.init(detector=corvane.DetectorType.CISPR_PEAK, **kw)
    assert p.cispr_acq_num == 3
    blocks = [corvane.SteppedSpectrum.gen_cw(0.01, int(n)) for n in p.num_samples]
    peak, ave = ss.cispr_sweep(blocks, [corvane.DetectorType.CISPR_PEAK, corvane.DetectorType.CISPR_AVERAGE])
    ss.init(detector=corvane.DetectorType.MAX, **kw)
    plain = ss.sweep(blocks)
    np.testing.assert_allclose(peak, plain, atol=1e-3)
    np.testing.assert_allclose(ave, plain, atol=1e-3)
    calls = []
    ss.init(detector=corvane.DetectorType.CISPR_PEAK, **kw)

    def source(i, a):
        calls.append((i, a))
        return blocks[i]

    peak2 = ss.cispr_sweep(source, [corvane.DetectorType.CISPR_PEAK])[0]
    assert calls == [(0, 0), (0, 1), (0, 2)]
    np.testing.assert_array_equal(peak2, peak)


def test_stepped_bad_requests_raise(rng):
    ss = corvane.SteppedSpectrum()
    with pytest.raises(corvane.Error):
        plan_wide(ss, rbw_hz=0.0)
    with pytest.raises(corvane.Error):
        ss.apply(crandn(rng, 100), 0)  # no plan
    p = plan_wide(ss)
    with pytest.raises(ValueError, match="outside the plan"):
        ss.apply(crandn(rng, int(p.num_samples[0])), p.tunings)
    with pytest.raises(corvane.Error):
        ss.apply(crandn(rng, int(p.num_samples[0]) - 1), 0)
    with pytest.raises(ValueError, match="one per tuning"):
        ss.sweep([crandn(rng, 10)])
    with pytest.raises(ValueError, match="CISPR"):
        ss.cispr_sweep([crandn(rng, int(n)) for n in p.num_samples], [corvane.DetectorType.MAX])


def test_stepped_request_abort_from_another_thread_stops_a_sweep():
    import threading

    ss = corvane.SteppedSpectrum()
    p = ss.init(span_hz=1e6, center_freq_hz=100e6, rbw_hz=120e3, window=corvane.WindowType.CISPR_6DB, points=101,
                acq_span_hz=10e6, samp_freq_hz=FS, detector=corvane.DetectorType.CISPR_QUASI_PEAK,
                cispr_acq_blocks=50)
    block = corvane.SteppedSpectrum.gen_cw(0.01, int(p.num_samples[0]))

    def source(i, a):
        if a == 5:
            t = threading.Thread(target=ss.request_abort)
            t.start()
            t.join()
        return block

    with pytest.raises(corvane.Error) as e:
        ss.cispr_sweep(source, [corvane.DetectorType.CISPR_QUASI_PEAK])
    assert e.value.code == corvane.ErrorCode.ABORT


def test_video_bandwidth_block_samples_follow_the_factor():
    v = corvane.VideoBandwidth()
    for r in [0.01, 0.1, 0.3, 1.0, 3.0]:
        assert v.samples_for_block(r, 1000) == int(v.samples(r) * 1000 + 0.5)
    assert v.samples(0.01) > v.samples(1.0)


def test_cispr_detector_peak_and_average_match_numpy(rng):
    d = corvane.CISPRDetector(100e6)
    spectra = [rng.random(64).astype(np.float32) for _ in range(5)]
    for i, s in enumerate(spectra):
        peak = d.apply(s, i, 5, corvane.DetectorType.CISPR_PEAK)
        np.testing.assert_allclose(peak, np.max(spectra[: i + 1], axis=0), rtol=1e-6)
    for i, s in enumerate(spectra):
        ave = d.apply(s, i, 5, corvane.DetectorType.CISPR_AVERAGE)
    np.testing.assert_allclose(ave, np.mean(np.array(spectra, np.float64), axis=0), rtol=1e-5)
    qp = d.apply(spectra[0], 0, 5, corvane.DetectorType.CISPR_QUASI_PEAK)
    assert qp.shape == (64,)
    with pytest.raises(ValueError, match="CISPR"):
        d.apply(spectra[0], 0, 5, corvane.DetectorType.MAX)
    nom, lo, hi = corvane.CISPRDetector.six_db_bandwidth(100e6, corvane.DetectorType.CISPR_PEAK)
    assert lo <= nom <= hi


def test_digital_zoom_finds_a_tone_at_0_db():
    z = corvane.DigitalZoom(src_center_hz=0.0, src_span_hz=10e6, src_samp_freq_hz=FS)
    n = z.set_parameters(center_hz=1e6, span_hz=1e6, rbw_hz=10e3)
    x = np.exp(2j * np.pi * 1.2e6 / FS * np.arange(n)).astype(np.complex64)
    s, bw = z.apply(x)
    k = int(np.argmax(s))
    assert abs(0.5e6 + k * bw - 1.2e6) <= bw
    assert abs(s[k]) < 0.5
    assert z.set_parameters(center_hz=20e6, span_hz=1e6, rbw_hz=10e3) == -1
    with pytest.raises(corvane.Error):
        z.apply(x[: n - 1])


def test_digital_source_shifts_and_decimates_a_tone():
    src = corvane.DigitalSource(src_center_hz=0.0, src_span_hz=10e6, src_samp_freq_hz=FS)
    src.set_parameters(center_hz=2e6, span_hz=1e6)
    n = src.required_input_length(4096)
    x = np.exp(2j * np.pi * 2.1e6 / FS * np.arange(n)).astype(np.complex64)
    y = src.apply(x)
    fs_out = src.samp_freq_hz
    assert fs_out < FS and len(y) >= 4096
    mags = np.abs(np.fft.fft(y[:4096]))
    f = np.fft.fftfreq(4096, 1 / fs_out)[int(np.argmax(mags))]
    assert abs(f - 0.1e6) <= fs_out / 4096
    rate, outs = src.output_parameters(n)
    assert rate == fs_out and outs >= 4096
    with pytest.raises(corvane.Error):
        corvane.DigitalSource(src_center_hz=0.0, src_span_hz=10e6, src_samp_freq_hz=FS).apply(x)
