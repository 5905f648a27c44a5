"""The cosine and sine transforms against scipy.fft's unnormalised transforms, brought to
orthonormal weights here and checked against the written-out orthonormal matrices."""

import warnings

import numpy as np
import pytest
import scipy.fft
import scipy.sparse

import vlmathdsp as vm
import vlmathdsp._vlmathdsp as core
from transforms import assert_one_thread_matches_several, assert_transform_close, host_shape

KINDS = [(dct, t) for dct in (True, False) for t in (1, 2, 3, 4)]
FORWARD = {True: vm.dct, False: vm.dst}
INVERSE = {True: vm.idct, False: vm.idst}
FORWARD_N = {True: vm.dctn, False: vm.dstn}
INVERSE_N = {True: vm.idctn, False: vm.idstn}


def orthonormal_matrix(dct, t, n):
    """M[k, j], written out from the definitions."""
    k, j = np.arange(n)[:, None], np.arange(n)[None, :]
    if dct and t == 1:
        c = np.where((np.arange(n) == 0) | (np.arange(n) == n - 1), np.sqrt(0.5), 1.0)
        return np.sqrt(2 / (n - 1)) * c[:, None] * c[None, :] * np.cos(np.pi * k * j / (n - 1))
    if t == 1:
        return np.sqrt(2 / (n + 1)) * np.sin(np.pi * (j + 1) * (k + 1) / (n + 1))
    if t == 3:
        return orthonormal_matrix(dct, 2, n).T
    if t == 4:
        trig = np.cos if dct else np.sin
        return np.sqrt(2 / n) * trig(np.pi * (j + 0.5) * (k + 0.5) / n)
    if dct:
        c = np.where(np.arange(n) == 0, np.sqrt(0.5), 1.0)
        return np.sqrt(2 / n) * c[:, None] * np.cos(np.pi * (j + 0.5) * k / n)
    d = np.where(np.arange(n) == n - 1, np.sqrt(0.5), 1.0)
    return np.sqrt(2 / n) * d[:, None] * np.sin(np.pi * (j + 0.5) * (k + 1) / n)


def oracle(dct, t, x, axis):
    """scipy's unnormalised transform along axis, with the inputs counted once multiplied by
    sqrt 2 first, and the outputs scaled to unit norm."""
    n = x.shape[axis]
    shape = [1] * x.ndim
    shape[axis] = n
    first = np.arange(n) == 0
    last = np.arange(n) == n - 1
    w_in = np.ones(n)
    if t in (1, 3) and dct:
        w_in[first] = np.sqrt(2)
    if (t == 1 and dct) or (t == 3 and not dct):
        w_in[last] = np.sqrt(2)
    logical = n - 1 if (dct and t == 1) else n + 1 if t == 1 else n
    w_out = np.full(n, 1 / np.sqrt(2 * logical))
    if dct and t in (1, 2):
        w_out[first] /= np.sqrt(2)
    if (dct and t == 1) or (not dct and t == 2):
        w_out[last] /= np.sqrt(2)
    f = scipy.fft.dct if dct else scipy.fft.dst
    return w_out.reshape(shape) * f(x * w_in.reshape(shape), type=t, axis=axis)


def resized(x, n, axis):
    """x padded with zeros or truncated to n along axis."""
    out = np.zeros(x.shape[:axis] + (n,) + x.shape[axis + 1:], x.dtype)
    m = min(n, x.shape[axis])
    out[(slice(None),) * axis + (slice(0, m),)] = x[(slice(None),) * axis + (slice(0, m),)]
    return out


@pytest.mark.parametrize("dct,t", KINDS)
def test_the_oracle_is_the_orthonormal_matrix(dct, t):
    for n in (2, 3, 8, 13):
        M = orthonormal_matrix(dct, t, n)
        np.testing.assert_allclose(M @ M.T, np.eye(n), atol=1e-13)
        np.testing.assert_allclose(oracle(dct, t, np.eye(n), 0), M, atol=1e-13)


@pytest.mark.parametrize("dct,t", KINDS)
@pytest.mark.parametrize("dtype", [np.float64, np.float32, np.complex128, np.complex64])
def test_one_dimension_along_each_axis_padded_and_truncated(dct, t, dtype):
    rng = np.random.default_rng(t + 4 * dct)
    shape = (6, 9, 4)
    x = rng.standard_normal(shape)
    if np.iscomplexobj(dtype(0)):
        x = x + 1j * rng.standard_normal(shape)
    x = np.asfortranarray(x.astype(dtype))
    single = dtype in (np.float32, np.complex64)
    for axis in range(3):
        for n in (None, shape[axis], shape[axis] + 5, 3, 2):
            want = oracle(dct, t, resized(x.astype(np.complex128 if np.iscomplexobj(x) else np.float64),
                                          n or shape[axis], axis), axis)
            got = FORWARD[dct](x, n, axis + 1, "Variant", t)
            assert got.dtype == x.dtype and got.shape == host_shape(want.shape)
            assert_transform_close(got, want, want.shape[axis], single)


@pytest.mark.parametrize("dct,t", KINDS)
def test_wide_strides_and_the_default_dimension(dct, t):
    """Sequences many columns apart (blocks through a buffer, with a partial block) and the
    default dimension, the first that is not 1."""
    rng = np.random.default_rng(11)
    x = np.asfortranarray(rng.standard_normal((37, 29)) + 1j * rng.standard_normal((37, 29)))
    assert_transform_close(FORWARD[dct](x, 31, 2, "Variant", t), oracle(dct, t, resized(x, 31, 1), 1), 31)
    row = rng.standard_normal((1, 12))
    assert_transform_close(FORWARD[dct](row, "Variant", t), oracle(dct, t, row, 1), 12)


@pytest.mark.parametrize("dct,t", KINDS)
def test_long_contiguous_sequences_padded_and_truncated(dct, t):
    """Sequences too long to share a buffer block run one at a time, straight from the column."""
    rng = np.random.default_rng(20 + t + 4 * dct)
    for n in (5001, 8192, 2**17):  # 2^17: the forward FFT in place
        for rows in (n, n - 7, n + 3):
            x = np.asfortranarray(rng.standard_normal((rows, 2)))
            assert_transform_close(FORWARD[dct](x, n, 1, "Variant", t), oracle(dct, t, resized(x, n, 0), 0), n)
            z = x[:, 0] + 1j * x[:, 1]
            assert_transform_close(FORWARD[dct](z, n, "Variant", t), oracle(dct, t, resized(z, n, 0), 0), n)
            single = np.asfortranarray(x, dtype=np.float32)
            assert_transform_close(FORWARD[dct](single, n, 1, "Variant", t),
                                   oracle(dct, t, resized(single.astype(np.float64), n, 0), 0), n, True)


@pytest.mark.parametrize("dct,t", KINDS)
def test_all_dimensions_with_sizes(dct, t):
    rng = np.random.default_rng(5)
    x = np.asfortranarray(rng.standard_normal((5, 7, 3)))
    for siz in (None, [5, 7, 3], [8, 4, 3], [5, 7, 2, 2], [2, 9, 6]):
        want = x
        if siz is not None:
            want = np.zeros(siz)
            source = x.reshape(x.shape + (1,) * (len(siz) - x.ndim))
            common = tuple(slice(0, min(a, b)) for a, b in zip(siz, source.shape))
            want[common] = source[common]
        for axis in range(want.ndim):
            want = oracle(dct, t, want, axis)
        got = FORWARD_N[dct](x, *([] if siz is None else [np.array([siz], float)]), "Variant", t)
        assert got.shape == host_shape(want.shape)
        assert_transform_close(got, want, want.size)


@pytest.mark.parametrize("dct,t", KINDS)
def test_inverses_undo_the_forward_transforms(dct, t):
    rng = np.random.default_rng(2)
    x = np.asfortranarray(rng.standard_normal((16, 10)) + 1j * rng.standard_normal((16, 10)))
    assert_transform_close(INVERSE[dct](FORWARD[dct](x, "Variant", t), "Variant", t), x, 16)
    assert_transform_close(INVERSE_N[dct](FORWARD_N[dct](x, "Variant", t), "Variant", t), x, 160)
    y = np.float32(rng.standard_normal((9, 4)))
    back = INVERSE[dct](FORWARD[dct](y, "Variant", t), "Variant", t)
    assert back.dtype == np.float32
    assert_transform_close(back, y, 9, single=True)


def test_inverse_types_and_the_variant_pair():
    x = np.random.default_rng(3).standard_normal(10)
    np.testing.assert_array_equal(vm.idct(x), vm.dct(x, "Variant", 3))
    np.testing.assert_array_equal(vm.idct(x, "Variant", 2), vm.dct(x, "Variant", 3))
    np.testing.assert_array_equal(vm.idct(x, "Variant", 3), vm.dct(x, "Variant", 2))
    for t in (1, 4):
        np.testing.assert_array_equal(vm.idst(x, "Variant", t), vm.dst(x, "Variant", t))
    for name in ("variant", "VAR", "v"):
        np.testing.assert_array_equal(vm.dct(x, name, 4), vm.dct(x, "Variant", 4))
    np.testing.assert_array_equal(vm.dct(x, "Variant", True), vm.dct(x, "Variant", 1))
    np.testing.assert_array_equal(vm.dct(x, "Variant", np.int8(4)), vm.dct(x, "Variant", 4))
    # The pass along the dimension of 1 scales by sqrt 2 and back, to rounding.
    np.testing.assert_allclose(vm.dctn(x, [1.0, 12.0], "Variant", 4), vm.dct(np.r_[x, 0, 0], "Variant", 4),
                               rtol=0, atol=1e-15 * np.abs(x).max())


def test_lengths_one_and_empties():
    x = np.random.default_rng(4).standard_normal((1, 5))
    np.testing.assert_allclose(vm.dst(x, None, 1, "Variant", 1), x)  # DST-I of length 1 is the identity
    for t in (2, 3, 4):
        np.testing.assert_allclose(vm.dct(x, None, 1, "Variant", t), x, rtol=1e-15)
    # A size of 1 still makes a pass: DST-II of length 1 gives x back.
    np.testing.assert_allclose(vm.dstn(x), oracle(False, 2, x, 1))
    made = core._plans_made()
    assert vm.dct(np.zeros((0, 3)), 4).tolist() == np.zeros((4, 3)).tolist()
    assert vm.dct(np.zeros((0, 3))).shape == (0, 3)
    assert vm.dctn(np.zeros((0, 3)), [2.0, 2.0]).tolist() == np.zeros((2, 2)).tolist()
    assert vm.dct(np.ones((4, 3)), 0).shape == (0, 3)
    assert core._plans_made() == made, "no plan for empty arrays"


@pytest.mark.parametrize("fn,args,identifier", [
    (vm.dct, (np.ones(4), "Variant", 2.5), "InvalidVariantValue"),
    (vm.dct, (np.ones(4), "Variant", 0), "InvalidVariantValue"),
    (vm.dct, (np.ones(4), "Variant", 5), "InvalidVariantValue"),
    (vm.dct, (np.ones(4), "Variant", 2 + 0j), "InvalidVariantValue"),
    (vm.dct, (np.ones(4), "Variant", np.nan), "InvalidVariantValue"),
    (vm.dct, (np.ones(4), "Variant", [2.0, 2.0]), "InvalidVariantValue"),
    (vm.dct, (np.ones(4), "Variants", 2), "InvalidVariantString"),
    (vm.dct, (np.ones(4), "", 2), "InvalidVariantString"),
    (vm.dct, (np.ones(4), 4, 1, 2), "InvalidVariantString"),
    (vm.dct, (np.int64([1, 2]), "Variant", 9), "InvalidVariantValue"),
    (vm.dct, (np.int64([1, 2]),), "InvalidInputType"),
    (vm.dst, ("ab",), "InvalidInputType"),
    (vm.dct, (np.ones(4), -1), "DCSTLengthNotNonNegInt"),
    (vm.dct, (np.ones(4), "a", 1, "Variant", 2), "DCSTLengthNotNonNegInt"),
    (vm.dct, (np.ones((1, 4)), None, 1, "Variant", 1), "DCT1Length1"),
    (vm.dct, (np.ones(4), 1, "Variant", 1), "DCT1Length1"),
    (vm.dctn, (np.ones((4, 1)), "Variant", 1), "DCT1NDLength1"),
    (vm.dctn, (np.ones((4, 4)), [4.0, 1.0], "Variant", 1), "DCT1NDLength1"),
    (vm.dctn, (np.ones((4, 4, 2)), [4.0, 4.0]), "DCSToutputSizeLessThanNdimsElements"),
    (vm.dctn, (np.ones((4, 4)), "ab", "Variant", 2), "DCSTLengthNotNonNegInt"),
])
def test_errors(fn, args, identifier):
    with pytest.raises(vm.Error) as info:
        fn(*args)
    assert info.value.identifier == "VELTRA:dcstfcn:" + identifier


def test_argument_counts_and_sparse_input():
    for fn, args, key in [(vm.dct, (np.ones(4), 4, 1, 1, "Variant", 2), "VELTRA:maxrhs"),
                          (vm.dctn, (np.ones(4), [4.0], 1, "Variant", 2), "VELTRA:maxrhs"),
                          (vm.call_function, ("veltra.internal.math.transform.vldct",), "VELTRA:minrhs")]:
        with pytest.raises(vm.Error) as info:
            fn(*args)
        assert info.value.identifier == key
    with pytest.raises(vm.Error) as info:
        vm.idst(scipy.sparse.eye(3, format="csc"))
    assert info.value.identifier == "VELTRA:dcstfcn:SparseInputType"


def test_warnings():
    def identifiers(call):
        with warnings.catch_warnings(record=True) as caught:
            warnings.simplefilter("always")
            result = call()
        return result, [w.message.identifier for w in caught]

    y, ids = identifiers(lambda: vm.dct(np.ones(4), 2.5))
    assert y.shape == (3,) and ids == ["VELTRA:dcstfcn:DCSTLengthNotNonNegInt"]
    y, ids = identifiers(lambda: vm.dctn(np.ones((2, 2)), [[2.0], [3.0]]))
    assert y.shape == (2, 3) and ids == ["VELTRA:dcstfcn:DCSToutputSizeNotRealIntRowVector"]
    y, ids = identifiers(lambda: vm.dctn(np.ones((2, 2)), [2.0, 3.5]))
    assert ids == ["VELTRA:dcstfcn:DCSToutputSizeVectorNotNonNegInts"]
    # DCT-I fails on the size of 1 without a warning first.
    with warnings.catch_warnings(record=True) as caught:
        warnings.simplefilter("always")
        with pytest.raises(vm.Error) as info:
            vm.dctn(np.ones((2, 2)), [1.0, 2.5], "Variant", 1)
        with pytest.raises(vm.Error):
            vm.dct(np.ones(4), 1.2, "Variant", 1)
    assert info.value.identifier == "VELTRA:dcstfcn:DCT1NDLength1" and not caught


def test_plans_are_reused_and_kinds_have_their_own():
    x = np.random.default_rng(7).standard_normal(4099)
    vm.dct(x)
    made = core._plans_made()
    vm.dct(x)
    vm.dct(2 * x)
    assert core._plans_made() == made
    vm.dst(x)
    assert core._plans_made() == made + 1, "a DST-II of the same length is a plan of its own"


def test_one_thread_and_several_give_the_same_bits(threads):
    rng = np.random.default_rng(8)
    cases = [np.asfortranarray(rng.standard_normal((2**17, 3))), np.asfortranarray(rng.standard_normal((300, 500))),
             rng.standard_normal(2**18),
             np.asfortranarray(rng.standard_normal((64, 64, 40)) + 1j * rng.standard_normal((64, 64, 40)))]
    run = lambda: [f(c, "Variant", t) for c in cases for f in (vm.dct, vm.dstn) for t in (1, 2, 3, 4)]
    assert_one_thread_matches_several(threads, run)
