# Every array argument refuses a non-array, a wrong dtype, a wrong shape and a non-contiguous array with
# TypeError / ValueError, and the library's own refusals arrive as corvane.Error with code and message.
import pickle

import numpy as np
import pytest

import corvane

C64 = np.complex64
F32 = np.float32


def stepped_apply(x):
    ss = corvane.SteppedSpectrum()
    ss.init(span_hz=40e6, center_freq_hz=100e6, rbw_hz=100e3, points=801, acq_span_hz=10e6, samp_freq_hz=12.5e6)
    return ss.apply(x, 0)


def planned_stepped():
    ss = corvane.SteppedSpectrum()
    ss.init(span_hz=40e6, center_freq_hz=100e6, rbw_hz=100e3, points=801, acq_span_hz=10e6, samp_freq_hz=12.5e6)
    return ss


def stepped_apply2(x):
    return planned_stepped().apply2(x, 0, corvane.DetectorType.MAX)


MAG_LEN = len(planned_stepped().apply1(np.ones(5000, C64), 0))


def zoom_apply(x):
    z = corvane.DigitalZoom(src_center_hz=0.0, src_span_hz=10e6, src_samp_freq_hz=12.5e6)
    z.set_parameters(center_hz=1e6, span_hz=1e6, rbw_hz=10e3)
    return z.apply(x)


def source_apply(x):
    s = corvane.DigitalSource(src_center_hz=0.0, src_span_hz=10e6, src_samp_freq_hz=12.5e6)
    s.set_parameters(center_hz=1e6, span_hz=1e6)
    return s.apply(x)


def made_filter():
    f = corvane.FIRFilterFactory().make_filter(corvane.FilterType.GAUSSIAN)
    f.set_parameters(sampling_rate_hz=8e6, symbol_rate_hz=1e6, rolloff=0.5, taps=33)
    return f


# (name, call taking the array, a dtype the call accepts, the length it needs)
CASES = [
    ("FT.forward", lambda x: corvane.FT().forward(x), C64, 64),
    ("FT.inverse", lambda x: corvane.FT().inverse(x), C64, 64),
    ("Window.apply", lambda x: corvane.Window(type=corvane.WindowType.HANN, size=64).apply(x), C64, 64),
    ("ChirpZ.apply", lambda x: corvane.ChirpZ(input_size=64, sample_rate_hz=1.0, output_size=8, start_freq_hz=0.0,
                                              freq_step_hz=0.01).apply(x), C64, 64),
    ("Spectrum.apply", lambda x: corvane.Spectrum(size=64).apply(x), C64, 64),
    ("SteppedSpectrum.apply", stepped_apply, C64, 5000),
    ("SteppedSpectrum.apply2", stepped_apply2, F32, MAG_LEN),
    ("CISPRDetector.apply", lambda x: corvane.CISPRDetector(1e6).apply(x, 0, 1, corvane.DetectorType.CISPR_PEAK),
     F32, 64),
    ("DigitalZoom.apply", zoom_apply, C64, 4000),
    ("DigitalSource.apply", source_apply, C64, 4000),
    ("FIRFilter.apply(taps)", lambda x: corvane.FIRFilter().apply(x, np.ones(64, F32)), F32, 8),
    ("FIRFilter.apply(x)", lambda x: corvane.FIRFilter().apply(np.ones(8, F32), x), F32, 64),
    ("SFIRFilter()", lambda x: corvane.SFIRFilter(x), F32, 8),
    ("SFIRFilter.apply", lambda x: corvane.SFIRFilter(np.ones(8, F32)).apply(x), F32, 64),
    ("DecimationFilter()", lambda x: corvane.DecimationFilter(1, x), F32, 9),
    ("DecimationFilter.apply", lambda x: corvane.DecimationFilter(1, np.ones(9, F32)).apply(x), F32, 64),
    ("FIRBaseFilter.apply", lambda x: made_filter().apply(x), F32, 64),
]
IDS = [c[0] for c in CASES]


@pytest.mark.parametrize("name,call,dtype,n", CASES, ids=IDS)
def test_a_list_is_type_error(name, call, dtype, n):
    with pytest.raises(TypeError, match="numpy array"):
        call([0.0] * n)


@pytest.mark.parametrize("name,call,dtype,n", CASES, ids=IDS)
def test_a_wrong_dtype_is_type_error_naming_the_dtypes(name, call, dtype, n):
    with pytest.raises(TypeError, match="int16"):
        call(np.zeros(n, np.int16))


# Spectrum.apply takes a (B, N) batch as well; its own cases follow.
ONE_DIMENSIONAL = [c for c in CASES if c[0] != "Spectrum.apply"]


@pytest.mark.parametrize("name,call,dtype,n", ONE_DIMENSIONAL, ids=[c[0] for c in ONE_DIMENSIONAL])
def test_a_two_dimensional_array_is_value_error(name, call, dtype, n):
    with pytest.raises(ValueError, match="one-dimensional|samples"):
        call(np.zeros((2, n), dtype))


@pytest.mark.parametrize("name,call,dtype,n", CASES, ids=IDS)
def test_a_strided_array_is_value_error(name, call, dtype, n):
    with pytest.raises(ValueError, match="contiguous"):
        call(np.zeros(2 * n, dtype)[::2])


@pytest.mark.parametrize("name,call,dtype,n", CASES, ids=IDS)
def test_the_accepted_form_runs(name, call, dtype, n):
    call(np.ones(n, dtype))


def test_spectrum_batch_bad_shapes_and_dtypes():
    sp = corvane.Spectrum(size=64)
    with pytest.raises(ValueError, match="rows of 64 samples"):
        sp.apply(np.zeros((2, 63), C64))
    with pytest.raises(ValueError, match="dimensions"):
        sp.apply(np.zeros((2, 2, 64), C64))
    with pytest.raises(ValueError, match="contiguous"):
        sp.apply(np.zeros((2, 128), C64)[:, ::2])
    with pytest.raises(ValueError, match="contiguous"):
        sp.apply(np.zeros((64, 2), C64).T)
    with pytest.raises(TypeError, match="int16"):
        sp.apply(np.zeros((2, 64), np.int16))


def test_error_carries_code_and_message_and_pickles():
    with pytest.raises(corvane.Error) as e:
        corvane.RBWFilter.decimation_factor(0.0, 1.0)
    err = e.value
    assert isinstance(err, Exception)
    assert err.code == corvane.ErrorCode.INVALID_INPUT_PARAMETER and int(err.code) == 8005
    assert err.message == "invalid input parameter"
    assert "invalid input parameter" in str(err) and "8005" in str(err)
    back = pickle.loads(pickle.dumps(err))
    assert back.code == err.code and back.message == err.message


def test_wrong_argument_types_are_type_errors():
    with pytest.raises(TypeError):
        corvane.Spectrum(size="64")
    with pytest.raises(TypeError):
        corvane.Window(type=3, size=64)  # enums are not plain integers
    with pytest.raises(TypeError):
        corvane.SteppedSpectrum().init(1.0, 2.0)  # keywords only


def test_negative_generator_length_is_value_error():
    with pytest.raises(ValueError):
        corvane.SteppedSpectrum.gen_cw(0.1, -1)
