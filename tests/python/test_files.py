# The file classes from Python: the test capture read by IQTReader against an independent numpy decoding of
# its bytes, MAT-files written by MatFileWriter read back with scipy.io.loadmat, MatFileReader's opening,
# and the refusals.
import os
import re

import numpy as np
import pytest
import scipy.io

import corvane

CAPTURE = os.path.join(os.path.dirname(__file__), "..", "..", "src", "infra", "testdata", "cdma2kfwd5mspan.iqt")
RECORD = 24 + 1024 * 4


def decode_capture(path):
    """The capture decoded from its bytes alone: header pairs, IQ samples, correction words, frame headers."""
    raw = open(path, "rb").read()
    digits = int(raw[0:1])
    hlen = int(raw[1:1 + digits])
    text = raw[1 + digits:1 + digits + hlen].decode("ascii")
    tokens = [t for t in re.split(r"[ \r\t\n=]+", text) if t]
    header = dict(zip(tokens[0::2], tokens[1::2]))
    offset = 1 + digits + hlen
    frames = int(header["ValidFrames"])
    points = int(header["FFTPoints"])
    recs = np.frombuffer(raw[offset:offset + (frames + 1) * RECORD], np.uint8).reshape(frames + 1, RECORD)
    words = recs[:, 24:].copy().view("<i2").reshape(frames + 1, 1024, 2).astype(np.float64)
    level = float(header["GainOffset"]) + float(header["MaxInputLevel"]) + float(header.get("LevelOffset", 0))
    scale = np.sqrt(2 * 10 ** (level / 10) / 20)
    i = words[:frames, :points, 1] - float(header["IOffset"])
    q = words[:frames, :points, 0] - float(header["QOffset"])
    iq = ((i + 1j * q) * scale).reshape(-1)
    return header, offset, scale, iq, words[frames, :points], recs[:, :24]


@pytest.fixture(scope="module")
def capture():
    return decode_capture(CAPTURE)


def test_iqt_header_values(capture):
    header, offset, scale, iq, _, _ = capture
    r = corvane.IQTReader(CAPTURE)
    assert r.data_offset == offset
    assert r.fft_points == int(header["FFTPoints"]) == 1024
    assert r.valid_frames == 125 and r.block_size == 125 and r.blocks == 1 and r.first_block_size == 125
    assert r.bins == 801 and r.multi_frames == 1
    assert r.center_frequency_hz == pytest.approx(2.1175e9)
    assert r.span_hz == pytest.approx(5e6)
    assert r.frame_length_s == pytest.approx(0.00016)
    assert r.sampling_frequency_hz == pytest.approx(1024 / 0.00016)
    assert r.scaling_factor == pytest.approx(scale, rel=1e-12)
    assert r.samples_in_file == len(iq) and r.samples_in_block == len(iq)
    assert r.header("Instrument") == header["Instrument"]
    assert r.header("NoSuchKey") is None


def test_iqt_samples_equal_the_numpy_decoding(capture):
    _, _, _, iq, _, heads = capture
    r = corvane.IQTReader(CAPTURE)
    data, h = r.iq_data(0, 125)
    assert data.dtype == np.complex64 and data.shape == iq.shape
    np.testing.assert_allclose(data, iq, rtol=1e-6, atol=1e-6 * np.max(np.abs(iq)))
    assert h.shape == (125, 24) and h.dtype == np.uint8
    np.testing.assert_array_equal(h, heads[:125])
    part, h2 = r.iq_data(10, 3)
    np.testing.assert_array_equal(part, data[10 * 1024:13 * 1024])
    np.testing.assert_array_equal(h2, heads[10:13])
    d2, _ = r.iq_data2(0, 125)  # every frame carries the IQ mark: the same decoding
    np.testing.assert_array_equal(d2, data)
    first, second, _ = r.raw_iq_ap_data(0, 2)
    words = np.frombuffer(open(CAPTURE, "rb").read()[r.data_offset:r.data_offset + 2 * RECORD], np.uint8)
    w = words.reshape(2, RECORD)[:, 24:].copy().view("<i2").reshape(2, 1024, 2)
    np.testing.assert_array_equal(first, w[:, :, 1].reshape(-1))
    np.testing.assert_array_equal(second, w[:, :, 0].reshape(-1))


def test_iqt_sample_reads_and_the_tone_of_the_capture(capture):
    _, _, _, iq, _, _ = capture
    r = corvane.IQTReader(CAPTURE)
    a = r.read_iq_data(1000, 5000)
    np.testing.assert_allclose(a, iq[1000:6000], rtol=1e-6, atol=1e-6 * np.max(np.abs(iq)))
    b = r.read_iq_data(1000, 5000, dtype=np.complex128)
    assert b.dtype == np.complex128
    np.testing.assert_allclose(b, iq[1000:6000], rtol=1e-6, atol=1e-6 * np.max(np.abs(iq)))
    assert len(r.read_iq_samples(len(iq) - 100, 1000)) == 100  # cut at the end of the block
    # The capture holds a CW tone 1.8 MHz above the centre: numpy's spectrum of the decoded samples shows it.
    x = r.read_iq_data(0, 65536).astype(np.complex128)
    mag = np.abs(np.fft.fft(x * np.hanning(len(x))))
    f = np.fft.fftfreq(len(x), 1 / r.sampling_frequency_hz)
    band = (f > 1.7e6) & (f < 1.9e6)
    assert abs(f[band][np.argmax(mag[band])] - 1.8e6) < 2 * r.sampling_frequency_hz / len(x)


def test_iqt_flatness_is_the_correction_record(capture):
    _, _, _, _, corr, heads = capture
    r = corvane.IQTReader(CAPTURE)
    amp, ph, h = r.flatness()
    assert amp.dtype == np.float64 and amp.shape == (1024,)
    np.testing.assert_array_equal(amp, corr[:, 0] / 128)
    np.testing.assert_array_equal(ph, -corr[:, 1] / 128)
    np.testing.assert_array_equal(h, heads[125])
    ra, rp, _ = r.raw_flatness()
    np.testing.assert_array_equal(ra, corr[:, 0])
    np.testing.assert_array_equal(rp, corr[:, 1])


def test_iqt_refusals(tmp_path):
    with pytest.raises(corvane.Error) as e:
        corvane.IQTReader(str(tmp_path / "missing.iqt"))
    assert e.value.code == corvane.ErrorCode.OPENING_FILE
    bad = tmp_path / "bad.iqt"
    bad.write_bytes(b"9nonsense")
    with pytest.raises(corvane.Error) as e:
        corvane.IQTReader(bad)  # os.PathLike is accepted
    assert e.value.code == corvane.ErrorCode.READING_FILE
    r = corvane.IQTReader(CAPTURE)
    for first, count in [(120, 10), (-1, 2), (0, -1), (0, 1 << 30)]:
        with pytest.raises(corvane.Error) as e:
            r.iq_data(first, count)
        assert e.value.code == corvane.ErrorCode.INVALID_INPUT_PARAMETER
    with pytest.raises(corvane.Error):
        r.read_iq_data(-5, 10)
    with pytest.raises(TypeError):
        r.read_iq_data(0, 10, dtype=np.float32)
    with pytest.raises(TypeError):
        corvane.IQTReader(42)
    with pytest.raises(ValueError, match="NUL"):
        corvane.IQTReader("a\0b")


def test_mat_writer_variables_read_back_with_scipy(tmp_path, rng):
    path = tmp_path / "out.mat"
    c128 = (rng.standard_normal(7) + 1j * rng.standard_normal(7))
    f64 = rng.standard_normal(9)
    c64 = c128.astype(np.complex64)
    f32 = f64.astype(np.float32)
    u8 = np.arange(250, 256, dtype=np.uint8)
    i16 = np.array([-1, 0, 1, -32768, 32767], np.int16)
    with corvane.MatFileWriter(path) as w:
        w.write_vector("c128", c128)
        w.write_vector("f64", f64)
        w.write_vector("c64", c64)
        w.write_vector("f32", f32)
        w.write_vector("u8", u8)
        w.write_vector("i16", i16)
        w.write_vector("empty", np.zeros(0, np.float64))
        w.write_vector("replaced", np.ones(3))
        w.write_vector("replaced", np.full(2, 5.0))
        w.write_text("txt", "Corvane trace")
        w.write_scalar("s", 2.5)
    assert w.closed
    m = scipy.io.loadmat(str(path))
    for name, ref, dt in [("c128", c128, np.complex128), ("f64", f64, np.float64), ("c64", c64, np.complex64),
                          ("f32", f32, np.float32), ("u8", u8, np.uint8)]:
        assert m[name].shape == (len(ref), 1)
        assert m[name].dtype == dt
        np.testing.assert_array_equal(m[name][:, 0], ref)
    # int16 data go to the unsigned 16-bit class with their bits kept.
    assert m["i16"].dtype == np.uint16
    np.testing.assert_array_equal(m["i16"][:, 0].view(np.int16), i16)
    assert m["empty"].size == 0
    np.testing.assert_array_equal(m["replaced"][:, 0], [5.0, 5.0])
    assert m["txt"][0] == "Corvane trace"
    assert m["s"].shape == (1, 1) and m["s"][0, 0] == 2.5


def test_mat_writer_refusals(tmp_path):
    with pytest.raises(corvane.Error) as e:
        corvane.MatFileWriter(tmp_path / "no" / "such" / "dir.mat")
    assert e.value.code == corvane.ErrorCode.OPENING_FILE
    w = corvane.MatFileWriter(str(tmp_path / "x.mat"))
    with pytest.raises(TypeError, match="int32"):
        w.write_vector("a", np.zeros(3, np.int32))
    with pytest.raises(ValueError, match="one-dimensional"):
        w.write_vector("a", np.zeros((3, 3)))
    with pytest.raises(ValueError, match="contiguous"):
        w.write_vector("a", np.zeros(6)[::2])
    with pytest.raises(ValueError, match="NUL"):
        w.write_vector("a\0b", np.zeros(3))
    w.close()
    w.close()  # a second close does nothing
    with pytest.raises(ValueError, match="closed"):
        w.write_scalar("s", 1.0)
    assert scipy.io.loadmat(str(tmp_path / "x.mat")) is not None


def test_mat_writer_completes_its_file_when_collected_unclosed(tmp_path):
    path = str(tmp_path / "gc.mat")
    w = corvane.MatFileWriter(path)
    w.write_vector("v", np.arange(4.0))
    del w
    np.testing.assert_array_equal(scipy.io.loadmat(path)["v"][:, 0], np.arange(4.0))


def test_mat_reader_opens_mat_files_and_refuses_others(tmp_path):
    path = str(tmp_path / "r.mat")
    with corvane.MatFileWriter(path) as w:
        w.write_scalar("s", 1.0)
    with corvane.MatFileReader(path) as r:
        assert not r.closed
    assert r.closed
    r2 = corvane.MatFileReader(path)
    r2.close()
    r2.close()
    with pytest.raises(corvane.Error) as e:
        corvane.MatFileReader(str(tmp_path / "missing.mat"))
    assert e.value.code == corvane.ErrorCode.OPENING_FILE
    junk = tmp_path / "junk.mat"
    junk.write_bytes(b"not a MAT-file at all" * 20)
    with pytest.raises(corvane.Error) as e:
        corvane.MatFileReader(junk)
    assert e.value.code == corvane.ErrorCode.OPENING_FILE


@pytest.mark.skipif(not os.path.exists("/dev/full"), reason="needs /dev/full (a device that is always full)")
def test_mat_writer_reports_a_file_it_cannot_complete(capfd):
    w = corvane.MatFileWriter("/dev/full")
    w.write_vector("v", np.arange(1000.0))
    with pytest.raises(corvane.Error) as e:
        w.close()
    assert e.value.code == corvane.ErrorCode.CLOSING_FILE
    assert w.closed
    # Collected unclosed, the failure has no caller to go to: it is written to stderr, never a crash.
    w2 = corvane.MatFileWriter("/dev/full")
    w2.write_vector("v", np.arange(1000.0))
    del w2
    assert "could not be completed" in capfd.readouterr().err
    with pytest.raises(corvane.Error) as e:
        with corvane.MatFileWriter("/dev/full") as w3:
            w3.write_scalar("s", 1.0)
    assert e.value.code == corvane.ErrorCode.CLOSING_FILE
