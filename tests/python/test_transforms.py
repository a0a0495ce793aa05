# FT, Window, WindowFactory and ChirpZ against numpy/scipy.
import numpy as np
import pytest
import scipy.signal.windows as sw

import corvane
from conftest import crandn, rel_l2

# The float nearest 2 pi, widened: the chirp-Z transform defines its phases with it.
TWO_PI_F = float(np.float32(2 * np.pi))


@pytest.mark.parametrize("n", [1, 7, 64, 1000, 4096])
def test_ft_complex_forward_and_inverse_match_numpy(rng, n):
    ft = corvane.FT()
    x = crandn(rng, n)
    X = ft.forward(x)
    assert X.dtype == np.complex64 and X.shape == (n,)
    assert rel_l2(X, np.fft.fft(x.astype(np.complex128))) < 1e-5
    y = ft.inverse(X)
    assert rel_l2(y, np.fft.ifft(X.astype(np.complex128))) < 1e-5
    x64 = crandn(rng, n, np.complex128)
    X64 = ft.forward(x64)
    assert X64.dtype == np.complex128
    assert rel_l2(X64, np.fft.fft(x64)) < 1e-12


@pytest.mark.parametrize("n", [8, 9, 1024])
def test_ft_real_forms_match_numpy(rng, n):
    ft = corvane.FT()
    x = rng.standard_normal(n).astype(np.float32)
    X = ft.forward(x)
    assert X.dtype == np.complex64 and X.shape == (n,)
    assert rel_l2(X, np.fft.fft(x.astype(np.float64))) < 1e-5
    back = ft.inverse(X, real_output=True)
    assert back.dtype == np.float32
    assert rel_l2(back, np.fft.irfft(X[: n // 2 + 1].astype(np.complex128), n)) < 1e-5
    x64 = rng.standard_normal(n)
    assert rel_l2(ft.forward(x64), np.fft.fft(x64)) < 1e-12
    assert ft.plan_count >= 2


def test_ft_norm_flag_scales_as_documented(rng):
    x = crandn(rng, 32, np.complex128)
    assert rel_l2(corvane.FT(norm_flag=1).forward(x), np.fft.fft(x) / 32) < 1e-12
    assert rel_l2(corvane.FT(norm_flag=4).forward(x), np.fft.fft(x) / np.sqrt(32)) < 1e-12
    assert rel_l2(corvane.FT(norm_flag=8).inverse(x), np.fft.ifft(x) * 32) < 1e-12


@pytest.mark.parametrize(
    "kind,oracle",
    [
        (corvane.WindowType.UNIFORM, lambda n: np.ones(n)),
        (corvane.WindowType.HANN, lambda n: sw.hann(n, sym=True)),
        (corvane.WindowType.BLACKMAN_HARRIS, lambda n: sw.blackmanharris(n, sym=True)),
        (corvane.WindowType.KAISER, lambda n: sw.kaiser(n, 16.71, sym=True)),
        (corvane.WindowType.CISPR_6DB, lambda n: sw.kaiser(n, 14.6, sym=True)),
    ],
)
@pytest.mark.parametrize("n", [16, 101, 1024])
def test_window_coefficients_match_scipy_normalised_to_sum_one(kind, oracle, n):
    w = corvane.Window(type=kind, size=n)
    c = w.coefficients
    ref = oracle(n)
    ref = ref / ref.sum()
    assert c.dtype == np.float32 and c.shape == (n,)
    assert np.max(np.abs(c - ref)) < 1e-5 * np.max(ref) + 1e-9
    assert abs(c.sum() - 1.0) < 1e-5
    enbw = n * np.sum(ref**2) / np.sum(ref) ** 2
    assert w.enbw == pytest.approx(enbw, rel=1e-4)
    assert w.power_adjust_db == pytest.approx(10 * np.log10(enbw), abs=1e-3)
    assert w.size == n and w.type == kind


def test_window_apply_multiplies_complex_and_real(rng):
    w = corvane.Window(type=corvane.WindowType.HANN, size=64)
    c = w.coefficients
    x = crandn(rng, 64)
    assert np.allclose(w.apply(x), x * c, rtol=1e-6, atol=1e-9)
    r = rng.standard_normal(64).astype(np.float32)
    assert np.allclose(w.apply(r), r * c, rtol=1e-6, atol=1e-9)


def test_window_para_replaces_default_and_factory_keeps_default():
    n = 128
    k = corvane.Window(type=corvane.WindowType.KAISER, size=n, para=6.0)
    ref = sw.kaiser(n, 6.0, sym=True)
    assert np.max(np.abs(k.coefficients - ref / ref.sum())) < 1e-6
    f = corvane.WindowFactory()
    d = f.make_window(corvane.WindowType.KAISER, n, para=6.0)
    ref = sw.kaiser(n, 16.71, sym=True)
    assert np.max(np.abs(d.coefficients - ref / ref.sum())) < 1e-6
    assert f.para == pytest.approx(6.0)
    f.set_parameters(d, n, para=6.0)
    assert np.allclose(d.coefficients, k.coefficients, atol=1e-7)
    k.set_parameters(64)
    assert k.size == 64


def test_window_negative_size_raises_error():
    with pytest.raises(corvane.Error) as e:
        corvane.Window(type=corvane.WindowType.HANN, size=-1)
    assert e.value.code == corvane.ErrorCode.INVALID_INPUT_PARAMETER
    assert e.value.message == "invalid input parameter"


def chirpz_oracle(x, fs, m, f0, df):
    n = np.arange(len(x))
    j = np.arange(m)
    return np.exp(-1j * TWO_PI_F * np.outer(f0 + j * df, n) / fs) @ x.astype(np.complex128)


@pytest.mark.parametrize("use64", [False, True])
def test_chirpz_matches_direct_sum(rng, use64):
    n, m, fs, f0, df = 300, 129, 1e6, -2e5, 3.1e3
    cz = corvane.ChirpZ(input_size=n, sample_rate_hz=fs, output_size=m, start_freq_hz=f0, freq_step_hz=df, use64=use64)
    x = crandn(rng, n, np.complex128 if use64 else np.complex64)
    y = cz.apply(x)
    assert y.dtype == x.dtype and y.shape == (m,)
    assert rel_l2(y, chirpz_oracle(x, fs, m, f0, df)) < (1e-11 if use64 else 2e-5)
    assert cz.input_size == n and cz.output_size == m and cz.fft_size >= n + m - 1


@pytest.mark.parametrize("n,m", [(1, 1), (98, 97), (97, 101), (1000, 700)])
def test_chirpz_weighted_magnitude_and_power_equal_weighting_apply_and_abs(rng, n, m):
    fs, f0, df = 781250.0, -150e3, 300e3 / max(m - 1, 1)
    cz = corvane.ChirpZ(input_size=n, sample_rate_hz=fs, output_size=m, start_freq_hz=f0, freq_step_hz=df)
    x = crandn(rng, n + 3, np.complex64)
    w = rng.uniform(-1.0, 2.0, n).astype(np.float32)
    xw = x.copy()
    xw[:n] = (x[:n].real * w + 1j * (x[:n].imag * w)).astype(np.complex64)
    y = cz.apply(xw)
    mag, power = cz.apply_magnitude(x, w), cz.apply_power(x, w)
    assert mag.dtype == np.float32 and mag.shape == (m,) and power.shape == (m,)
    # Bit for bit the library's own steps; against the oracle within single precision.
    assert np.array_equal(mag, corvane.ChirpZ(n, fs, m, f0, df).apply_magnitude(x, w))
    assert rel_l2(mag, np.abs(chirpz_oracle(x[:n].astype(np.complex128) * w, fs, m, f0, df))) < 2e-5
    assert rel_l2(power, np.abs(y.astype(np.complex128)) ** 2) < 1e-6


def test_chirpz_weighted_forms_refuse_bad_input(rng):
    cz = corvane.ChirpZ(input_size=8, sample_rate_hz=1.0, output_size=4, start_freq_hz=0.0, freq_step_hz=0.1)
    w = np.ones(8, np.float32)
    with pytest.raises(corvane.Error):
        cz.apply_magnitude(crandn(rng, 7), w)
    with pytest.raises(corvane.Error):
        cz.apply_power(crandn(rng, 8), np.ones(7, np.float32))
    with pytest.raises(TypeError, match="float32"):
        cz.apply_magnitude(crandn(rng, 8), np.ones(8, np.float64))
    with pytest.raises(TypeError, match="complex64"):
        cz.apply_magnitude(crandn(rng, 8, np.complex128), w)
    wide = corvane.ChirpZ(input_size=8, sample_rate_hz=1.0, output_size=4, start_freq_hz=0, freq_step_hz=0.1, use64=True)
    with pytest.raises(corvane.Error):
        wide.apply_magnitude(crandn(rng, 8), w)


def test_chirpz_short_block_and_bad_sizes_raise_error(rng):
    cz = corvane.ChirpZ(input_size=64, sample_rate_hz=1.0, output_size=8, start_freq_hz=0.0, freq_step_hz=0.01)
    with pytest.raises(corvane.Error):
        cz.apply(crandn(rng, 63))
    with pytest.raises(corvane.Error):
        corvane.ChirpZ(input_size=0, sample_rate_hz=1.0, output_size=8, start_freq_hz=0.0, freq_step_hz=0.01)
    with pytest.raises(TypeError, match="complex128"):
        corvane.ChirpZ(input_size=4, sample_rate_hz=1.0, output_size=4, start_freq_hz=0, freq_step_hz=0.1,
                       use64=True).apply(crandn(rng, 4))
