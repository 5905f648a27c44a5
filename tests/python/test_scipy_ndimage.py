"""vlmathdsp.scipy.ndimage against scipy.ndimage on the same calls (every boundary mode, awkward
shapes, dtypes and layouts, outputs), what it hands to SciPy, and the one switch that puts the
faces in SciPy's place."""


import numpy as np
import pytest
import scipy.ndimage
import scipy.signal

import tolerance
from convolution import random
import vlmathdsp.scipy
import vlmathdsp.scipy.ndimage as ours
from transforms import assert_one_thread_matches_several

MODES = ["reflect", "constant", "nearest", "mirror", "wrap", "grid-constant", "grid-mirror", "grid-wrap"]
# A single element, two, odd and prime lengths, axes of length 1, and three dimensions.
SHAPES = [(1,), (2,), (13,), (1, 1), (6, 1), (1, 7), (9, 11), (4, 3, 5), (2, 1, 3)]


def data(shape, dtype, seed):
    """Normal values (complex: normal parts) times 4, of the dtype, C-ordered."""
    return random(np.random.default_rng(seed), shape, dtype, order="C") * np.dtype(dtype).type(4)


def close(got, want, terms=25):
    assert got.shape == want.shape and got.dtype == want.dtype, (got.shape, want.shape, got.dtype, want.dtype)
    if want.dtype.kind in "iu":
        # Truncated to integers: a sum an ulp either side of a whole number may land one apart.
        assert np.abs(got.astype(np.int64) - want.astype(np.int64)).max(initial=0) <= 1
        return
    tolerance.assert_close(got, want, terms=terms, growth="sqrt", factor=64)


def calls(ndim, rng):
    """(name, positional arguments, keywords) of every function, with weights of the input's rank."""
    dense = rng.standard_normal((3,) * ndim)
    even = rng.standard_normal((2,) * ndim)
    return [
        ("correlate1d", (np.array([0.5, -1.0, 2.0, 0.25]),), {"axis": 0}),
        ("convolve1d", (np.array([1.0, 2.0, -3.0]),), {"origin": -1}),
        ("correlate", (dense,), {}),
        ("convolve", (even,), {"origin": 0}),
        ("gaussian_filter", (1.3,), {}),
        ("gaussian_filter", ([0.8] + [2.0] * (ndim - 1),), {"order": 1, "truncate": 3.0}),
        ("gaussian_filter1d", (0.9,), {"order": 2, "radius": 5}),
        ("uniform_filter", (4,), {}),
        ("uniform_filter1d", (5,), {"origin": 1}),
        ("sobel", (), {"axis": 0}),
        ("prewitt", (), {}),
        ("laplace", (), {}),
        ("gaussian_laplace", (1.1,), {}),
        ("gaussian_gradient_magnitude", (0.7,), {"truncate": 2.5}),
    ]


@pytest.mark.parametrize("mode", MODES)
def test_every_function_and_mode_on_awkward_shapes(mode):
    """Kernels longer than the axes (each mode's extension beyond one period), axes of length 1,
    a constant border that is not 0."""
    rng = np.random.default_rng(MODES.index(mode))
    for shape in SHAPES:
        x = data(shape, np.float64, len(shape))
        for name, args, kwargs in calls(len(shape), rng):
            want = getattr(scipy.ndimage, name)(x, *args, mode=mode, cval=1.5, **kwargs)
            close(getattr(ours, name)(x, *args, mode=mode, cval=1.5, **kwargs), want)


@pytest.mark.parametrize("dtype", [np.float32, np.complex64, np.complex128, np.int16, np.uint8, np.int64])
def test_dtypes_layouts_and_outputs(dtype):
    """SciPy's dtype rules (integers truncate between passes too), Fortran order and strided views
    in, and output given as a dtype or as an array that is written and returned."""
    rng = np.random.default_rng(7)
    base = data((12, 14), np.float64, 3) * 10
    x = (base + 20).astype(dtype) if np.dtype(dtype).kind in "iu" else data((12, 14), dtype, 3)
    for layout in (x, np.asfortranarray(x), x[::2, ::-1], x.T):
        for name, args, kwargs in calls(2, rng):
            if np.dtype(dtype).kind == "c" and name in ("laplace", "gaussian_gradient_magnitude"):
                continue
            want = getattr(scipy.ndimage, name)(layout, *args, **kwargs)
            close(getattr(ours, name)(layout, *args, **kwargs), want)
    real = x.real if np.dtype(dtype).kind == "c" else x
    for output in (np.float32, np.float64):
        want = scipy.ndimage.gaussian_filter(real, 2.0, output=output)
        close(ours.gaussian_filter(real, 2.0, output=output), want)
    out = np.zeros(real.shape, np.float64)
    assert ours.uniform_filter(real, 3, output=out) is out
    close(out, scipy.ndimage.uniform_filter(real, 3, output=np.float64))


def test_complex_weights_and_per_axis_modes():
    rng = np.random.default_rng(11)
    x = data((8, 9), np.float64, 1)
    w = rng.standard_normal((3, 2)) + 1j * rng.standard_normal((3, 2))
    for name in ("correlate", "convolve"):
        close(getattr(ours, name)(x, w, mode="wrap"), getattr(scipy.ndimage, name)(x, w, mode="wrap"))
        close(getattr(ours, name)(x + 1j * x[::-1], w, cval=1 - 2j, mode="constant"),
              getattr(scipy.ndimage, name)(x + 1j * x[::-1], w, cval=1 - 2j, mode="constant"))
    for name in ("correlate1d", "convolve1d"):
        close(getattr(ours, name)(x, w[:, 1], axis=0), getattr(scipy.ndimage, name)(x, w[:, 1], axis=0))
    # Complex data with no imaginary part inside, and a complex border.
    for name, args in [("correlate1d", ([1.0, 2.0, 1.0],)), ("gaussian_filter", (1.0,)), ("uniform_filter", (3,))]:
        close(getattr(ours, name)(x + 0j, *args, mode="constant", cval=1 - 2j),
              getattr(scipy.ndimage, name)(x + 0j, *args, mode="constant", cval=1 - 2j))
    with pytest.warns(UserWarning, match="promoting specified output dtype to complex"):
        r = ours.correlate1d(x, w[:, 0], output=np.float64)
    assert r.dtype == np.complex128
    modes = ["nearest", "mirror"]
    for name, args in [("gaussian_filter", (1.5,)), ("uniform_filter", (3,)), ("sobel", ()), ("laplace", ()),
                       ("gaussian_laplace", (1.0,))]:
        close(getattr(ours, name)(x, *args, mode=modes), getattr(scipy.ndimage, name)(x, *args, mode=modes))
    # A filter is its 1-d filters in turn, to the bit.
    step = ours.gaussian_filter1d(ours.gaussian_filter1d(x, 1.0, axis=0, mode="reflect"), 1.0, axis=1, mode="wrap")
    np.testing.assert_array_equal(ours.gaussian_filter(x, 1.0, mode=["reflect", "wrap"]), step)


def test_single_precision_smoothing_keeps_the_mean():
    """Weights in single precision that sum to exactly 1: the sum of a large smoothed ramp stays
    within a part in 1e8 of the input's."""
    x = np.arange(100 * 100, dtype=np.float32).reshape(100, 100)
    for smoothed in (ours.gaussian_filter(x, [1.0, 1.0]), ours.uniform_filter(x, 5)):
        assert smoothed.dtype == np.float32
        assert abs(smoothed.sum(dtype=np.float64) - x.sum(dtype=np.float64)) < 1.0


def test_errors_are_scipys_and_name_the_argument():
    x = np.ones((4, 5))
    for name, args, kwargs, error, text in [
        ("correlate1d", ([1.0, 2.0],), {"origin": 2}, ValueError, "origin=2"),
        ("correlate", (np.ones(3),), {}, RuntimeError, "incorrect shape"),
        ("gaussian_filter", (1.0,), {"mode": "bad"}, RuntimeError, "mode='bad'"),
        ("gaussian_filter", (1.0,), {"mode": ["reflect"]}, RuntimeError, "length equal to input rank"),
        ("uniform_filter1d", (0,), {}, RuntimeError, "size=0"),
        ("gaussian_filter1d", (1.0,), {"radius": -1}, ValueError, "radius=-1"),
        ("gaussian_filter1d", (1.0,), {"order": -1}, ValueError, "order=-1"),
        ("correlate1d", ([1.0],), {"cval": 1j}, TypeError, "cval=1j"),
        ("correlate1d", ([1j],), {"cval": 1j}, ValueError, "cval=1j"),
        ("sobel", (), {"output": np.zeros((3, 3))}, RuntimeError, "output shape"),
        ("correlate1d", ([1.0],), {"axis": 2}, np.AxisError, ""),
    ]:
        with pytest.raises(error, match=text):
            getattr(ours, name)(x, *args, **kwargs)
        with pytest.raises(error):
            getattr(scipy.ndimage, name)(x, *args, **kwargs)


def test_what_the_engine_does_not_take_goes_to_scipy(monkeypatch):
    from vlmathdsp.scipy import _face
    handed = []
    original = _face.hand_back
    monkeypatch.setattr(_face, "hand_back", lambda name, *rest: (handed.append(name), original(name, *rest))[1])
    for x in (np.zeros((0, 4)), np.float64(3.0), np.ones((3, 3), bool)):
        want = scipy.ndimage.gaussian_filter(x, 1.0)
        got = ours.gaussian_filter(x, 1.0)
        assert got.dtype == want.dtype and np.array_equal(got, want)
    for x in (np.ones(5, np.float16), np.ones(4, np.longdouble)):
        with pytest.raises(RuntimeError, match="not supported"):  # SciPy's own refusal
            ours.gaussian_filter(x, 1.0)
    assert handed == ["ndimage.gaussian_filter"] * 5
    handed.clear()
    ours.gaussian_filter(np.ones((3, 3)), 1.0)
    assert handed == []


def test_one_thread_gives_the_bits_of_two(threads):
    x = data((300, 257), np.float64, 5)
    y = data((40, 30, 20), np.float32, 6)
    w = np.random.default_rng(2).standard_normal((5, 5, 5)).astype(np.float32)
    assert_one_thread_matches_several(threads, lambda: [
        ours.gaussian_filter(x, 3.0), ours.uniform_filter(x, 9, mode="wrap"), ours.sobel(x, 0),
        ours.convolve(y, w, mode="nearest"), ours.gaussian_laplace(y, 1.5)])


def test_patch_puts_every_face_in_place_and_unpatch_restores_scipy():
    import scipy.fft
    originals = {name: getattr(scipy.ndimage, name) for name in ours.__all__}
    lfilter = scipy.signal.lfilter
    with vlmathdsp.scipy.patched():
        for name in ours.__all__:
            assert getattr(scipy.ndimage, name) is getattr(ours, name)
        assert scipy.signal.lfilter is vlmathdsp.scipy.signal.lfilter
        with vlmathdsp.scipy.patched():  # nested: the outer block still has the faces after it
            pass
        assert scipy.ndimage.sobel is ours.sobel
        x = np.random.default_rng(0).standard_normal(64)
        with scipy.fft.set_backend("scipy", only=True):
            theirs = scipy.fft.fft(x)
        np.testing.assert_array_equal(scipy.fft.fft(x), vlmathdsp.scipy.fft.fft(x))
        np.testing.assert_allclose(scipy.fft.fft(x), theirs, atol=1e-12)
    for name, value in originals.items():
        assert getattr(scipy.ndimage, name) is value
    assert scipy.signal.lfilter is lfilter
