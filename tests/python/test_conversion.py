# DigitalIQDownconverter from Python: a real tone comes out as the complex tone numpy predicts at the
# decimated rate, the stream cut into segments equals the record in one piece, and the refusals.
import threading

import numpy as np
import pytest

import corvane

FS = 100e6
FC = 20e6
SPAN = 5e6


def tone(n, f, amplitude=0.8, phase=0.3, start=0):
    k = np.arange(start, start + n, dtype=np.float64)
    return (amplitude * np.cos(2 * np.pi * f / FS * k + phase)).astype(np.float32)


def configured(num_output=0):
    d = corvane.DigitalIQDownconverter()
    return d, d.set_parameters(center_freq_hz=FC, samp_freq_hz=FS, span_hz=SPAN, num_output=num_output)


def test_decimation_and_lengths_follow_the_rate_and_span():
    d, s = configured(num_output=100)
    # The largest power of two M with FS / M at least SPAN / 0.8.
    m = 2 ** int(np.floor(np.log2(FS / (SPAN / 0.8))))
    assert s.decimation == m
    assert s.out_samp_freq_hz == pytest.approx(FS / m)
    taps = 20 * m + 1
    assert s.filter_delay == pytest.approx((taps - 1) / 2)
    assert s.required_len == m * 100 + taps - 1
    out = d.apply(np.zeros(s.required_len, np.float32))
    assert out.dtype == np.complex64 and out.shape == (100,)
    d.flush()
    n = 5000
    assert len(d.apply(np.zeros(n, np.float32))) == 1 + (n - taps) // m


def test_a_real_tone_comes_out_as_the_complex_tone_at_the_offset_frequency():
    d, s = configured()
    m, delay = s.decimation, s.filter_delay
    taps = int(2 * delay + 1)
    f0, a, ph = FC + 0.5e6, 0.8, 0.3
    n = 40000
    out = d.apply(tone(n, f0, a, ph)).astype(np.complex128)
    k = np.arange(len(out))
    # Output k: the analytic tone at input sample k M + (L - 1) / 2, mixed down by exp(-j w (k M + L - 1)).
    w = 2 * np.pi * FC / FS
    expected = a * np.exp(1j * (2 * np.pi * f0 / FS * (k * m + delay) + ph)) * np.exp(-1j * w * (k * m + taps - 1))
    err = np.abs(out - expected)
    assert np.max(err) < 2e-3 * a, np.max(err)
    # And numpy's spectrum of the output peaks at the offset frequency on the decimated grid.
    mag = np.abs(np.fft.fft(out * np.hanning(len(out))))
    f_peak = np.fft.fftfreq(len(out), 1 / s.out_samp_freq_hz)[np.argmax(mag)]
    assert abs(f_peak - (f0 - FC)) <= s.out_samp_freq_hz / len(out)


def test_a_record_in_segments_equals_the_record_in_one_piece(rng):
    x = rng.standard_normal(30000).astype(np.float32)
    whole, _ = configured()
    ref = whole.apply(x)
    parts, s = configured()
    cuts = [0, int(2 * s.filter_delay + 1), 5001, 5001, 12345, 29999, 30000]
    got = np.concatenate([parts.apply(x[a:b]) for a, b in zip(cuts[:-1], cuts[1:])])
    np.testing.assert_array_equal(got, ref)


def test_the_same_parameters_keep_the_stream_and_new_ones_restart_it(rng):
    x = rng.standard_normal(20000).astype(np.float32)
    ref, _ = configured()
    whole = ref.apply(x)
    d, _ = configured()
    first = d.apply(x[:10000])
    d.set_parameters(center_freq_hz=FC, samp_freq_hz=FS, span_hz=SPAN)
    np.testing.assert_array_equal(np.concatenate([first, d.apply(x[10000:])]), whole)
    est = d.set_parameters(center_freq_hz=FC + 1e6, samp_freq_hz=FS, span_hz=SPAN, estimate_only=True)
    assert est.decimation == 16
    d.set_parameters(center_freq_hz=FC + 1e6, samp_freq_hz=FS, span_hz=SPAN)
    with pytest.raises(corvane.Error) as e:  # a new stream needs a full first segment again
        d.apply(x[:10])
    assert e.value.code == corvane.ErrorCode.INVALID_INPUT_PARAMETER


def test_refusals_raise_the_stated_exceptions():
    d = corvane.DigitalIQDownconverter()
    with pytest.raises(corvane.Error) as e:  # no parameters yet
        d.apply(np.zeros(1000, np.float32))
    assert e.value.code == corvane.ErrorCode.INVALID_INPUT_PARAMETER
    for kw in [dict(span_hz=0.9 * FS), dict(span_hz=-1.0), dict(samp_freq_hz=float("nan")),
               dict(span_hz=corvane.DigitalIQDownconverter.min_required_span(FS) / 2)]:
        args = dict(center_freq_hz=FC, samp_freq_hz=FS, span_hz=SPAN)
        args.update(kw)
        with pytest.raises(corvane.Error) as e:
            d.set_parameters(**args)
        assert e.value.code == corvane.ErrorCode.INVALID_INPUT_PARAMETER
    with pytest.raises(corvane.Error):
        d.set_parameters(center_freq_hz=FC, samp_freq_hz=FS, span_hz=SPAN, num_output=-1)
    d, s = configured()
    with pytest.raises(corvane.Error):  # shorter than the filter
        d.apply(np.zeros(int(2 * s.filter_delay), np.float32))
    with pytest.raises(TypeError, match="float32"):
        d.apply(np.zeros(1000, np.float64))
    with pytest.raises(TypeError, match="numpy array"):
        d.apply([0.0] * 1000)
    with pytest.raises(ValueError, match="one-dimensional"):
        d.apply(np.zeros((2, 1000), np.float32))
    with pytest.raises(ValueError, match="contiguous"):
        d.apply(np.zeros(4000, np.float32)[::2])
    with pytest.raises(TypeError):
        d.set_parameters(FC, FS, SPAN)  # keywords only


def test_min_required_span_is_the_stated_limit():
    assert corvane.DigitalIQDownconverter.min_required_span(FS) == pytest.approx(FS / 6710886 * 0.8)


def test_request_abort_from_another_thread_stops_a_long_apply():
    d, _ = configured()
    x = np.zeros(1 << 23, np.float32)
    # The request only counts once apply() has begun, so the other thread keeps asking until apply()
    # returns; a machine slow enough to finish first gets more attempts.
    for _ in range(5):
        d.flush()
        done = threading.Event()

        def ask():
            while not done.is_set():
                d.request_abort()

        t = threading.Thread(target=ask)
        t.start()
        try:
            d.apply(x)
        except corvane.Error as e:
            assert e.code == corvane.ErrorCode.ABORT
            return
        finally:
            done.set()
            t.join()
    pytest.fail("apply() was never aborted")
