"""convnc against scipy.signal.convolve on every path, shape word, class and edge; the plain sum's
Inf and NaN; 1 thread against several, bit for bit; errors in their order."""

import numpy as np
import pytest
import scipy.sparse
from scipy import signal

import vlmathdsp as vm
from convolution import assert_sum_close, random


def window(full, a_shape, b_shape, shape):
    """The part of the full convolution a shape word keeps: "same" from floor(b / 2), "valid"
    from b - 1, per dimension."""
    index = []
    for a, b, f in zip(a_shape, b_shape, full.shape):
        if shape == "same":
            index.append(slice(b // 2, b // 2 + a))
        elif shape == "valid":
            index.append(slice(b - 1, b - 1 + max(a - max(b - 1, 0), 0)))
        else:
            index.append(slice(0, f))
    return full[tuple(index)]


def padded(shape, n):
    return tuple(shape) + (1,) * (n - len(shape))


def reference(A, B, shape):
    n = max(A.ndim, B.ndim)
    A, B = A.reshape(padded(A.shape, n)), B.reshape(padded(B.shape, n))
    wide = np.complex128 if np.iscomplexobj(A) or np.iscomplexobj(B) else np.float64
    full = signal.convolve(A.astype(wide), B.astype(wide), method="direct")
    return window(full, A.shape, B.shape, shape)




def check(A, B, shape, single=False):
    y = vm.convnc(A, B, shape)
    assert_sum_close(y, reference(A, B, shape), A, B, single)
    return y


CASES = [  # A shape, B shape, density of B (below 0.3: the sparse walk), density of A
    ((6, 5, 4), (3, 2, 2), 1.0, 1.0),               # dense, serial
    ((40, 30, 20), (5, 4, 3), 1.0, 1.0),            # dense, split over threads
    ((30, 25, 20), (7, 6, 5), 0.1, 1.0),            # second operand sparse
    ((7, 6, 5), (30, 25, 20), 1.0, 0.1),            # A sparser: the operands swap
    ((20, 1, 3), (5, 1, 3), 1.0, 1.0),              # a dimension where both have length 1: collapsed
    ((1, 30, 4), (1, 3, 2), 1.0, 1.0),              # two such dimensions of three
    ((9, 8, 7, 6), (3, 2, 3, 2), 1.0, 1.0),         # four dimensions
    ((3, 4, 2, 2, 3), (2, 2, 2, 1, 2), 0.2, 1.0),   # five, sparse
    ((50, 40), (7, 3), 1.0, 1.0),                   # two dimensions: the conv2 core
    ((3, 1, 17), (20, 1, 1), 1.0, 1.0),             # first operand with length 1 where the second is longer
]


@pytest.mark.parametrize("a_shape,b_shape,density_b,density_a", CASES)
@pytest.mark.parametrize("shape", ["full", "same", "valid"])
def test_paths_match_scipy(a_shape, b_shape, density_b, density_a, shape):
    rng = np.random.default_rng(len(a_shape) * 100 + a_shape[0])
    A, B = random(rng, a_shape, density=density_a), random(rng, b_shape, density=density_b)
    check(A, B, shape)


@pytest.mark.parametrize("da,db", [(np.float32, np.float32), (np.float64, np.float32), (np.float32, np.float64),
                                   (np.complex128, np.float64), (np.float64, np.complex64),
                                   (np.complex64, np.complex64), (np.complex128, np.complex128)])
@pytest.mark.parametrize("density", [1.0, 0.2])
def test_classes_and_complexity(da, db, density):
    rng = np.random.default_rng(3)
    A, B = random(rng, (12, 10, 6), da), random(rng, (4, 3, 3), db, density)
    single = np.float32 in (np.dtype(da).type, np.dtype(db).type) or np.complex64 in (np.dtype(da).type,
                                                                                       np.dtype(db).type)
    y = check(A, B, "full", single)
    assert np.dtype(y.dtype).itemsize == (4 if single else 8) * (2 if y.dtype.kind == "c" else 1)


def test_shape_words_and_empties():
    rng = np.random.default_rng(4)
    A, B = random(rng, (5, 4, 3)), random(rng, (2, 2, 2))
    for word in ("S", "sAmE", "va", "FULL", "f"):
        np.testing.assert_array_equal(vm.convnc(A, B, word), vm.convnc(A, B, {"s": "same", "v": "valid"}.get(
            word[0].lower(), "full")))
    empty = np.zeros((0, 3, 2))
    assert vm.convnc(empty, B, "full").shape == (2, 4, 3) and not vm.convnc(empty, B, "full").any()
    z = vm.convnc(A + 1j, np.zeros((3, 0, 2)), "same")
    assert z.shape == (5, 4, 3) and z.dtype == np.float64 and not z.any(), "an empty B gives real zeros"
    v = vm.convnc(A + 1j, random(rng, (9, 2, 2)), "valid")
    assert v.dtype == np.float64 and v.size == 0, "b longer than a under 'valid'"
    assert vm.convnc(np.ones((1, 1, 1)), np.ones((3, 1, 2)), "full").shape == (3, 1, 2)


def plain_sum(A, B):
    """The full convolution as a sum of shifted copies over every element of B, zeros included, so
    that 0 * Inf gives NaN where the definition puts it."""
    out = np.zeros(tuple(a + b - 1 for a, b in zip(A.shape, B.shape)))
    with np.errstate(invalid="ignore"):
        for j in np.ndindex(B.shape):
            out[tuple(slice(k, k + a) for k, a in zip(j, A.shape))] += B[j] * A
    return out


def test_inf_and_nan_as_a_plain_sum_gives_them():
    rng = np.random.default_rng(5)
    A = random(rng, (9, 8, 7))
    A[4, 3, 2] = np.inf
    B = random(rng, (3, 3, 3), density=0.1)  # sparse, but A is not finite: the dense walk
    np.testing.assert_array_equal(np.isnan(vm.convnc(A, B, "full")), np.isnan(plain_sum(A, B)))
    assert np.isnan(vm.convnc(A, B, "full")).any()
    sparse = np.zeros((6, 6, 6))
    sparse[2, 3, 1] = np.nan  # a NaN of the sparse operand is applied
    assert np.isnan(vm.convnc(random(rng, (8, 8, 8)), sparse, "full")).sum() == 8 * 8 * 8


@pytest.mark.parametrize("a_shape,b_shape,density", [((70, 60, 50), (5, 5, 5), 1.0), ((64, 60, 40), (9, 9, 9), 0.05),
                                                     ((30, 20, 20, 20), (3, 3, 3, 3), 1.0),
                                                     ((5000, 3, 2), (40, 2, 2), 1.0),
                                                     ((3, 4, 6000), (2, 2, 30), 1.0)])
def test_one_thread_and_several_give_the_same_bits(threads, a_shape, b_shape, density):
    rng = np.random.default_rng(6)
    A, B = random(rng, a_shape), random(rng, b_shape, density=density)
    threads(1)
    one = vm.convnc(A, B, "same")
    for n in (2, 3):
        threads(n)
        np.testing.assert_array_equal(vm.convnc(A, B, "same"), one)


@pytest.mark.parametrize("args,kwargs,identifier", [
    ((np.ones((2, 2, 2)), np.ones(2), "full"), {"nargout": 2}, "VELTRA:maxlhs"),
    ((np.ones((2, 2, 2)), np.ones(2), "full", 1), {}, "VELTRA:maxrhs"),
    ((np.ones((2, 2, 2)), np.ones(2)), {}, "VELTRA:minrhs"),
    ((np.ones((2, 2, 2), np.int8), np.ones(2), "bad"), {}, "VELTRA:convnc:inputType"),
    ((scipy.sparse.eye(3, format="csc", dtype=bool), np.ones(2), "full"), {}, "VELTRA:convnc:inputType"),
    ((scipy.sparse.eye(3, format="csc"), np.ones(2), "bad"), {}, "VELTRA:convnc:SparseInput"),
    ((np.ones((2, 2, 2)), np.ones(2), "middle"), {}, "VELTRA:convnc:UnsupportedDataType"),
    ((np.ones((2, 2, 2)), np.ones(2), ""), {}, "VELTRA:convnc:UnsupportedDataType"),
    ((np.ones((2, 2, 2)), np.ones(2), 3.0), {}, "VELTRA:convnc:UnsupportedDataType"),
])
def test_errors_in_their_order(args, kwargs, identifier):
    with pytest.raises(vm.Error) as info:
        vm.call(3, *args, **kwargs)
    assert info.value.identifier == identifier
