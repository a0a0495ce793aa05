# FIRFilter, SFIRFilter, DecimationFilter, the filter family through FIRFilterFactory, and RBWFilter.
import numpy as np
import pytest
import scipy.signal as ss

import corvane
from conftest import crandn, rel_l2


def centred(full, n, taps):
    return full[taps // 2 : taps // 2 + n]


@pytest.mark.parametrize("ntaps", [1, 7, 30, 101])
def test_fir_filter_every_form_matches_numpy_convolve(rng, ntaps):
    f = corvane.FIRFilter()
    n = 500
    hr = rng.standard_normal(ntaps).astype(np.float32)
    hc = crandn(rng, ntaps)
    xr = rng.standard_normal(n).astype(np.float32)
    xc = crandn(rng, n)
    for h, x, dt in [(hr, xr, np.float32), (hr, xc, np.complex64), (hc, xc, np.complex64), (hc, xr, np.complex64)]:
        full = np.convolve(x.astype(np.complex128), h.astype(np.complex128))
        y = f.apply(h, x, center=True)
        assert y.dtype == dt and y.shape == (n,)
        assert rel_l2(y, centred(full, n, ntaps)) < 1e-5
        assert rel_l2(f.apply(h, x, center=False), full[:n]) < 1e-5
    h64 = hr.astype(np.float64)
    x64 = xc.astype(np.complex128)
    y64 = f.apply(h64, x64, center=True)
    assert y64.dtype == np.complex128
    assert rel_l2(y64, centred(np.convolve(x64, h64), n, ntaps)) < 1e-12


def test_fir_filter_unsupported_dtype_pair_is_type_error(rng):
    with pytest.raises(TypeError, match="unsupported dtypes"):
        corvane.FIRFilter().apply(np.ones(3, np.float64), np.ones(8, np.float32))


def test_sfir_filter_streams_like_lfilter(rng):
    h = rng.standard_normal(31).astype(np.float32)
    x = rng.standard_normal(1000).astype(np.float32)
    ref = ss.lfilter(h.astype(np.float64), 1.0, x.astype(np.float64))
    f = corvane.SFIRFilter(h)
    y = np.concatenate([f.apply(x[:333]), f.apply(x[333:])])
    assert rel_l2(y, ref) < 1e-5
    f.flush()
    assert rel_l2(f.apply(x[:100]), ref[:100]) < 1e-5
    f.flush()
    xc = crandn(rng, 400)
    refc = ss.lfilter(h.astype(np.float64), 1.0, xc.astype(np.complex128))
    assert rel_l2(f.apply(xc), refc) < 1e-5
    assert f.tap_count == 31
    with pytest.raises(corvane.Error):
        corvane.SFIRFilter(np.zeros(0, np.float32))


def test_decimation_filter_matches_filter_drop_transient_and_halve(rng):
    h = ss.firwin(27, 0.45).astype(np.float32)
    d = corvane.DecimationFilter(2, h)
    n = d.required_input_length(200)
    x = rng.standard_normal(n).astype(np.float32)
    ref = x.astype(np.float64)
    for _ in range(2):
        ref = ss.lfilter(h.astype(np.float64), 1.0, ref)[len(h) - 1 :][::2]
    y = d.apply(x)
    assert len(y) == len(ref) >= 200
    assert rel_l2(y, ref) < 1e-5
    assert d.stage_count == 2 and d.tap_count == 27 and d.filter_charge_time == d.required_input_length(0)
    with pytest.raises(corvane.Error):
        corvane.DecimationFilter(-1, h)


def test_filter_factory_names_kinds_and_a_designed_filter_filters_with_its_taps(rng):
    fac = corvane.FIRFilterFactory()
    assert corvane.FIRFilterFactory.filter_type_from_name("ROOT_RAISED_COSINE") == corvane.FilterType.ROOT_RAISED_COSINE
    assert corvane.FIRFilterFactory.filter_type_from_name("GAUSSIAN") == corvane.FilterType.GAUSSIAN
    with pytest.raises(corvane.Error):
        corvane.FIRFilterFactory.filter_type_from_name("root_raised_cosine")
    assert fac.make_filter(corvane.FilterType.HALF_SINE) is None
    assert fac.make_filter(corvane.FilterType.NONE) is None
    f = fac.make_filter(corvane.FilterType.ROOT_RAISED_COSINE)
    ntaps = f.recommended_tap_size(sampling_rate_hz=8e6, symbol_rate_hz=1e6, rolloff=0.35)
    assert ntaps > 0
    f.set_parameters(sampling_rate_hz=8e6, symbol_rate_hz=1e6, rolloff=0.35, taps=65)
    assert f.tap_count == 65 and f.filter_type == corvane.FilterType.ROOT_RAISED_COSINE
    taps = f.taps
    assert taps.shape == (65,)
    assert np.allclose(taps, taps[::-1], atol=1e-6)  # linear phase
    x = rng.standard_normal(300).astype(np.float32)
    assert rel_l2(f.apply(x, center=True), centred(np.convolve(x, taps.astype(np.float64)), 300, 65)) < 1e-5


def test_rbw_filter_design_and_decimation_factor():
    r = corvane.RBWFilter(rate1_hz=100e6, max_rate_hz=100e6)
    taps = r.design(rate_hz=100e6, rbw_hz=1e6, tap_count=64)
    assert taps.dtype == np.float32 and taps.shape == (64,)
    assert abs(float(taps.sum()) - 1.0) < 1e-5
    assert np.all(taps[:12] == 0) and np.all(taps[52:] == 0)
    assert corvane.RBWFilter.decimation_factor(100e6, 10e6) == (1, 100e6)
    factor, out_rate = corvane.RBWFilter.decimation_factor(100e6, 100e3)
    assert factor & (factor - 1) == 0 and out_rate == 100e6 / factor and 0.05 * out_rate < 100e3
    assert r.max_rbw() == pytest.approx(40e6)
    words = r.design_words(rate_hz=100e6, rbw_hz=1e6, tap_count=64, bits=16)
    assert words.dtype == np.uint32 and words.shape == (64,)
    gain, delay = r.properties
    assert delay == pytest.approx(31.5) and gain > 0
    with pytest.raises(corvane.Error):
        r.design(rate_hz=100e6, rbw_hz=1e6, tap_count=39)
    with pytest.raises(corvane.Error):
        corvane.RBWFilter.decimation_factor(-1.0, 1e3)
