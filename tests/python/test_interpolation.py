# The interpolators against scipy.interpolate on random knots, in both widths, with their extrapolation,
# the factory's kinds, and the refusals (too few knots, lengths that differ, unsorted knots for PCHIP,
# wrong dtypes and shapes).
import numpy as np
import pytest
from scipy import interpolate

import corvane

KINDS = [corvane.Interpolation, corvane.Spline, corvane.NearestInterpolation, corvane.CubicHermiteInterpolation]


def knots(rng, n=25, dtype=np.float64):
    x = np.sort(rng.uniform(-5.0, 5.0, n))
    # Keep the knots apart, so that float32 rounding cannot merge two of them.
    x = x + np.arange(n) * 0.05
    y = rng.standard_normal(n)
    return x.astype(dtype), y.astype(dtype)


def queries(rng, x, n=400, dtype=np.float64):
    # Inside the knots and up to one unit beyond both ends (extrapolation).
    return rng.uniform(float(x[0]) - 1.0, float(x[-1]) + 1.0, n).astype(dtype)


@pytest.mark.parametrize("dtype,rtol", [(np.float64, 1e-12), (np.float32, 2e-5)])
def test_linear_matches_scipy_inside_and_extrapolates_along_the_end_segments(rng, dtype, rtol):
    x, y = knots(rng, dtype=dtype)
    q = queries(rng, x, dtype=dtype)
    got = corvane.Interpolation().interpolate(x, y, q)
    assert got.dtype == dtype and got.shape == q.shape
    ref = interpolate.interp1d(x.astype(np.float64), y.astype(np.float64), fill_value="extrapolate")(q.astype(np.float64))
    np.testing.assert_allclose(got, ref, rtol=rtol, atol=rtol * 10)


@pytest.mark.parametrize("dtype,rtol", [(np.float64, 1e-10), (np.float32, 1e-4)])
def test_natural_spline_matches_scipy_cubic_spline(rng, dtype, rtol):
    x, y = knots(rng, dtype=dtype)
    q = queries(rng, x, dtype=dtype)
    got = corvane.Spline().interpolate(x, y, q)
    ref = interpolate.CubicSpline(x.astype(np.float64), y.astype(np.float64), bc_type="natural")(q.astype(np.float64))
    np.testing.assert_allclose(got, ref, rtol=rtol, atol=rtol * 10)


def test_clamped_spline_matches_scipy_and_the_condition_persists(rng):
    x, y = knots(rng)
    q = queries(rng, x)
    s = corvane.Spline()
    s.set_boundary_condition1(0.7)
    s.set_boundary_condition2(-1.3)
    ref = interpolate.CubicSpline(x, y, bc_type=((1, 0.7), (1, -1.3)))(q)
    for _ in range(2):
        np.testing.assert_allclose(s.interpolate(x, y, q), ref, rtol=1e-10, atol=1e-10)
    s.set_natural_spline()
    np.testing.assert_allclose(s.interpolate(x, y, q), interpolate.CubicSpline(x, y, bc_type="natural")(q),
                               rtol=1e-10, atol=1e-10)


@pytest.mark.parametrize("dtype,rtol", [(np.float64, 1e-10), (np.float32, 1e-4)])
def test_cubic_hermite_matches_scipy_pchip(rng, dtype, rtol):
    x, y = knots(rng, dtype=dtype)
    q = queries(rng, x, dtype=dtype)
    got = corvane.CubicHermiteInterpolation().interpolate(x, y, q)
    ref = interpolate.PchipInterpolator(x.astype(np.float64), y.astype(np.float64), extrapolate=True)(q.astype(np.float64))
    np.testing.assert_allclose(got, ref, rtol=rtol, atol=rtol * 10)


def test_cubic_hermite_keeps_monotone_data_monotone(rng):
    x = np.cumsum(rng.uniform(0.1, 1.0, 30))
    y = np.cumsum(rng.uniform(0.0, 2.0, 30))
    q = np.linspace(x[0], x[-1], 2000)
    assert np.all(np.diff(corvane.CubicHermiteInterpolation().interpolate(x, y, q)) >= 0)


def test_nearest_takes_the_nearest_knot_and_the_end_values_outside(rng):
    x, y = knots(rng)
    mid = (x[:-1] + x[1:]) / 2
    q = queries(rng, x)
    q = q[np.min(np.abs(q[:, None] - mid[None, :]), axis=1) > 1e-9]  # off the midpoints
    got = corvane.NearestInterpolation().interpolate(x, y, q)
    ref = interpolate.interp1d(x, y, kind="nearest", bounds_error=False, fill_value=(y[0], y[-1]))(q)
    np.testing.assert_array_equal(got, ref)


def test_nearest_on_a_midpoint_takes_the_upper_knot_except_on_the_last():
    x = np.array([0.0, 1.0, 2.0, 3.0])
    y = np.array([10.0, 11.0, 12.0, 13.0])
    got = corvane.NearestInterpolation().interpolate(x, y, np.array([0.5, 1.5, 2.5]))
    np.testing.assert_array_equal(got, [11.0, 12.0, 12.0])


@pytest.mark.parametrize("kind", KINDS)
def test_a_scalar_query_equals_the_vector_form(rng, kind):
    x, y = knots(rng)
    q = queries(rng, x, 5)
    obj = kind()
    vec = obj.interpolate(x, y, q)
    for qi, vi in zip(q, vec):
        v = obj.interpolate(x, y, float(qi))
        assert isinstance(v, float)
        assert v == pytest.approx(vi, rel=1e-12, abs=1e-12)
    # numpy's scalars are numbers too.
    assert obj.interpolate(x, y, np.float32(q[0])) == pytest.approx(obj.interpolate(x, y, float(np.float32(q[0]))))
    assert obj.interpolate(x, y, np.int64(1)) == obj.interpolate(x, y, 1.0)
    x32, y32 = x.astype(np.float32), y.astype(np.float32)
    v32 = obj.interpolate(x32, y32, float(q[0]))
    assert v32 == pytest.approx(float(obj.interpolate(x32, y32, q[:1].astype(np.float32))[0]), rel=1e-6)


def test_factory_makes_each_kind_and_remembers_it(rng):
    f = corvane.InterpolationFactory()
    assert f.type == corvane.InterpolationType.LINEAR
    x, y = knots(rng)
    q = queries(rng, x)
    for t, cls in zip([corvane.InterpolationType.LINEAR, corvane.InterpolationType.SPLINE,
                       corvane.InterpolationType.NEAREST, corvane.InterpolationType.CUBIC_HERMITE], KINDS):
        obj = f.make_interpolation(t)
        assert type(obj) is cls
        assert f.type == t
        np.testing.assert_array_equal(obj.interpolate(x, y, q), cls().interpolate(x, y, q))
    assert isinstance(f.make_interpolation(corvane.InterpolationType.SPLINE), corvane.Interpolation)


def test_check_ascending_order():
    assert corvane.Interpolation.check_ascending_order(np.array([1.0, 2.0, 3.0]))
    assert not corvane.Interpolation.check_ascending_order(np.array([1.0, 1.0, 3.0], np.float32))
    assert corvane.Interpolation.check_ascending_order(np.array([], np.float64))


@pytest.mark.parametrize("kind", KINDS)
def test_fewer_than_two_knots_raise_invalid_input(kind):
    # Also for the cubic Hermite kind, whose routines would otherwise end the process.
    with pytest.raises(corvane.Error) as e:
        kind().interpolate(np.array([1.0]), np.array([2.0]), np.array([0.5]))
    assert e.value.code == corvane.ErrorCode.INVALID_INPUT_PARAMETER
    with pytest.raises(corvane.Error):
        kind().interpolate(np.array([1.0]), np.array([2.0]), 0.5)


@pytest.mark.parametrize("kind", KINDS)
def test_knots_and_values_of_different_lengths_raise_size_mismatch(kind):
    with pytest.raises(corvane.Error) as e:
        kind().interpolate(np.arange(5.0), np.arange(4.0), np.array([0.5]))
    assert e.value.code == corvane.ErrorCode.SIZE_MISMATCH


def test_cubic_hermite_refuses_unsorted_knots_and_gives_nothing_for_no_queries():
    p = corvane.CubicHermiteInterpolation()
    with pytest.raises(corvane.Error) as e:
        p.interpolate(np.array([0.0, 2.0, 1.0]), np.zeros(3), np.array([0.5]))
    assert e.value.code == corvane.ErrorCode.INVALID_INPUT_PARAMETER
    out = p.interpolate(np.arange(3.0), np.zeros(3), np.array([], np.float64))
    assert out.shape == (0,) and out.dtype == np.float64


@pytest.mark.parametrize("kind", KINDS)
def test_bad_arrays_raise_type_and_value_errors(kind):
    obj = kind()
    x = np.arange(6.0)
    y = np.arange(6.0) ** 2
    with pytest.raises(TypeError, match="float32"):
        obj.interpolate(x.astype(np.float32), y, np.array([0.5]))
    with pytest.raises(TypeError, match="queries"):
        obj.interpolate(x, y, np.array([0.5], np.float32))
    with pytest.raises(TypeError, match="x"):
        obj.interpolate(x.astype(np.int64), y, np.array([0.5]))
    with pytest.raises(TypeError, match="numpy array"):
        obj.interpolate(list(x), y, np.array([0.5]))
    with pytest.raises(TypeError, match="queries"):
        obj.interpolate(x, y, "0.5")
    with pytest.raises(TypeError, match="queries"):
        obj.interpolate(x, y, 0.5 + 1j)
    with pytest.raises(ValueError, match="one-dimensional"):
        obj.interpolate(x, y, np.zeros((2, 2)))
    with pytest.raises(ValueError, match="contiguous"):
        obj.interpolate(np.arange(12.0)[::2], y, np.array([0.5]))


def test_spline_table_evaluates_the_spline_of_its_knots(rng):
    x, y = knots(rng, dtype=np.float32)
    q = queries(rng, x, dtype=np.float32)
    s = corvane.Spline()
    s.set_boundary_condition1(0.5)
    table = s.make_spline_table(y, x)
    assert table.dtype == np.float32 and table.shape == x.shape
    got = s.interpolate_table(q, y, x, table)
    ref = interpolate.CubicSpline(x.astype(np.float64), y.astype(np.float64), bc_type=((1, 0.5), (2, 0.0)))
    np.testing.assert_allclose(got, ref(q.astype(np.float64)), rtol=1e-4, atol=1e-4)
    # The table's second derivatives are those of the spline.
    np.testing.assert_allclose(table, ref(x.astype(np.float64), 2), rtol=1e-3, atol=1e-3)
    assert s.interpolate_table(float(q[3]), y, x, table) == pytest.approx(float(got[3]), rel=1e-6, abs=1e-6)
    # A table that does not fit the knots gives NaN, never a read beyond it.
    assert np.all(np.isnan(s.interpolate_table(q, y, x, table[:5])))
    assert np.isnan(s.interpolate_table(0.0, y[:3], x, table))
    with pytest.raises(corvane.Error) as e:
        s.make_spline_table(y[:-1], x)
    assert e.value.code == corvane.ErrorCode.SIZE_MISMATCH
    with pytest.raises(corvane.Error) as e:
        s.make_spline_table(y[:1], x[:1])
    assert e.value.code == corvane.ErrorCode.INVALID_INPUT_PARAMETER
    with pytest.raises(TypeError, match="float32"):
        s.make_spline_table(y.astype(np.float64), x)
