"""conv2 against SciPy and NumPy on every path, form, class and shape option."""

import numpy as np
import pytest
from scipy import signal

import vlmathdsp as vm
from convolution import random, sum_tolerance
from vlmathdsp import _vlmathdsp as core


def window(full, a_shape, b_shape, shape):
    """The part of the full convolution that a shape option keeps, by the front end's rule."""
    out = full
    for axis in (0, 1):
        a, b = a_shape[axis], b_shape[axis]
        if shape == "same":
            start, count = b >> 1, a
        elif shape == "valid":
            start, count = b - 1, max(a - max(b - 1, 0), 0)
        else:
            start, count = 0, full.shape[axis]
        out = np.take(out, np.arange(start, start + count), axis=axis)
    return out


def reference(A, B):
    A, B = np.atleast_2d(A), np.atleast_2d(B)
    A64 = A.astype(np.complex128 if np.iscomplexobj(A) else np.float64)
    B64 = B.astype(np.complex128 if np.iscomplexobj(B) else np.float64)
    if 1 in A.shape and 1 in B.shape and (A.shape[0] == B.shape[0] == 1 or A.shape[1] == B.shape[1] == 1):
        full = np.convolve(A64.ravel(), B64.ravel())
        return full.reshape(-1, 1) if A.shape[1] == 1 else full.reshape(1, -1)
    return signal.convolve2d(A64, B64)


def tolerance(A, B, dtype):
    return sum_tolerance(A, B, np.dtype(dtype) in (np.float32, np.complex64))


def check(A, B, shape="full"):
    y = vm.conv2(A, B, shape)
    full = reference(A, B)
    expected = window(full, np.atleast_2d(A).shape, np.atleast_2d(B).shape, shape)
    assert y.shape == expected.shape or y.size == expected.size == 0, (y.shape, expected.shape)
    if y.size:
        np.testing.assert_allclose(np.atleast_2d(y), expected, rtol=0, atol=tolerance(A, B, y.dtype))
    return y


# Shapes that reach each path: dense 2-D, both sparse choices, the three 1-D kinds with sizes
# around their limits, rows and columns, a column against a row.
PATH_SHAPES = [
    ((60, 70), (5, 4), 1.0),             # dense, parallel (more than 32 columns)
    ((40, 30), (7, 9), 0.2),             # second operand sparse
    ((9, 8), (70, 50), 0.25),            # first operand sparse: the larger one is walked
    ((5000, 1), (50, 1), 1.0),           # kind 0, parallel
    ((1, 3000), (1, 17), 1.0),           # kind 0 on rows
    ((300, 1), (1000, 1), 1.0),          # kind 1
    ((256, 1), (1024, 1), 1.0),          # kind 1 at both limits
    ((255, 1), (1024, 1), 1.0),          # just below: kind 0
    ((300, 1), (1025, 1), 1.0),          # just above: kind 0
    ((600000, 1), (100, 1), 1.0),        # kind 3 (double)
    ((300000, 1), (5, 1), 1.0),          # kind 0, the long one second
    ((7, 1), (1, 9), 1.0),               # a column against a row: two-dimensional
    ((1, 1), (4, 6), 1.0),
]


@pytest.mark.parametrize("a_shape,b_shape,density", PATH_SHAPES)
@pytest.mark.parametrize("shape", ["full", "same", "valid"])
def test_paths_match_the_reference(a_shape, b_shape, density, shape):
    rng = np.random.default_rng(hash((a_shape, b_shape)) % 2**32)
    A = random(rng, a_shape, density=density if np.prod(a_shape) < np.prod(b_shape) else 1.0)
    B = random(rng, b_shape, density=density if np.prod(b_shape) <= np.prod(a_shape) else 1.0)
    check(A, B, shape)


@pytest.mark.parametrize("a_shape,b_shape,density", [((60, 70), (5, 4), 1.0), ((40, 30), (7, 9), 0.2),
                                                     ((9, 8), (70, 50), 0.25), ((700, 300), (3, 3), 1.0)])
@pytest.mark.parametrize("dtype", [np.float64, np.float32, np.complex64])
def test_every_element_is_written_over_whatever_the_memory_held(a_shape, b_shape, density, dtype):
    """The two-dimensional paths write their result without zeroing it first: a block freed full
    of NaN and handed out again must not show through."""
    rng = np.random.default_rng(12)
    A = random(rng, a_shape, dtype, density=density if np.prod(a_shape) < np.prod(b_shape) else 1.0)
    B = random(rng, b_shape, dtype, density=density if np.prod(b_shape) <= np.prod(a_shape) else 1.0)
    for shape in ("full", "same", "valid"):
        size = window(reference(A, B), A.shape, B.shape, shape).shape
        for _ in range(2):
            del_me = vm.conv2(np.full(size, np.nan, dtype), np.ones((1, 1), dtype))
            assert np.isnan(del_me).all()
            del del_me
            check(A, B, shape)


@pytest.mark.parametrize("da,db", [(np.float32, np.float32), (np.float64, np.float32), (np.float32, np.float64),
                                   (np.complex128, np.float64), (np.float64, np.complex64),
                                   (np.complex64, np.complex64), (np.complex128, np.complex128)])
@pytest.mark.parametrize("a_shape,b_shape", [((50, 40), (6, 5)), ((3000, 1), (40, 1)), ((20, 30), (9, 9))])
def test_classes_and_complexity(da, db, a_shape, b_shape):
    rng = np.random.default_rng(4)
    A, B = random(rng, a_shape, da), random(rng, b_shape, db, density=0.2 if b_shape == (9, 9) else 1.0)
    y = check(A, B)
    single = np.float32 in (np.dtype(da).type, np.dtype(db).type) or np.complex64 in (np.dtype(da).type, np.dtype(db).type)
    assert np.dtype(y.dtype).itemsize == (4 if single else 8) * (2 if y.dtype.kind == "c" else 1)


def test_integer_and_logical_inputs_compute_in_double():
    rng = np.random.default_rng(5)
    A = rng.integers(-100, 100, (30, 20)).astype(np.int8)
    B = rng.random((4, 4)) > 0.5
    y = check(A, B)
    assert y.dtype == np.float64
    assert vm.conv2(A, np.float32([[1, 2]])).dtype == np.float32
    assert vm.conv2(np.uint16([[1, 2]]), np.uint8([[3]])).dtype == np.float64


def test_imaginary_parts_that_vanish_give_a_real_result():
    y = vm.conv2(np.array([[1 + 0j, 2]]), np.array([[3.0]]))
    assert y.dtype == np.float64
    assert vm.conv2(np.zeros((0, 0), complex), np.ones((3, 3)) * 1j).dtype == np.float64


def test_empty_operands_follow_the_window_rules():
    empty, three = np.zeros((0, 0)), np.ones((3, 3))
    assert vm.conv2(empty, three).shape == (3, 3) and not vm.conv2(empty, three).any()
    assert vm.conv2(empty, three, "same").shape == (0, 0)
    assert vm.conv2(empty, three, "valid").shape == (0, 0)
    for shape in ("same", "full", "valid"):
        y = vm.conv2(three, empty, shape)
        assert y.shape == (3, 3) and not y.any()
    assert vm.conv2(np.ones((2, 2)), np.ones((3, 3)), "valid").shape == (0, 0)


@pytest.mark.parametrize("shape", ["full", "same", "valid"])
@pytest.mark.parametrize("m,n,la,lb", [(40, 50, 5, 7), (100, 30, 1, 6), (30, 100, 31, 31), (8, 6, 3, 9), (300, 280, 3, 3)])
def test_separable_equals_the_outer_product(shape, m, n, la, lb):
    rng = np.random.default_rng(m + n + la + lb)
    a, b, C = random(rng, la), random(rng, lb), random(rng, (m, n))
    y = vm.conv2(a.reshape(-1, 1), b.reshape(1, -1), C, shape)
    expected = window(signal.convolve2d(C, np.outer(a, b)), (m, n), (la, lb), shape)
    assert y.shape == expected.shape
    np.testing.assert_allclose(y, expected, rtol=0, atol=tolerance(C, np.outer(a, b), y.dtype) * 4)


def test_separable_classes():
    rng = np.random.default_rng(8)
    C = random(rng, (30, 40))
    assert vm.conv2(np.float32([1, 2]), [1.0, 2.0], C).dtype == np.float32
    assert vm.conv2([1.0, 2], [1.0, 2], C.astype(np.float32)).dtype == np.float32
    z = vm.conv2([1j, 2], [1.0, 2], C)
    assert z.dtype == np.complex128
    kernel = np.outer([1j, 2], [1.0, 2])
    np.testing.assert_allclose(z, signal.convolve2d(C, kernel), rtol=0, atol=tolerance(C, kernel, z.dtype))


def nan_mask(y):
    return np.isnan(np.atleast_2d(y))


def shift_add(A, B):
    """The full convolution as a sum of shifted copies: products only where the operands overlap,
    so 0 * Inf appears exactly where the definition puts it."""
    A, B = np.atleast_2d(A), np.atleast_2d(B)
    y = np.zeros((A.shape[0] + B.shape[0] - 1, A.shape[1] + B.shape[1] - 1))
    with np.errstate(invalid="ignore"):
        for i, j in zip(*np.nonzero(np.ones_like(B, dtype=bool))):
            y[i:i + A.shape[0], j:j + A.shape[1]] += B[i, j] * A
    return y


@pytest.mark.parametrize("a_shape,b_shape", [((30, 40), (5, 5)), ((3000, 1), (40, 1)), ((300, 1), (1000, 1)),
                                             ((600000, 1), (60, 1))])
def test_zero_taps_against_inf_give_nan_on_every_path(a_shape, b_shape):
    rng = np.random.default_rng(9)
    A, B = random(rng, a_shape), random(rng, b_shape)
    A.flat[len(A.flat) // 2] = np.inf
    B.flat[: B.size // 2] = 0.0  # zero taps, some against the Inf
    y = vm.conv2(A, B)
    if max(A.shape) > 10000:  # one Inf: NaN exactly where a zero tap meets it
        inf_at, zeros = len(A.flat) // 2, np.arange(B.size // 2)
        expected = np.zeros(A.size + B.size - 1, dtype=bool)
        expected[inf_at + zeros] = True
        expected = expected.reshape(np.atleast_2d(y).shape)
    else:
        expected = nan_mask(shift_add(A, B))
    np.testing.assert_array_equal(nan_mask(y), expected)
    assert nan_mask(y).any()


def test_the_sparse_path_is_not_taken_against_a_non_finite_operand():
    rng = np.random.default_rng(10)
    sparse = random(rng, (30, 30), density=0.05)
    dense = random(rng, (6, 6))
    dense[2, 3] = np.inf
    y = vm.conv2(sparse, dense)
    np.testing.assert_array_equal(np.isnan(y), np.isnan(shift_add(sparse, dense)))
    assert np.isnan(y).sum() > 0


def test_a_nan_in_the_sparse_operand_is_used():
    sparse = np.zeros((20, 20))
    sparse[3, 4] = np.nan
    y = vm.conv2(random(np.random.default_rng(1), (8, 8)), sparse)
    assert np.isnan(y).sum() == 64


PARALLEL_CASES = [
    ((700, 900), (7, 7), np.float64), ((700, 300), (5, 5), np.complex64), ((600, 500), (15, 15), "sparse"),
    ((20000, 1), (30, 1), np.float64), ((1, 20000), (1, 30), np.complex128), ((400, 1), (900, 1), np.float32),
    ((700000, 1), (64, 1), np.float64),
]


@pytest.mark.parametrize("a_shape,b_shape,kind", PARALLEL_CASES)
def test_one_thread_and_several_give_the_same_bits(threads, a_shape, b_shape, kind):
    rng = np.random.default_rng(11)
    dtype = np.float64 if kind == "sparse" else kind
    A = random(rng, a_shape, dtype)
    B = random(rng, b_shape, dtype, density=0.1 if kind == "sparse" else 1.0)
    threads(1)
    one = vm.conv2(A, B, "same")
    for n in (2, 3, 7):
        threads(n)
        np.testing.assert_array_equal(vm.conv2(A, B, "same"), one)


@pytest.mark.parametrize("m,n", [(600, 500), (40, 30)])
def test_separable_parallel_and_without_workspace_give_the_same_values(threads, m, n):
    rng = np.random.default_rng(12)
    a, b, C = random(rng, 9), random(rng, 21), random(rng, (m, n))
    C[5, 7] = np.inf
    a[3] = 0.0
    threads(1)
    one = vm.conv2(a, b, C, "same")
    threads(2)
    np.testing.assert_array_equal(vm.conv2(a, b, C, "same"), one)
    try:
        core._set_malloc_ex_fail_after(1)  # the intermediate, but no worker's buffer
        np.testing.assert_array_equal(vm.conv2(a, b, C, "same"), one)
        core._set_malloc_ex_fail_after(0)  # no intermediate: the direct route
        np.testing.assert_array_equal(vm.conv2(a, b, C, "same"), one)
    finally:
        core._set_malloc_ex_fail_after(-1)


@pytest.mark.parametrize("word,ok", [("SaMe", True), ("S", True), ("va", True), ("FUL", True), ("fU", True),
                                     ("samey", False), ("", False), ("x", False)])
def test_shape_words(word, ok):
    A, B = np.ones((4, 4)), np.ones((2, 2))
    if ok:
        assert vm.conv2(A, B, word).shape in {(4, 4), (3, 3), (5, 5)}
    else:
        with pytest.raises(vm.Error) as info:
            vm.conv2(A, B, word)
        assert info.value.identifier == "VELTRA:conv2:unknownShapeParameter"


@pytest.mark.parametrize("args,identifier", [
    ((np.ones((2, 2, 2)), np.ones(2)), "VELTRA:conv2:ndArrayInput"),
    (("ab", np.ones(2), "bad"), "VELTRA:conv2:inputType"),             # a bad type wins over a bad shape
    ((np.ones(2), np.ones(2), "bad"), "VELTRA:conv2:unknownShapeParameter"),
    ((np.ones(2), np.ones(2), vm.string_array([None])), "VELTRA:string:MissingNotSupported"),
    ((np.ones(2), np.ones(2), vm.string_array(["same", "full"])), "VELTRA:conv2:unknownShapeParameter"),
    ((np.ones((2, 2)), np.ones(2), np.ones((3, 3))), "VELTRA:conv2:firstTwoInputsNotVectors"),
    ((np.ones((2, 2)), np.ones(2), "ab"), "VELTRA:conv2:unknownShapeParameter"),
    ((np.ones(2), np.ones(2), np.ones((3, 3)), 5.0), "VELTRA:conv2:unknownShapeParameter"),
    ((np.ones(2), np.ones(2), vm.string_array(["x"]), "same"), "VELTRA:conv2:inputTypeSeparable"),
    ((np.ones((2, 2)), np.ones(2), vm.string_array(["x"]), "same"), "VELTRA:conv2:inputTypeSeparable"),
    ((np.ones(2),), "VELTRA:minrhs"),
    ((np.ones(2),) * 5, "VELTRA:maxrhs"),
])
def test_errors_in_their_order(args, identifier):
    import scipy.sparse
    with pytest.raises(vm.Error) as info:
        vm.conv2(*args)
    assert info.value.identifier == identifier
    with pytest.raises(vm.Error) as info:
        vm.conv2(scipy.sparse.eye(3, format="csc"), np.ones((2, 2)))
    assert info.value.identifier == "VELTRA:conv2:SparseInput"
    with pytest.raises(vm.Error) as info:
        vm.call(2, np.ones(2), np.ones(2), nargout=2)
    assert info.value.identifier == "VELTRA:maxlhs"
