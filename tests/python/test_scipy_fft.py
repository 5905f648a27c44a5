"""vlmathdsp.scipy.fft against scipy.fft on the same calls: values, shapes, dtypes, errors, the
backend protocol, memory orders and thread counts."""

import threading

import numpy as np
import pytest
import scipy.fft

import vlmathdsp as vm
import vlmathdsp.scipy.fft as ours
from transforms import assert_one_thread_matches_several, assert_transform_close

NORMS = [None, "backward", "ortho", "forward"]
ONE_D = ["fft", "ifft", "rfft", "irfft", "hfft", "ihfft"]
N_D = ["fftn", "ifftn", "fft2", "ifft2", "rfftn", "irfftn", "rfft2", "irfft2"]
TAKES_COMPLEX = {"fft", "ifft", "irfft", "hfft", "fftn", "ifftn", "fft2", "ifft2", "irfftn", "irfft2"}


def sample(name, shape, dtype, seed):
    rng = np.random.default_rng(seed)
    x = rng.standard_normal(shape)
    if name in TAKES_COMPLEX and np.dtype(dtype).kind == "c":
        x = x + 1j * rng.standard_normal(shape)
    return x.astype(dtype)


def same(got, want, points):
    assert got.shape == want.shape and got.dtype == want.dtype, (got.shape, want.shape, got.dtype, want.dtype)
    assert_transform_close(got, want, points, got.dtype in (np.complex64, np.float32))


@pytest.mark.parametrize("name", ONE_D)
@pytest.mark.parametrize("norm", NORMS)
def test_one_axis_lengths_and_norms(name, norm):
    for dtype in (np.float64, np.complex128, np.float32, np.complex64, np.int32, np.float16):
        if dtype in (np.complex128, np.complex64) and name not in TAKES_COMPLEX:
            continue
        x = sample(name, (6, 9, 5), dtype, 1)
        for axis in (0, 1, -1):
            for n in (None, 1, 4, 13):
                if name in ("irfft", "hfft") and n is None and x.shape[axis] == 1:
                    continue
                want = getattr(scipy.fft, name)(x, n, axis, norm)
                same(getattr(ours, name)(x, n, axis, norm), want, want.shape[axis])


@pytest.mark.parametrize("name", N_D)
@pytest.mark.parametrize("norm", [None, "ortho", "forward"])
def test_several_axes_with_sizes(name, norm):
    x = sample(name, (6, 7, 4), np.complex128 if name in TAKES_COMPLEX else np.float64, 2)
    two = name.endswith("2")
    cases = [dict(), dict(s=(5, 8)), dict(axes=(0, 2)), dict(axes=(-1, 0), s=(3, 9))]
    if not two:
        cases += [dict(axes=(1,)), dict(s=(4, 3, 10)), dict(axes=(2, 0, 1))]
    for kw in cases:
        want = getattr(scipy.fft, name)(x, norm=norm, **kw)
        same(getattr(ours, name)(x, norm=norm, **kw), want, want.size)


def test_results_do_not_depend_on_memory_order_or_threads(threads):
    x = np.random.default_rng(3).standard_normal((64, 48, 10)).astype(np.float32)
    views = [x, np.asfortranarray(x), np.ascontiguousarray(x[::-1])[::-1]]
    for name in ("fftn", "rfftn", "fft"):
        results = [getattr(ours, name)(v) for v in views]
        for r in results[1:]:
            np.testing.assert_array_equal(r, results[0])
    big = np.random.default_rng(4).standard_normal((512, 600))
    threads(2)
    several = [ours.fft2(big), ours.rfft(big, axis=0), ours.irfft(ours.rfft(big))]
    one = [ours.fft2(big, workers=1), ours.rfft(big, axis=0, workers=1), ours.irfft(ours.rfft(big), workers=1)]
    for a, b in zip(one, several):
        np.testing.assert_array_equal(a, b)


def test_small_vectors_take_the_direct_call_with_the_same_bits():
    """A 1-d array at the library's setting goes straight to the engine; the general path (a row
    of a matrix, or workers given) gives the same bits, and SciPy the same values."""
    rng = np.random.default_rng(5)
    for dtype in (np.complex128, np.complex64, np.float64, np.float32):
        for size in (1, 7, 64, 1000):
            x = rng.standard_normal(size).astype(dtype)
            for name in ("fft", "ifft"):
                f = getattr(ours, name)
                np.testing.assert_array_equal(f(x), f(x[None])[0])
                assert f(x).dtype == f(x[None]).dtype
                for n in (None, 5, 64, size + 3):
                    got = f(x, n)
                    np.testing.assert_array_equal(got, f(x[None], n)[0])
                    np.testing.assert_array_equal(got, f(x, n, workers=1))
                    want = getattr(scipy.fft, name)(x, n)
                    same(got, want, want.size)
    # awkward vectors: strided, byte-swapped, integer, read-only, and a real spectrum
    x = rng.standard_normal(40) + 1j * rng.standard_normal(40)
    frozen = x.copy()
    frozen.flags.writeable = False
    for v in (x[::3], x.astype(">c16"), np.arange(9), frozen, np.ones(4), np.zeros(1, np.float32)):
        for name in ("fft", "ifft"):
            got, want = getattr(ours, name)(v), getattr(scipy.fft, name)(v)
            assert got.dtype == want.dtype and got.shape == want.shape
            np.testing.assert_array_equal(got, getattr(ours, name)(np.asarray(v)[None])[0])
            same(got, want, want.size)


def test_workers_hold_for_the_call_and_the_calling_thread_only(threads):
    threads(2)
    seen = []
    x = np.ones((4, 4))
    ours.fft(x, workers=1)
    ours.fft(x, workers=-1)
    assert vm.get_num_threads() == 2
    worker = threading.Thread(target=lambda: seen.append(vm.get_num_threads()))
    worker.start()
    worker.join()
    assert seen == [2]
    with pytest.raises(ValueError, match="workers must not be zero"):
        ours.fft(x, workers=0)
    with pytest.raises(ValueError, match="out of range"):
        ours.fft(x, workers=-1000)


def test_errors_are_scipys():
    x = np.ones((3, 4))
    for call, error, text in [
        (lambda: ours.fft(x, 0), ValueError, r"invalid number of data points \(0\)"),
        (lambda: ours.fft(x, norm="bad"), ValueError, "Invalid norm value 'bad'"),
        (lambda: ours.fft(x, axis=2), np.AxisError, ""),
        (lambda: ours.rfft(x + 1j), TypeError, "x must be a real sequence"),
        (lambda: ours.fftn(x, axes=(0, 0)), ValueError, "all axes must be unique"),
        (lambda: ours.fftn(x, s=(2, 2, 2)), ValueError, "shape requires more axes"),
        (lambda: ours.fftn(x, s=(2,), axes=(0, 1)), ValueError, "same length"),
    ]:
        with pytest.raises(error, match=text):
            call()


def test_the_backend_alone_serves_every_function_of_the_domain(monkeypatch):
    from vlmathdsp.scipy import _face
    handed = []
    monkeypatch.setattr(_face, "hand_back", lambda name, scipys, args, kwargs: (handed.append(name),
                                                                                scipys(*args, **kwargs))[1])
    x = np.random.default_rng(5).standard_normal(32)
    with scipy.fft.set_backend(ours, only=True):
        np.testing.assert_array_equal(scipy.fft.fft(x), ours.fft(x))
        assert handed == []
        # SciPy's own implementation, reached through this backend alone
        assert scipy.fft.fft(x.astype(np.longdouble)).dtype == np.clongdouble
        assert scipy.fft.fft(np.zeros((0, 3)), axis=1).shape == (0, 3)
        np.testing.assert_allclose(scipy.fft.fht(np.exp(-np.linspace(0, 3, 16)), 0.2, 0.5),
                                   scipy.fft._fftlog.fht(np.exp(-np.linspace(0, 3, 16)), 0.2, 0.5))
        assert handed == ["fft.fft", "fft.fft", "fft.fht"]
        np.testing.assert_array_equal(scipy.fft.hfft2(x.reshape(4, 8) + 0j), ours.hfft2(x.reshape(4, 8) + 0j))
    assert handed == ["fft.fft", "fft.fft", "fft.fht"]
    # called directly, what the engine does not take goes to SciPy
    assert ours.fft(x.astype(np.longdouble)).dtype == np.clongdouble
    assert ours.fft.__name__ == "fft" and "scipy.fft.fft" in ours.fft.__doc__


@pytest.mark.parametrize("name", ["dct", "idct", "dst", "idst"])
@pytest.mark.parametrize("t", [1, 2, 3, 4])
def test_cosine_and_sine_transforms_with_every_norm_and_orthogonalization(name, t):
    """SciPy's definitions, with the factors of its orthogonalize option where they fall (for the
    sine types 2 and 3 on the first entry, as SciPy puts them), from the engine's orthonormal ones."""
    x = np.random.default_rng(t).standard_normal((7, 9))
    for norm in NORMS:
        for orth in (None, True, False):
            for n, axis in ((None, -1), (5, 0), (12, 1), (2, 0)):
                want = getattr(scipy.fft, name)(x, t, n, axis, norm, orthogonalize=orth)
                same(getattr(ours, name)(x, t, n, axis, norm, orthogonalize=orth), want, want.shape[axis])


@pytest.mark.parametrize("name", ["dctn", "idctn", "dstn", "idstn"])
def test_cosine_and_sine_transforms_over_several_axes(name):
    rng = np.random.default_rng(9)
    x = rng.standard_normal((6, 7, 5)).astype(np.float32)
    for a in (x, x + 1j * x[::-1], x.astype(np.int16)):
        for t in (1, 2, 3, 4):
            for kw in (dict(), dict(s=(4, 9)), dict(axes=(0, 2), norm="ortho"), dict(axes=(-1,), s=(8,), norm="forward")):
                want = getattr(scipy.fft, name)(a, t, **kw)
                same(getattr(ours, name)(a, t, **kw), want, want.size)


def test_half_spectra_on_every_layout_against_numpy(threads):
    """rfft's half spectra: long power-of-two rows (in place), many short rows (in blocks, with a
    remainder), columns (through a buffer), padded and cut lengths; each against NumPy, and 1
    thread against 2 bit for bit."""
    rng = np.random.default_rng(21)
    cases = [((3, 2**17), -1, None), ((4100, 64), -1, None), ((64, 30), 0, None), ((5, 300), -1, 512),
             ((700, 9), 0, 650), ((6, 1000), -1, 999), ((2, 3, 2**17), 1, None)]
    for shape, axis, n in cases:
        for dtype in (np.float64, np.float32):
            x = rng.standard_normal(shape).astype(dtype)
            want = np.fft.rfft(x.astype(np.float64), n, axis)
            got = ours.rfft(x, n, axis)
            assert got.dtype == complex_dtype_of(dtype)
            assert_transform_close(got, want, want.shape[axis], dtype == np.float32)
    # And back: many short rows (in blocks, scaled there, with a remainder), columns, cut spectra.
    for shape, axis, n in [((4100, 33), -1, 64), ((4100, 33), -1, 65), ((40, 12), 0, 80), ((9, 700), -1, 1000)]:
        for dtype in (np.complex128, np.complex64):
            x = (rng.standard_normal(shape) + 1j * rng.standard_normal(shape)).astype(dtype)
            want = np.fft.irfft(x.astype(np.complex128), n, axis)
            got = ours.irfft(x, n, axis)
            assert got.dtype == np.finfo(dtype).dtype
            assert_transform_close(got, want, n, dtype == np.complex64)
    big = rng.standard_normal((4, 2**18))
    short = rng.standard_normal((5000, 33)) + 1j
    assert_one_thread_matches_several(threads, lambda: [ours.rfft(big), ours.rfftn(big[:, :5000]), ours.rfft(big.T, axis=0),
                                                        ours.irfft(short, 64), ours.irfftn(short[:300])])


def complex_dtype_of(dtype):
    return np.complex64 if dtype == np.float32 else np.complex128
