"""fft and ifft against numpy.fft: lengths, dimensions, padding, classes, the symmetry test."""

import threading

import numpy as np
import pytest

import vlmathdsp as vm
from transforms import assert_one_thread_matches_several, assert_transform_close, host_shape

LENGTHS = [1, 2, 7, 8, 13, 16, 60, 97, 128, 1000, 1024]


@pytest.mark.parametrize("n", LENGTHS)
@pytest.mark.parametrize("complex_", [False, True])
def test_lengths_against_numpy(n, complex_):
    rng = np.random.default_rng(n)
    x = rng.standard_normal(n) + (1j * rng.standard_normal(n) if complex_ else 0)
    assert_transform_close(vm.fft(x), np.fft.fft(x), n)
    assert_transform_close(vm.ifft(x), np.fft.ifft(x), n)


@pytest.mark.parametrize("dim", [1, 2, 3, 4])
@pytest.mark.parametrize("n", [None, 5, 12, 1])
def test_every_dimension_with_padding_and_truncation(dim, n):
    rng = np.random.default_rng(dim)
    x = rng.standard_normal((6, 8, 3)) + 1j * rng.standard_normal((6, 8, 3))
    ours = vm.fft(x, n, dim)
    axis = dim - 1
    ref = np.fft.fft(x[..., None] if dim == 4 else x, n, axis=axis)
    assert ours.shape == host_shape(ref.shape)
    assert_transform_close(ours, ref, ref.shape[axis])
    assert_transform_close(vm.ifft(x, n, dim), np.fft.ifft(x[..., None] if dim == 4 else x, n, axis=axis),
                           ref.shape[axis])


def test_real_input_forward_and_inverse_with_padding():
    rng = np.random.default_rng(3)
    x = rng.standard_normal((50, 4))
    for n in (50, 64, 31):
        assert_transform_close(vm.fft(x, n), np.fft.fft(x, n, axis=0), n)
        assert_transform_close(vm.ifft(x, n), np.fft.ifft(x, n, axis=0), n)


@pytest.mark.parametrize("dtype", [np.float64, np.float32])
def test_long_real_columns_with_padding_and_truncation(dtype):
    """Columns of 2^17 and more run in their output's memory: padded, cut, one and several."""
    rng = np.random.default_rng(17)
    n = 2**17
    for rows, cols in ((n, 3), (n - 5, 2), (n + 5, 1), (2 * n, 1)):
        x = np.asfortranarray(rng.standard_normal((rows, cols)).astype(dtype))
        length = 2 * n if rows == 2 * n else n
        assert_transform_close(vm.fft(x, length), np.fft.fft(x.astype(np.float64), length, axis=0), length,
                               dtype == np.float32)


@pytest.mark.parametrize("dtype", [np.float64, np.float32])
def test_real_rows_far_apart_with_padding_and_truncation(dtype):
    """Real sequences 9 and 117 values apart (blocks of neighbours, the last one partial), forward
    and the symmetric inverse, padded and truncated."""
    rng = np.random.default_rng(7)
    x = rng.standard_normal((9, 13, 3)).astype(dtype)
    X = (rng.standard_normal((9, 13, 3)) + 1j * rng.standard_normal((9, 13, 3))).astype(
        np.complex64 if dtype == np.float32 else np.complex128)
    single = dtype == np.float32
    for dim in (2, 3):
        axis = dim - 1
        for n in (None, 4, 20):
            m = n or x.shape[axis]
            assert_transform_close(vm.fft(x, n, dim), np.fft.fft(x.astype(np.float64), m, axis=axis), m, single=single)
            got = vm.ifft(X, n, dim, "symmetric")
            assert got.dtype == dtype
            want = np.fft.irfft(X.astype(np.complex128), m, axis=axis)
            assert_transform_close(got, want, m, single=single)


def test_single_precision_gives_complex64():
    x = np.random.default_rng(4).standard_normal((64, 3)).astype(np.float32)
    y = vm.fft(x)
    assert y.dtype == np.complex64
    assert_transform_close(y, np.fft.fft(x.astype(np.float64), axis=0), 64, single=True)
    assert vm.ifft(y).dtype in (np.float32, np.complex64)


def test_conjugate_symmetric_data_inverts_to_real():
    rng = np.random.default_rng(5)
    for n in (8, 9):
        x = rng.standard_normal(n)
        X = np.fft.fft(x)
        X[n // 2 + 1:] = np.conj(X[1:(n + 1) // 2][::-1])  # exactly symmetric
        X[0] = X[0].real
        if n % 2 == 0:
            X[n // 2] = X[n // 2].real
        y = vm.ifft(X)
        assert y.dtype == np.float64
        assert_transform_close(y, np.fft.ifft(X).real, n)
        X[0] = complex(X[0].real, -0.0)
        assert vm.ifft(X).dtype == np.float64, "an imaginary -0 in v[0] passes the test"
        X[1] = np.nan
        assert vm.ifft(X).dtype == np.complex128, "a NaN fails the test"


def test_the_symmetric_option_is_an_inverse_real_transform_of_the_first_half():
    rng = np.random.default_rng(6)
    X = rng.standard_normal(16) + 1j * rng.standard_normal(16)
    y = vm.ifft(X, "symmetric")
    assert y.dtype == np.float64
    assert_transform_close(y, np.fft.irfft(X[:9], 16), 16)
    assert vm.ifft(X, "nonsym").dtype == np.complex128
    assert vm.ifft(np.array([2.0 + 1j]), "symmetric").dtype == np.float64


def test_identity_and_empty_cases():
    z = np.array([[1 + 2j]])
    assert vm.fft(z, 1).dtype == np.complex128 and vm.fft(z, 1)[0, 0] == 1 + 2j
    assert vm.fft(np.ones((4, 3)), 0).shape == (0, 3)
    x = np.arange(6.0).reshape(2, 3)
    np.testing.assert_allclose(vm.fft(x, None, 3), x)
    padded = np.zeros(8, complex)
    padded[:4] = [1, 2, 3, 4]
    assert vm.ifft(np.array([1.0, 0, 0, 0]), 8).dtype == np.float64
    assert vm.ifft(np.array([1.0, 2, 0, 0]), 8).dtype == np.complex128, "v[1] meets the padding"


def test_plans_are_reused():
    # Plans are kept per address modulo 64: another array at the same residue reuses them.
    import vlmathdsp._vlmathdsp as core
    x = np.random.default_rng(7).standard_normal(4096)
    buffer = np.empty(4096 + 8)
    start = ((x.ctypes.data - buffer.ctypes.data) % 64) // 8
    twice = buffer[start:start + 4096]
    twice[:] = x * 2
    vm.fft(x)
    made = core._plans_made()
    vm.fft(x)
    vm.fft(twice)
    assert core._plans_made() == made


@pytest.mark.parametrize("args,identifier", [
    ((np.ones(4), 2, 1, "x"), "VELTRA:fftfcn:InvalidTrailingStringArgument"),
    ((np.ones(4), 2, 1, 5), "VELTRA:fftfcn:InvalidFourthArgument"),
    ((np.int64([1, 2]),), "VELTRA:fftfcn:InvalidInputType"),
    (("ab",), "VELTRA:fftfcn:InvalidInputType"),
    ((np.ones(4), -1), "VELTRA:fftfcn:lengthNotNonNegInt"),
    ((np.ones(4), "a"), "VELTRA:fftfcn:InvalidTrailingStringArgument"),
])
def test_errors(args, identifier):
    with pytest.raises(vm.Error) as info:
        vm.ifft(*args)
    assert info.value.identifier == identifier


def test_fractional_length_warns_and_goes_on():
    import warnings
    with warnings.catch_warnings(record=True) as caught:
        warnings.simplefilter("always")
        y = vm.fft(np.ones(4), 2.5)
    assert y.shape == (3,) and caught and caught[0].message.identifier == "VELTRA:fftfcn:lengthNotNonNegInt"
    import scipy.sparse
    with pytest.raises(vm.Error) as info:
        vm.fft(scipy.sparse.eye(3, format="csc"))
    assert info.value.identifier == "VELTRA:fftfcn:SparseInputType"


def test_plans_for_one_thread_and_several_give_the_same_bits(threads):
    """A host thread's scope plans for the thread count it starts with: a new Python thread
    after set_num_threads(1) plans single-threaded."""
    rng = np.random.default_rng(8)
    x = rng.standard_normal(2**18) + 1j * rng.standard_normal(2**18)
    X = np.asfortranarray(rng.standard_normal((600, 700)))
    r, R = rng.standard_normal(2**18), np.asfortranarray(rng.standard_normal((2**17, 3)))
    Z = X + 1j * np.asfortranarray(rng.standard_normal((600, 700)))
    # the inverse of many columns runs in blocks of columns, the last one short
    run = lambda: [vm.fft(x), vm.fft(X), vm.ifft(x), vm.fft(r), vm.fft(R), vm.ifft(Z), vm.ifft(X)]
    assert_one_thread_matches_several(threads, run)
    assert_transform_close(vm.ifft(Z), np.fft.ifft(Z, axis=0), 600)
    assert_transform_close(vm.ifft(Z.astype(np.complex64)), np.fft.ifft(Z, axis=0), 600, single=True)


def test_refused_plans_are_shared_by_threads_whose_stores_are_full():
    """Plans a full store refuses are kept aside for every thread, more lengths than are kept:
    threads that take, evict and offer them at once get the bits of a cached plan."""
    primes = [65537, 65539, 65543, 65551, 65557, 65563, 65579, 65581, 65587, 65599, 65609, 65617]
    xs = {n: np.random.default_rng(n).standard_normal(n) + 0j for n in primes}
    want = {n: vm.fft(xs[n]) for n in primes}
    wrong = []

    def worker(seed):
        try:
            for n in range(2**18, 2**18 + 6):  # 4.2 MB accounted each: the store is full after 4
                vm.fft(np.ones(n) + 0j)
            rng = np.random.default_rng(seed)
            for _ in range(30):
                n = primes[rng.integers(len(primes))]
                if not np.array_equal(vm.fft(xs[n]), want[n]):
                    wrong.append(n)
        except Exception as e:  # reported by the assert below
            wrong.append(repr(e))

    workers = [threading.Thread(target=worker, args=(s,)) for s in range(3)]
    for w in workers:
        w.start()
    for w in workers:
        w.join()
    assert wrong == []
