"""strided_convn against a plain sum written here: strides, start and end boxes, convolution
and correlation, defaults and shortened forms, dense and sparse walks; threads; errors in order."""

import numpy as np
import pytest
import scipy.sparse

import vlmathdsp as vm
from convolution import assert_sum_close, random


def full_sum(A, B):
    """The full convolution as a sum of shifted copies of A, one per element of B, zeros included."""
    out = np.zeros(tuple(a + b - 1 for a, b in zip(A.shape, B.shape)), dtype=np.result_type(A, B, np.float64))
    with np.errstate(invalid="ignore"):
        for j in np.ndindex(B.shape):
            out[tuple(slice(k, k + a) for k, a in zip(j, A.shape))] += B[j] * A
    return out


def reference(A, B, stride=None, start=None, end=None, corr=False):
    A, B = np.atleast_2d(A), np.atleast_2d(B)  # a 1-d array is a row, as the host takes it
    n = max(A.ndim, B.ndim)
    A = A.reshape(A.shape + (1,) * (n - A.ndim))
    B = B.reshape(B.shape + (1,) * (n - B.ndim))
    if corr:  # correlation reverses B along its first three dimensions
        B = B[tuple(slice(None, None, -1) if d < 3 else slice(None) for d in range(n))]
    full = full_sum(A, B)
    stride = [1] * n if stride is None else ([stride] * n if np.isscalar(stride) else list(stride) + [1] * n)[:n]
    start = [] if start is None else list(np.atleast_1d(start))
    end = [] if end is None else list(np.atleast_1d(end))
    index = []
    for d in range(n):
        lo = min(start[d] - 1, max(full.shape[d] - 1, 0)) if d < len(start) else 0
        hi = min(end[d], full.shape[d]) if d < len(end) else full.shape[d]
        index.append(slice(lo, max(hi, lo), stride[d]))
    return full[tuple(index)]




CASES = [  # A, B, stride, start, end, density of B
    ((20, 17), (4, 3), [2, 3], None, None, 1.0),
    ((9, 8, 7), (3, 2, 2), [2, 1, 3], [2, 3, 1], [10, 8, 8], 1.0),
    ((30, 20), (5, 5), 1, [3, 2], [30, 21], 1.0),           # unit strides: the unsampled walk
    ((10, 9, 8, 3), (3, 3, 2, 2), 2, None, None, 1.0),       # four dimensions: reversed along three
    ((40, 30, 6), (6, 5, 3), 3, [4], [35], 0.15),            # sparse B, scalar start and end: dimension 0
    ((6, 5, 3), (40, 30, 6), [2, 2, 2], None, None, 1.0),    # A shorter: the operands swap
    ((300, 2, 40), (7, 1, 3), [4, 1, 5], None, [306, 2], 1.0),
    ((25,), (6,), 3, [1, 2], [1, 29], 1.0),                  # rows: the start names dimension 0 first
]


@pytest.mark.parametrize("a_shape,b_shape,stride,start,end,density", CASES)
@pytest.mark.parametrize("corr", [False, True])
def test_against_the_plain_sum(a_shape, b_shape, stride, start, end, density, corr):
    rng = np.random.default_rng(len(a_shape) * 10 + a_shape[0])
    A, B = random(rng, a_shape), random(rng, b_shape, density=density)
    args = [stride] + ([start] if start is not None or end is not None else [])
    if start is None and end is not None:
        args[1] = 1
    if end is not None:
        args.append(end)
    y = vm.strided_convn(A, B, *args, "corr" if corr else "conv")
    assert_sum_close(y, reference(A, B, stride, start if start is not None else (1 if end is not None else None), end, corr), A, B)


def test_defaults_shortened_forms_and_option_words():
    rng = np.random.default_rng(2)
    A, B = random(rng, (12, 9, 4)), random(rng, (3, 4, 2))
    full = vm.strided_convn(A, B)
    assert_sum_close(full, reference(A, B), A, B)
    np.testing.assert_array_equal(vm.strided_convn(A, B, "conv"), full)
    np.testing.assert_array_equal(vm.strided_convn(A, B, 1, "CONV"), full)
    corr = vm.strided_convn(A, B, "corr")
    assert_sum_close(corr, reference(A, B, corr=True), A, B)
    for word in ("cor", "CoRr"):
        np.testing.assert_array_equal(vm.strided_convn(A, B, [1, 1, 1], [1, 1, 1], word), corr)
    stride_scalar = vm.strided_convn(A, B, 2)  # a scalar stride fills every dimension
    assert_sum_close(stride_scalar, reference(A, B, 2), A, B)
    # a start beyond the full length is cut to its last index; a start beyond the end gives an empty result
    np.testing.assert_array_equal(vm.strided_convn(A, B, 1, [100, 1, 1]), full[-1:, :, :].reshape(1, *full.shape[1:]))
    empty = vm.strided_convn(A + 1j, B, 1, [5, 1, 1], [3, 11, 5])
    assert empty.size == 0 and empty.dtype == np.float64


def test_the_pull_back_and_a_longer_stride_vector():
    A, B = np.ones((8, 1)), np.ones((3, 1))  # full length 10
    assert vm.strided_convn(A, B, [3, 7, 9], 1, 9).size == 3, "box 0 to 9 by 3: samples 0, 3, 6"
    assert vm.strided_convn(A, B, 3, 1, 10).size == 4, "box 0 to 10: samples 0, 3, 6, 9"


def test_a_stride_too_long_for_a_second_sample_is_taken_as_one():
    """Found by the fuzzer: a stride of 2**62 overflowed the step between samples (never taken)."""
    A = np.array([[4.0, 255, 249, 0], [254, 1, 2, 2]])
    B = np.array([[-1.0, 0, 0, 1, 0, 0, 0, 0]])  # sparse: the sampled sparse walk
    for stride in (2**62, 2**63, 2.0**64 - 2.0**12):
        y = vm.strided_convn(A, B, stride)
        assert y.shape == (1, 1) and y[0, 0] == -4.0
        np.testing.assert_array_equal(vm.strided_convn(A, B, [1, stride]), reference(A, B, [1, 11])[:, :1])


@pytest.mark.parametrize("da,db", [(np.float32, np.float64), (np.float64, np.float32), (np.complex64, np.float64),
                                   (np.float64, np.complex128), (np.complex128, np.complex128)])
@pytest.mark.parametrize("density", [1.0, 0.2])
def test_classes_and_complexity(da, db, density):
    rng = np.random.default_rng(3)
    A, B = random(rng, (15, 12, 5), da), random(rng, (4, 3, 2), db, density)
    y = vm.strided_convn(A, B, [2, 3, 1], "corr")
    single = np.dtype(da).itemsize in (4, 8) and np.dtype(da) in (np.float32, np.complex64) or \
        np.dtype(db) in (np.float32, np.complex64)
    assert np.dtype(y.dtype).itemsize == (4 if single else 8) * (2 if y.dtype.kind == "c" else 1)
    assert_sum_close(y, reference(A.astype(np.complex128), B.astype(np.complex128), [2, 3, 1], corr=True), A, B, single)
    ints = vm.strided_convn(np.arange(12, dtype=np.int16).reshape(3, 4), np.ones((2, 2), bool), 2)
    assert ints.dtype == np.float64


@pytest.mark.parametrize("stride", [[1, 1, 1, 1, 1], [2, 3, 1, 1, 1]])
@pytest.mark.parametrize("dtype", [np.float64, np.float32])
@pytest.mark.parametrize("sparse", ["", "images", "filters"])
def test_image_batches_by_matrix_products(threads, stride, dtype, sparse):
    """Images (H, W, C, 1, N) against filters (h, w, C, F, 1), correlated over the whole channel
    overlap: matrix products, or runs per non-zero of a sparse operand (unit strides), against
    the plain sum and across thread counts."""
    rng = np.random.default_rng(6)
    H, W, C, N, h, w, F = 13, 11, 3, 70, 3, 2, 66  # batch and filters longer than a task's run
    A = random(rng, (H, W, C, 1, N), dtype, 0.1 if sparse == "images" else 1.0)
    B = random(rng, (h, w, C, F, 1), dtype, 0.1 if sparse == "filters" else 1.0)
    for start, end in (([h, w, C, 1, 1], [H, W, C, F, N]), ([1, 1, C, 1, 1], [H + h - 1, W + w - 1, C, F, N])):
        threads(1)
        one = vm.strided_convn(A, B, stride, start, end, "corr")
        assert_sum_close(one, reference(A.astype(float), B.astype(float), stride, start, end, corr=True), A, B,
                         dtype == np.float32)
        for n in (2, 3):
            threads(n)
            np.testing.assert_array_equal(vm.strided_convn(A, B, stride, start, end, "corr"), one)


def test_image_batches_with_runs_of_taps_longer_than_one_product():
    """Many channels make a product's share of taps short: a run of taps takes several products.
    The oracle sums the padded images, shifted per tap, against each tap's filters."""
    rng = np.random.default_rng(7)
    H, W, C, N, h, w, F = 12, 3, 512, 2, 11, 2, 8
    A, B = random(rng, (H, W, C, 1, N)), random(rng, (h, w, C, F, 1))
    padded = np.pad(A[:, :, :, 0, :], ((h - 1, h - 1), (w - 1, w - 1), (0, 0), (0, 0)))
    stride = [2, 1, 1, 1, 1]
    want = sum(np.einsum("yxcn,cf->yxfn", padded[u:u + H + h - 1:2, v:v + W + w - 1], B[u, v, :, :, 0])
               for u in range(h) for v in range(w))
    got = vm.strided_convn(A, B, stride, [1, 1, C, 1, 1], [H + h - 1, W + w - 1, C, F, N], "corr")
    np.testing.assert_allclose(got[:, :, 0], want, rtol=1e-12, atol=1e-10)


def test_inf_and_nan_as_the_plain_sum_gives_them():
    rng = np.random.default_rng(4)
    A = random(rng, (20, 15, 6))
    A[7, 3, 2] = np.inf
    B = random(rng, (4, 3, 3), density=0.2)  # sparse, but A is not finite: the dense walk
    y = vm.strided_convn(A, B, [2, 2, 1])
    np.testing.assert_array_equal(np.isnan(y), np.isnan(reference(A, B, [2, 2, 1])))
    assert np.isnan(y).any()


@pytest.mark.parametrize("a_shape,b_shape,stride,density", [((600, 500), (7, 7), [2, 2], 1.0),
                                                          ((80, 70, 60), (5, 5, 5), [2, 3, 1], 1.0),
                                                          ((90, 80, 40), (9, 9, 9), [2, 2, 2], 0.05),
                                                          ((40, 30, 20), (3, 3, 3), [1, 1, 1], 1.0)])
def test_one_thread_and_several_give_the_same_bits(threads, a_shape, b_shape, stride, density):
    rng = np.random.default_rng(5)
    A, B = random(rng, a_shape), random(rng, b_shape, density=density)
    threads(1)
    one = vm.strided_convn(A, B, stride, "corr")
    for n in (2, 3):
        threads(n)
        np.testing.assert_array_equal(vm.strided_convn(A, B, stride, "corr"), one)


ONE = np.ones((3, 3))


@pytest.mark.parametrize("args,kwargs,identifier", [
    ((ONE, ONE), {"nargout": 2}, "VELTRA:maxlhs"),
    ((ONE, ONE, 1, 1, 1, "conv", 1), {}, "VELTRA:maxrhs"),
    ((ONE,), {}, "VELTRA:minrhs"),
    ((scipy.sparse.eye(3, format="csc"), ONE), {}, "VELTRA:stridedConvn:SparseInput"),
    ((ONE, "ab"), {}, "VELTRA:stridedConvn:InputClass"),
    ((ONE, ONE, "corr", 1), {}, "VELTRA:stridedConvn:StrideClass"),
    ((ONE, ONE, np.array([True])), {}, "VELTRA:stridedConvn:StrideClass"),
    ((ONE, ONE, 1.5), {}, "VELTRA:stridedConvn:InvalidStride"),
    ((ONE, ONE, 0), {}, "VELTRA:stridedConvn:InvalidStride"),
    ((ONE, ONE, 1j), {}, "VELTRA:stridedConvn:InvalidStride"),
    ((ONE, ONE, np.inf), {}, "VELTRA:stridedConvn:InvalidStride"),
    ((ONE, ONE, 1, "corr", 3), {}, "VELTRA:stridedConvn:RangeIndexClass"),
    ((ONE, ONE, 1, [1, 0]), {}, "VELTRA:stridedConvn:InvalidRangeIndex"),
    ((ONE, ONE, 1, 1, [2.5]), {}, "VELTRA:stridedConvn:InvalidRangeIndex"),
    ((ONE, ONE, 1, 1, 1, 7), {}, "VELTRA:stridedConvn:InvalidOptionString"),
    ((ONE, ONE, 1, 1, 1, "co"), {}, "VELTRA:stridedConvn:InvalidOptionString"),
    ((ONE, ONE, 1, 1, 1, "correlate"), {}, "VELTRA:stridedConvn:InvalidOptionString"),
    ((ONE, ONE, "convolve"), {}, "VELTRA:stridedConvn:InvalidOptionString"),
])
def test_errors_in_their_order(args, kwargs, identifier):
    with pytest.raises(vm.Error) as info:
        vm.call_function("veltra.internal.math.stridedConvn", *args, **kwargs)
    assert info.value.identifier == identifier
