"""fftn and ifftn against numpy.fft, the symmetry scan and the mirror pass."""

import warnings

import numpy as np
import pytest

import vlmathdsp as vm
from transforms import assert_transform_close, host_shape


def mirrored(Y):
    """Y at (-index) mod size in every dimension."""
    return Y[np.ix_(*[(-np.arange(s)) % s for s in Y.shape])]


SHAPES = [(8, 6), (5, 7, 3), (1, 1, 9), (33, 32), (2, 3, 4, 5), (7, 1, 4), (4, 4, 4, 2, 3, 2)]


@pytest.mark.parametrize("shape", SHAPES)
@pytest.mark.parametrize("complex_", [False, True])
def test_against_numpy(shape, complex_):
    rng = np.random.default_rng(len(shape))
    x = rng.standard_normal(shape) + (1j * rng.standard_normal(shape) if complex_ else 0)
    Y = vm.fftn(x)
    ref = np.fft.fftn(x)
    assert Y.shape == host_shape(ref.shape)
    assert_transform_close(Y, ref, x.size)
    assert_transform_close(vm.ifftn(x), np.fft.ifftn(x), x.size)


@pytest.mark.parametrize("shape", SHAPES + [(40, 30, 3)])
def test_real_input_is_exactly_conjugate_symmetric_and_returns_real(shape):
    x = np.random.default_rng(3).standard_normal(shape)
    Y = vm.fftn(x).reshape(shape)
    np.testing.assert_array_equal(Y, np.conj(mirrored(Y)))
    back = vm.ifftn(vm.fftn(x))
    assert back.dtype == np.float64
    assert_transform_close(back, x, x.size)


@pytest.mark.parametrize("siz", [(8, 9), (3, 4), (5, 6, 2), (2, 9)])
def test_new_sizes_pad_truncate_and_add_dimensions(siz):
    rng = np.random.default_rng(4)
    x = rng.standard_normal((5, 6))
    z = x + 1j * rng.standard_normal((5, 6))
    padded = x.reshape(5, 6, *([1] * (len(siz) - 2)))
    points = int(np.prod(siz))
    assert vm.fftn(x, list(siz)).shape == host_shape(siz)
    assert_transform_close(vm.fftn(x, list(siz)), np.fft.fftn(padded, siz), points)
    assert_transform_close(vm.fftn(z, list(siz)), np.fft.fftn(z.reshape(padded.shape), siz), points)
    assert_transform_close(vm.ifftn(z, list(siz)), np.fft.ifftn(z.reshape(padded.shape), siz), points)


def test_single_precision():
    x = np.random.default_rng(5).standard_normal((16, 12)).astype(np.float32)
    Y = vm.fftn(x)
    assert Y.dtype == np.complex64
    assert_transform_close(Y, np.fft.fftn(x.astype(np.float64)), x.size, single=True)


def test_symmetric_option_and_the_scan():
    rng = np.random.default_rng(6)
    X = np.fft.fftn(rng.standard_normal((6, 5)))
    X = (X + np.conj(mirrored(X))) / 2  # exactly symmetric
    assert vm.ifftn(X).dtype == np.float64
    X[2, 3] = np.nan
    assert vm.ifftn(X).dtype == np.complex128, "a NaN within the limit fails the scan"
    Z = rng.standard_normal((6, 5)) + 1j * rng.standard_normal((6, 5))
    y = vm.ifftn(Z, "symmetric")
    assert y.dtype == np.float64
    assert_transform_close(y, np.fft.irfft(np.fft.ifft(Z, axis=0), 5, axis=1), Z.size)
    assert vm.ifftn(np.array([[3.0 + 1j]]), "symmetric").dtype == np.float64


def test_scalars_and_limits():
    z = np.array([[2.0 + 3j]])
    assert vm.fftn(z)[0, 0] == 2 + 3j
    assert vm.fftn(np.array([[4.0]])).dtype == np.float64
    for n in (1024, 1025):  # walked in full, then in part
        x = np.random.default_rng(n).standard_normal(n)
        Y = vm.fftn(x)
        np.testing.assert_array_equal(Y, np.conj(mirrored(np.atleast_2d(Y)))[0])


def test_errors_and_warnings():
    with pytest.raises(vm.Error) as info:
        vm.ifftn(np.ones((2, 2)), [2, 2], 5)
    assert info.value.identifier == "VELTRA:fftfcn:InvalidThirdArgument"
    with pytest.raises(vm.Error) as info:
        vm.fftn(np.ones((2, 2, 2)), [2, 2])
    assert info.value.identifier == "VELTRA:fftfcn:outputSizeLessThanNdimsElements"
    with pytest.raises(vm.Error) as info:
        vm.fftn(np.ones((2, 2)), "ab")
    assert info.value.identifier == "VELTRA:fftfcn:lengthNotNonNegInt"
    with warnings.catch_warnings(record=True) as caught:
        warnings.simplefilter("always")
        vm.fftn(np.ones((2, 2)), np.array([[2], [2]]))
        vm.fftn(np.ones((2, 2)), [2.5, 2])
    assert [w.message.identifier for w in caught] == ["VELTRA:fftfcn:outputSizeNotRealIntRowVector",
                                                      "VELTRA:fftfcn:outputSizeVectorNotNonNegInts"]


@pytest.mark.parametrize("dtype", [np.float64, np.float32])
def test_symmetric_inverse_through_buffered_lanes(dtype, threads):
    """The last pass gathers blocks of neighbouring sequences into padded lanes: ragged blocks,
    odd and even lengths, both precisions, and the same bits on 1 and 2 threads."""
    rng = np.random.default_rng(7)
    for shape in [(37, 10), (16, 9), (17, 3, 33), (100, 64), (9, 8)]:
        Z = (rng.standard_normal(shape) + 1j * rng.standard_normal(shape)).astype(np.complex64 if dtype == np.float32 else np.complex128)
        threads(1)
        one = vm.ifftn(Z, "symmetric")
        threads(2)
        two = vm.ifftn(Z, "symmetric")
        np.testing.assert_array_equal(one, two)
        assert one.dtype == dtype
        z = Z.astype(np.complex128)
        want = np.fft.irfft(np.fft.ifftn(z, axes=range(len(shape) - 1)), shape[-1], axis=-1)
        assert_transform_close(one, want, Z.size, single=dtype == np.float32)


def test_far_strided_passes_in_ragged_blocks(threads):
    """The last dimension's rows lie 4270 elements apart: they go through the buffer in blocks
    of neighbours, the last one short; against NumPy, and the same bits on 1 and 2 threads."""
    rng = np.random.default_rng(8)
    x = rng.standard_normal((70, 61, 5)) + 1j * rng.standard_normal((70, 61, 5))
    threads(1)
    one = [vm.fftn(x), vm.ifftn(x)]
    threads(2)
    two = [vm.fftn(x), vm.ifftn(x)]
    for a, b in zip(one, two):
        np.testing.assert_array_equal(a, b)
    assert_transform_close(one[0], np.fft.fftn(x), x.size)
    assert_transform_close(one[1], np.fft.ifftn(x), x.size)
