"""vlmathdsp.scipy.signal against scipy.signal on the same calls: values, shapes, dtypes, errors,
and what it passes to SciPy."""

import itertools

import numpy as np
import pytest
import scipy.signal

import tolerance
from convolution import random
import vlmathdsp.scipy.signal as ours
from vlmathdsp import Error
from transforms import assert_one_thread_matches_several

MODES = ["full", "same", "valid"]


def data(shape, dtype, seed):
    """Normal values (complex: normal parts) of the dtype, C-ordered."""
    return random(np.random.default_rng(seed), shape, dtype, order="C")


def close(got, want, terms=1):
    """Equal shapes and dtypes, values within the rounding of sums of `terms` products."""
    assert got.shape == want.shape and got.dtype == want.dtype, (got.shape, want.shape, got.dtype, want.dtype)
    tolerance.assert_close(got, want, terms=terms, growth="sqrt", factor=32)


# Odd and even lengths on either side, each input the larger, and sizes that mix.
PAIRS_1D = [(9, 4), (4, 9), (10, 3), (7, 7), (1, 5), (6, 1)]
PAIRS_2D = [((7, 8), (3, 4)), ((3, 4), (7, 8)), ((6, 5), (6, 2)), ((5, 9), (2, 9)), ((1, 6), (1, 3))]
PAIRS_3D = [((5, 6, 4), (2, 3, 3)), ((3, 2, 2), (6, 5, 4))]


@pytest.mark.parametrize("name", ["convolve", "correlate"])
@pytest.mark.parametrize("method", ["direct", "fft", "auto"])
def test_nd_convolution_matches_scipy(name, method):
    for (s1, s2), mode, dtype in itertools.product(PAIRS_1D + PAIRS_2D + PAIRS_3D, MODES, [np.float64, np.complex64]):
        a, b = data(s1, dtype, 1), data(s2, dtype, 2)
        want = getattr(scipy.signal, name)(a, b, mode, method="direct")
        close(getattr(ours, name)(a, b, mode, method), want, np.size(b))


@pytest.mark.parametrize("name", ["convolve2d", "correlate2d"])
def test_two_d_convolution_matches_scipy(name):
    for (s1, s2), mode, dtype in itertools.product(PAIRS_2D, MODES, [np.float32, np.float64, np.complex128]):
        a, b = data(s1, dtype, 3), data(s2, dtype, 4)
        want = getattr(scipy.signal, name)(a, b, mode)
        close(getattr(ours, name)(a, b, mode), want, b.size)


@pytest.mark.parametrize("name", ["fftconvolve", "oaconvolve"])
def test_fft_convolutions_match_scipy_on_both_paths(name):
    """Small kernels take the direct sum, large ones the transforms; both must agree with SciPy."""
    cases = [((200, 300), (5, 4)), ((120, 90), (64, 61)), ((5000,), (900,)), ((40, 30, 8), (9, 10, 3)),
             ((20000,), (301,)), ((300,), (20001,))]  # the last two in blocks, the longer first or second
    for (s1, s2), dtype in itertools.product(cases, [np.float64, np.complex128]):
        for mode in MODES:
            a, b = data(s1, dtype, 5), data(s2, dtype, 6)
            want = getattr(scipy.signal, name)(a, b, mode)
            close(getattr(ours, name)(a, b, mode), want, b.size)


def test_convolution_dtypes_follow_scipy():
    f32, f64, c64 = data((8, 9), np.float32, 7), data((3, 2), np.float64, 8), data((3, 2), np.complex64, 9)
    for a, b in [(f32, f32[:3, :2]), (f32, f64), (f32, c64), (f64, c64)]:
        for fn in ("convolve", "convolve2d", "fftconvolve", "correlate"):
            want = getattr(scipy.signal, fn)(a, b)
            assert getattr(ours, fn)(a, b).dtype == want.dtype, (fn, a.dtype, b.dtype)
    # Lists and non-zero fill values are SciPy's, with SciPy's results.
    ints = np.arange(12).reshape(3, 4)
    for got, want in [
        (ours.convolve(ints, ints[:2, :2]), scipy.signal.convolve(ints, ints[:2, :2])),
        (ours.convolve([1, 2, 3], [0.5, 1]), scipy.signal.convolve([1, 2, 3], [0.5, 1])),
        (ours.convolve2d(f64, f64[:2], boundary="wrap"), scipy.signal.convolve2d(f64, f64[:2], boundary="wrap")),
        (ours.correlate2d(f64, f64[:2], fillvalue=2), scipy.signal.correlate2d(f64, f64[:2], fillvalue=2)),
    ]:
        assert got.dtype == want.dtype
        np.testing.assert_allclose(got, want, rtol=1e-13, atol=1e-13)


def test_integer_convolutions_are_exact_or_scipys(monkeypatch):
    """Integers whose sums stay below 2^53 and the type's range are served in double precision and
    rounded back, exactly as SciPy's integer arithmetic gives them; others go to SciPy, whose sums
    wrap as its integer type does."""
    from vlmathdsp.scipy import _face
    handed = []
    original = _face.hand_back
    monkeypatch.setattr(_face, "hand_back", lambda name, *rest: (handed.append(name), original(name, *rest))[1])
    rng = np.random.default_rng(10)
    for dtype in (np.int8, np.uint16, np.int32, np.uint64):
        a, b = rng.integers(0, 4, (40, 33)).astype(dtype), rng.integers(0, 2, (5, 4)).astype(dtype)
        for fn in ("convolve", "correlate"):
            for method in ("direct", "fft", "auto"):
                got, want = getattr(ours, fn)(a, b, "same", method), getattr(scipy.signal, fn)(a, b, "same", method)
                assert got.dtype == want.dtype and np.array_equal(got, want), (dtype, fn, method)
        for fn in ("convolve2d", "correlate2d"):
            got, want = getattr(ours, fn)(a, b, "valid"), getattr(scipy.signal, fn)(a, b, "valid")
            assert got.dtype == want.dtype and np.array_equal(got, want), (dtype, fn)
    assert handed == []
    wraps = np.full(3, 200, np.uint8)
    np.testing.assert_array_equal(ours.convolve(wraps, wraps), scipy.signal.convolve(wraps, wraps))
    assert handed == ["signal.convolve"]


def test_convolution_errors_are_scipys():
    a, b = np.ones((4, 5)), np.ones((5, 4))
    with pytest.raises(ValueError, match=r"\(4, 5\) and \(5, 4\)"):
        ours.convolve(a, b, "valid")
    for call in [lambda m: m.convolve(a, b, "valid"), lambda m: m.convolve(a, b[0], "full"),
                 lambda m: m.convolve(a, b, "middle"), lambda m: m.convolve2d(a[0], b[0]),
                 lambda m: m.correlate2d(a, b, "valid"), lambda m: m.convolve(a, b, method="best")]:
        with pytest.raises(ValueError) as want:
            call(scipy.signal)
        with pytest.raises(ValueError) as got:
            call(ours)
        # SciPy's text, with the offending value or sizes where SciPy leaves them out.
        assert str(got.value).lower().startswith(str(want.value).lower().rstrip("."))


def test_lfilter_matches_scipy_along_every_axis_with_and_without_zi():
    rng = np.random.default_rng(10)
    filters = [([0.2, 0.3, 0.5], [1.0]), ([1.0, -0.5], [2.0, -0.9, 0.2]), ([0.1] * 20, [1.0, -0.3]),
               ([0.4, 0.1, 0.3, 0.2], [1.0, 0.5, -0.2, 0.1])]
    for (b, a), dtype in itertools.product(filters, [np.float64, np.float32, np.complex128]):
        x = data((7, 30, 4), dtype, 11)
        b, a = np.asarray(b, dtype=np.result_type(dtype, np.float32)), np.asarray(a, dtype=np.result_type(dtype, np.float32))
        for axis in (0, 1, -1):
            want = scipy.signal.lfilter(b, a, x, axis)
            close(ours.lfilter(b, a, x, axis), want, 30)
            zshape = list(x.shape)
            zshape[axis] = max(len(a), len(b)) - 1
            zi = rng.standard_normal(zshape).astype(dtype)
            want_y, want_zf = scipy.signal.lfilter(b, a, x, axis, zi)
            got_y, got_zf = ours.lfilter(b, a, x, axis, zi)
            close(got_y, want_y, 30)
            close(got_zf, want_zf, 30)
    # A step held from lfilter_zi stays at its steady state.
    b, a = scipy.signal.butter(3, 0.2)
    zi = ours.lfilter_zi(b, a)
    y, _ = ours.lfilter(b, a, np.ones(50), zi=zi)
    np.testing.assert_allclose(y, np.ones(50), atol=1e-12)
    with pytest.raises(ValueError, match="Unexpected shape for zi"):
        ours.lfilter(b, a, np.ones((3, 40)), zi=np.zeros((3, 4)))


def test_lfilter_dtypes_follow_scipy():
    for b, a, x in [([0.5, 0.5], [1.0], np.ones(5, np.float32)),
                    (np.float32([0.5, 0.5]), np.float32([1, -0.2]), np.ones(5, np.float32)),
                    ([1, 2], [1, 0.5], np.arange(5)), ([1, 2], [1], np.arange(5.0))]:
        want = scipy.signal.lfilter(b, a, x)
        got = ours.lfilter(b, a, x)
        assert got.dtype == want.dtype
        np.testing.assert_allclose(got, want, rtol=1e-6)


def test_lfilter_of_a_vector_takes_the_direct_call_with_the_same_bits():
    """A 1-d ndarray without zi goes straight to the engine: the general path (a row of a matrix)
    gives the same bits, SciPy the same values, complex results stay complex."""
    rng = np.random.default_rng(9)
    b, a = scipy.signal.butter(4, 0.3)
    for dtype in (np.float64, np.float32, np.complex128, np.complex64):
        for size in (1, 100, 5000):
            x = data(size, dtype, size)
            for coefficients in [(b, a), (b.astype(np.float32), a.astype(np.float32)), (list(b[:3]), [1.0])]:
                got = ours.lfilter(*coefficients, x)
                np.testing.assert_array_equal(got, ours.lfilter(*coefficients, x[None], axis=-1)[0])
                close(got, scipy.signal.lfilter(*coefficients, x), size)
    zero_imag = ours.lfilter(b, a, np.ones(8, np.complex128))
    assert zero_imag.dtype == np.complex128
    # what the direct call does not take goes the general way: a[0] == 0, byte-swapped or
    # integer data, 2-d coefficients
    x = data(50, np.float64, 3)
    with pytest.raises(ValueError, match="a\\[0\\] == 0"):
        ours.lfilter(b, np.r_[0.0, a[1:]], x)
    # an engine error on the direct call is raised by the general path, which names the arguments
    with pytest.raises(Error, match="firstElementOfDenominatorFilterNotFinite") as caught:
        ours.lfilter(b, np.r_[np.nan, a[1:]], x)
    assert caught.value.called_with == "5 float64, 5 float64, 50 float64"
    for args in [(b, a, x.astype(">f8")), (b, a, np.arange(50)), (b[None], a, x)]:
        try:
            want = scipy.signal.lfilter(*args)
        except ValueError as e:
            with pytest.raises(ValueError):
                ours.lfilter(*args)
            continue
        got = ours.lfilter(*args)
        assert got.dtype == want.dtype and got.shape == want.shape
        close(got, want, 50)


def test_sosfilt_matches_scipy():
    sos = scipy.signal.butter(6, [0.1, 0.4], "bandpass", output="sos")
    x = data((3, 500), np.float64, 12)
    close(ours.sosfilt(sos, x), scipy.signal.sosfilt(sos, x), 500)
    close(ours.sosfilt(sos.astype(np.float32), x.astype(np.float32), axis=1),
          scipy.signal.sosfilt(sos.astype(np.float32), x.astype(np.float32), axis=1), 500)
    zi = np.random.default_rng(13).standard_normal((sos.shape[0], 2, 500))
    for got, want in zip(ours.sosfilt(sos, x, axis=0, zi=zi), scipy.signal.sosfilt(sos, x, axis=0, zi=zi)):
        close(got, want, 500)
    zi = ours.sosfilt_zi(sos)[:, :, None] * x[:, 0]
    for got, want in zip(ours.sosfilt(sos, x.T, axis=0, zi=zi), scipy.signal.sosfilt(sos, x.T, axis=0, zi=zi)):
        close(got, want, 500)


def test_dlsim_matches_scipy():
    rng = np.random.default_rng(14)
    A = np.array([[0.5, 0.1, 0.0], [0.0, 0.3, 0.2], [0.1, 0.0, 0.7]])
    B, C, D = rng.standard_normal((3, 2)), rng.standard_normal((2, 3)), rng.standard_normal((2, 2))
    u = rng.standard_normal((60, 2))
    x0 = rng.standard_normal(3)
    for system, inputs in [((A, B, C, D, 0.1), u), ((A, B, C, D, 0.1), u[:1]),
                           (scipy.signal.dlti([1.0, 0.5], [1.0, -0.6, 0.1], dt=0.5), u[:, 0]),
                           (([0.3, 0.2], [1.0, -0.4], 1.0), u[:, 1])]:
        kw = dict(x0=x0) if isinstance(system, tuple) and len(system) == 5 else {}
        want = scipy.signal.dlsim(system, inputs, **kw)
        got = ours.dlsim(system, inputs, **kw)
        for g, w in zip(got, want):
            close(np.asarray(g), np.asarray(w), 60)
    # Interpolated times are SciPy's.
    t = np.linspace(0, 5, 60)
    for g, w in zip(ours.dlsim((A, B, C, D, 0.1), u, t=t * 0.1), scipy.signal.dlsim((A, B, C, D, 0.1), u, t=t * 0.1)):
        np.testing.assert_allclose(g, w)


def test_results_do_not_depend_on_threads(threads):
    image, kernel = data((700, 500), np.float64, 15), data((9, 8), np.float64, 16)
    x = data((20, 20000), np.float64, 17)
    sos = scipy.signal.butter(4, 0.3, output="sos")
    assert_one_thread_matches_several(threads, lambda: [
        ours.convolve2d(image, kernel, "same"), ours.fftconvolve(image, image[:90, :70]),
        ours.lfilter([0.2, 0.3], [1.0, -0.5], x), ours.sosfilt(sos, x, axis=0)])
