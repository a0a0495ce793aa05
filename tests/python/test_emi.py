# EMIReceiver: a sine reads its r.m.s. on every detector, a stream fed in pieces reads as one piece,
# the band B calibration pulse reads as a 2 mV sine, and invalid input raises corvane.Error.
import numpy as np
import pytest

import corvane

FS = 50e3


def tone(n, amp, freq, fs=FS):
    return (amp * np.exp(2j * np.pi * freq * np.arange(n) / fs)).astype(np.complex64)


def test_sine_reads_its_rms_on_every_detector():
    rx = corvane.EMIReceiver(corvane.EMIBand.B, FS, np.array([0.0]))
    rx.process(tone(int(1.5 * FS), 0.5, 0.0))
    assert rx.elapsed_s == pytest.approx(1.5)
    for det in corvane.EMIDetector.__members__.values():
        r = rx.readings(det)
        assert r.dtype == np.float64 and r.shape == (1,)
        assert abs(20 * np.log10(r[0] / (0.5 / np.sqrt(2)))) < 0.05


def test_blocks_read_as_one_piece(rng):
    x = (0.01 * (rng.standard_normal(60000) + 1j * rng.standard_normal(60000))).astype(np.complex64)
    x[::997] += 50
    f = np.array([-10e3, 0.0, 7e3])
    one = corvane.EMIReceiver(corvane.EMIBand.B, FS, f)
    cut = corvane.EMIReceiver(corvane.EMIBand.B, FS, f + 1e6, centre_hz=1e6)
    one.process(x)
    edges = np.sort(rng.integers(0, x.size, 40))
    for part in np.split(x, edges):
        cut.process(np.ascontiguousarray(part))
    for det in corvane.EMIDetector.__members__.values():
        np.testing.assert_array_equal(one.readings(det), cut.readings(det))


def test_calibration_pulse_reads_as_a_2mV_sine():
    # 0.316 uV s e.m.f. at 100 Hz: complex impulses of area 2 x 0.316 uV s.
    x = np.zeros(int(1.5 * FS), dtype=np.complex64)
    x[500::500] = 2 * 0.316e-6 * FS
    rx = corvane.EMIReceiver(corvane.EMIBand.B, FS, np.array([0.0]))
    rx.process(x)
    level = corvane.EMIReceiver.to_dbuv(rx.readings(corvane.EMIDetector.QUASI_PEAK)[0])
    assert abs(level - 20 * np.log10(2e-3 / 1e-6)) < 1.5


def test_invalid_input_raises_error():
    with pytest.raises(corvane.Error) as e:
        corvane.EMIReceiver(corvane.EMIBand.B, 20e3, np.array([0.0]))
    assert e.value.code == corvane.ErrorCode.INVALID_INPUT_PARAMETER
    with pytest.raises(corvane.Error):
        corvane.EMIReceiver(corvane.EMIBand.B, FS, np.array([], dtype=np.float64))
    rx = corvane.EMIReceiver(corvane.EMIBand.B, FS, np.array([0.0]))
    bad = np.zeros(10, dtype=np.complex64)
    bad[3] = np.nan
    with pytest.raises(corvane.Error):
        rx.process(bad)
    with pytest.raises(TypeError):
        rx.process(np.zeros(10, dtype=np.complex128))
    assert corvane.EMIReceiver.band_parameters(corvane.EMIBand.CD) == (120e3, 1e-3, 0.55, 0.1, 100.0)
