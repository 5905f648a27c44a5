"""max_pool and avg_pool against torch's max_pool2d/avg_pool2d where their padding rules agree,
and against a plain loop written here where they do not; NaN and Inf; threads; errors in order."""

import numpy as np
import pytest
import scipy.sparse
import torch

import vlmathdsp as vm
from network_layout import expect_error, from_ours, to_ours


def reference(x, k, p, s, mode):
    """x (H, W, C, N): each window's image cells, the padding left out; max ignores NaN and starts
    from the most negative finite value, the average divides the sum by k0 k1."""
    H, W = x.shape[:2]
    oH, oW = (H + p[0] + p[2] - k[0]) // s[0] + 1, (W + p[1] + p[3] - k[1]) // s[1] + 1
    out = np.empty((oH, oW) + x.shape[2:], x.dtype)
    lowest = np.finfo(x.dtype).min
    for o in range(oH):
        for q in range(oW):
            r, c = o * s[0] - p[0], q * s[1] - p[1]
            cells = x[max(r, 0):max(r + k[0], 0), max(c, 0):max(c + k[1], 0)]
            if mode == "max":
                cells = np.where(np.isnan(cells), -np.inf, cells)
                out[o, q] = np.maximum(cells.max(axis=(0, 1), initial=-np.inf), lowest)
            else:
                out[o, q] = cells.sum(axis=(0, 1)) / (k[0] * k[1])
    return out


def pool(mode, x, k, p, s):
    f = vm.max_pool if mode == "max" else vm.avg_pool
    return f(x, np.array(k, float), np.array(p, float), np.array(s, float))


TORCH_CASES = [  # H, W, C, N, k, stride, padding (symmetric, at most half the window)
    (112, 112, 3, 2, (3, 3), (2, 2), (1, 1)),
    (9, 8, 2, 3, (2, 2), (2, 2), (0, 0)),
    (9, 8, 2, 3, (3, 2), (1, 1), (1, 1)),        # overlapping windows at unit stride
    (10, 11, 2, 2, (2, 3), (3, 4), (1, 0)),      # stride larger than the window
    (5, 7, 1, 1, (5, 3), (1, 2), (2, 1)),
    (6, 6, 4, 1, (1, 1), (2, 2), (0, 0)),
]


@pytest.mark.parametrize("mode", ["max", "avg"])
@pytest.mark.parametrize("dtype", [np.float64, np.float32])
@pytest.mark.parametrize("H,W,C,N,k,s,p", TORCH_CASES)
def test_against_torch(H, W, C, N, k, s, p, mode, dtype):
    x = np.random.default_rng(H + W + C).standard_normal((N, C, H, W)).astype(dtype)
    got = from_ours(pool(mode, to_ours(x), k, (p[0], p[1], p[0], p[1]), s))
    tx = torch.from_numpy(x)
    if mode == "max":
        want = torch.nn.functional.max_pool2d(tx, k, s, p).numpy()
        np.testing.assert_array_equal(got, want)
    else:
        want = torch.nn.functional.avg_pool2d(tx, k, s, p, count_include_pad=True).numpy()
        tol = 1e-6 if dtype == np.float32 else 1e-14
        np.testing.assert_allclose(got, want, rtol=tol, atol=tol)
    assert got.dtype == dtype


REFERENCE_CASES = [  # H, W, k, padding, stride: where torch's rules differ or refuse
    (7, 6, (3, 3), (3, 0, 0, 0), (1, 1)),        # leading rows wholly in the padding
    (7, 6, (2, 2), (5, 4, 1, 0), (2, 3)),        # several of them, strided
    (6, 7, (3, 2), (0, 1, 2, 3), (1, 1)),        # asymmetric padding, windows cut at the border
    (4, 5, (6, 7), (1, 1, 1, 1), (1, 1)),        # windows larger than the image
    (9, 9, (2, 2), (0, 0, 0, 0), (4, 5)),        # stride beyond the window, trailing rows dropped
    (8, 8, (3, 3), (2, 2, 2, 2), (2, 2)),
]


@pytest.mark.parametrize("mode", ["max", "avg"])
@pytest.mark.parametrize("H,W,k,p,s", REFERENCE_CASES)
def test_against_a_plain_loop(H, W, k, p, s, mode):
    x = np.asfortranarray(np.random.default_rng(H * W).standard_normal((H, W, 3, 2)))
    got = pool(mode, x, k, p, s)
    np.testing.assert_allclose(got, reference(x, k, p, s, mode), rtol=1e-14, atol=1e-14)


@pytest.mark.parametrize("dtype", [np.float64, np.float32])
def test_nan_and_inf(dtype):
    x = np.zeros((4, 4), dtype)
    x[0:2, 0:2] = np.nan                          # a window of NaN only
    x[2:4, 0:2] = -np.inf                         # a window of -Inf only
    x[0, 2], x[1, 3] = np.nan, 5                  # NaN never wins against a number
    x[3, 3] = np.nan                              # and makes the average NaN
    k, p, s = (2, 2), (0, 0, 0, 0), (2, 2)
    lowest = np.finfo(dtype).min
    np.testing.assert_array_equal(pool("max", x, k, p, s), np.array([[lowest, 5], [lowest, 0]], dtype))
    avg = pool("avg", x, k, p, s)
    assert np.isnan(avg[0, 0]) and avg[1, 0] == -np.inf and np.isnan(avg[0, 1]) and np.isnan(avg[1, 1])
    # Outputs wholly in the padding keep the fill: the lowest finite value, or zero.
    padded = pool("max", np.ones((2, 2), dtype), (2, 2), (3, 0, 0, 0), (1, 1))
    np.testing.assert_array_equal(padded[:, 0], np.array([lowest, lowest, 1, 1], dtype))
    np.testing.assert_array_equal(pool("avg", np.ones((2, 2), dtype), (2, 2), (3, 0, 0, 0), (1, 1))[:, 0],
                                  np.array([0, 0, 0.5, 1], dtype))


def test_sizes_round_and_the_window_may_equal_the_padded_image():
    x = np.asfortranarray(np.random.default_rng(1).standard_normal((5, 6, 2)))
    np.testing.assert_array_equal(vm.max_pool(x, np.array([1.6, 2.4]), np.zeros(4), np.ones(2)),
                                  pool("max", x, (2, 2), (0, 0, 0, 0), (1, 1)))
    whole = pool("avg", x, (7, 6), (1, 0, 1, 0), (1, 1))
    assert whole.shape == (1, 1, 2)
    np.testing.assert_allclose(whole[0, 0], x.sum(axis=(0, 1)) / 42, rtol=1e-14)
    assert pool("max", x, (2, 2), (0, 0, 0, 0), (np.uint8(3), np.int16(4))).shape == (2, 2, 2)


@pytest.mark.parametrize("mode", ["max", "avg"])
@pytest.mark.parametrize("images,s", [(2, (1, 1)), (2, (2, 3)), (40, (1, 1)), (40, (2, 2))])
def test_one_thread_and_several_give_the_same_bits(threads, mode, images, s):
    x = np.asfortranarray(np.random.default_rng(2).standard_normal((70, 66, images)))
    threads(1)
    one = pool(mode, x, (3, 3), (1, 1, 1, 1), s)
    for n in (2, 3):
        threads(n)
        np.testing.assert_array_equal(pool(mode, x, (3, 3), (1, 1, 1, 1), s), one)


X = np.ones((5, 5, 2))
K, P, S = [2.0, 2], [0.0] * 4, [1.0, 1]
BAD = "VELTRA:legacy_two_part:badsubscript"


@pytest.mark.parametrize("slot", [12, 13])
@pytest.mark.parametrize("args,kwargs,identifier,text", [
    ((X, K, P, S), {"nargout": 2}, "VELTRA:maxlhs", None),
    ((X, K, P, S, S), {}, "VELTRA:maxrhs", None),
    ((X, K, P), {}, "VELTRA:minrhs", None),
    ((scipy.sparse.eye(3, format="csc"), K, P, S), {}, BAD, "Invalid input array."),
    ((X.astype(np.int32), K, P, S), {}, BAD, "Invalid input array."),
    ((X * 1j, K, P, S), {}, BAD, "Invalid input array."),
    ((np.ones((0, 3)), K, P, S), {}, BAD, "Invalid input array."),
    ((np.ones((2, 2, 2, 2, 2)), K, P, S), {}, BAD, "Invalid input array."),
    ((X, [2.0], [0.0], S), {}, BAD, "Invalid pooling size."),             # before the padding
    ((X, "ab", P, S), {}, BAD, "Invalid pooling size."),
    ((X, np.array([2.0, 2j]), P, S), {}, BAD, "Invalid pooling size."),
    ((X, [0.4, 2], [0.0], S), {}, BAD, "Pooling size must be a positive integer."),  # rounds to 0
    ((X, [-3.0, 2], P, S), {}, BAD, "Pooling size must be a positive integer."),     # saturates to 0
    ((X, K, [0.0] * 3, [1.0]), {}, BAD, "Invalid padding specification."),  # before the stride
    ((X, K, P, [1.0]), {}, BAD, "Invalid stride specification."),
    ((X, [9.0, 9], P, [0.0, 1]), {}, BAD, "Stride must be a positive integer."),  # before the size test
    ((X, [6.0, 2], P, S), {}, BAD, "Pooling cannot be larger than output size."),
    ((X, [2.0, 7], [0.0, 1, 0, 0], S), {}, BAD, "Pooling cannot be larger than output size."),
])
def test_errors_in_their_order(slot, args, kwargs, identifier, text):
    expect_error(slot, args, kwargs, identifier, text)


def backward_reference(g, k, p, s, size, compensation=True):
    """Each window's gradient spread over its image cells, by k0 k1, or, with compensation off
    and some padding, the first and last rows and columns by the window less their padding
    (unsigned 64-bit, wrapping)."""
    out = np.zeros(tuple(size) + g.shape[2:])
    for o in range(g.shape[0]):
        for q in range(g.shape[1]):
            r, c = o * s[0] - p[0], q * s[1] - p[1]
            out[max(r, 0):max(r + k[0], 0), max(c, 0):max(c + k[1], 0)] += g[o, q]
    if compensation or not any(p):
        return out / (k[0] * k[1])
    count = lambda n, kk, before, after: np.array(
        [float((kk - (after if i == n - 1 else 0) - (before if i == 0 else 0)) % 2**64) for i in range(n)])
    rows, cols = count(size[0], k[0], p[0], p[2]), count(size[1], k[1], p[1], p[3])
    with np.errstate(divide="ignore", invalid="ignore"):  # a count of 0 gives Inf or NaN, as it stands
        return out / (rows[:, None] * cols[None, :]).reshape(rows.size, cols.size, *([1] * (g.ndim - 2)))


def pool_backward(g, k, p, s, size, *compensation):
    return vm.avg_pool_backward(g, np.array(k, float), np.array(p, float), np.array(s, float),
                                np.array(size, float), *compensation)


@pytest.mark.parametrize("dtype", [np.float64, np.float32])
@pytest.mark.parametrize("H,W,C,N,k,s,p", TORCH_CASES)
def test_average_backward_against_torch_autograd(H, W, C, N, k, s, p, dtype):
    rng = np.random.default_rng(H + W + C + 1)
    x = torch.tensor(rng.standard_normal((N, C, H, W)).astype(dtype), requires_grad=True)
    y = torch.nn.functional.avg_pool2d(x, k, s, p, count_include_pad=True)
    g = rng.standard_normal(tuple(y.shape)).astype(dtype)
    want, = torch.autograd.grad(y, (x,), torch.from_numpy(g))
    got = from_ours(pool_backward(to_ours(g), k, (p[0], p[1], p[0], p[1]), s, (H, W)))
    tol = 1e-6 if dtype == np.float32 else 1e-14
    assert got.dtype == dtype
    np.testing.assert_allclose(got, want.numpy(), rtol=tol, atol=tol)


@pytest.mark.parametrize("compensation", [True, False])
@pytest.mark.parametrize("H,W,k,p,s", REFERENCE_CASES + [
    (1, 6, (3, 2), (1, 0, 1, 1), (1, 1)),        # one row: both its paddings compensated
    (9, 8, (2, 2), (3, 1, 0, 0), (1, 2)),        # padding beyond the window: counts wrap
])
def test_average_backward_against_a_plain_loop(H, W, k, p, s, compensation):
    oH, oW = (H + p[0] + p[2] - k[0]) // s[0] + 1, (W + p[1] + p[3] - k[1]) // s[1] + 1
    g = np.asfortranarray(np.random.default_rng(H * W + 1).standard_normal((oH, oW, 2, 3)))
    got = pool_backward(g, k, p, s, (H, W), compensation)
    np.testing.assert_allclose(got, backward_reference(g, k, p, s, (H, W), compensation), rtol=1e-13, atol=1e-13)
    # A larger image than the windows reached: zeros beyond them, the rest unchanged.
    larger = pool_backward(g, k, p, s, (H + 3, W + 2))
    np.testing.assert_allclose(larger, backward_reference(g, k, p, s, (H + 3, W + 2)), rtol=1e-13, atol=1e-13)


def test_compensation_is_a_truth_value_and_changes_nothing_without_padding():
    g = np.asfortranarray(np.random.default_rng(3).standard_normal((4, 5, 2)))
    args = ((2, 2), (0, 0, 0, 0), (2, 2), (8, 10))
    plain = pool_backward(g, *args)
    for flag in (False, 0.0, np.array(False), 2.5):
        np.testing.assert_array_equal(pool_backward(g, *args, flag), plain)
    padded = ((3, 3), (1, 1, 1, 1), (2, 2), (8, 10))
    np.testing.assert_array_equal(pool_backward(g, *padded, np.array(False)), pool_backward(g, *padded, 0.0))
    assert not np.array_equal(pool_backward(g, *padded, 0.0), pool_backward(g, *padded))
    nan = g.copy()
    nan[1, 1, 0] = np.nan
    assert np.isnan(pool_backward(nan, *args)[2:4, 2:4, 0]).all()


@pytest.mark.parametrize("images,s", [(2, (1, 1)), (2, (2, 3)), (40, (1, 1)), (40, (2, 2))])
def test_backward_one_thread_and_several_give_the_same_bits(threads, images, s):
    g = np.asfortranarray(np.random.default_rng(4).standard_normal((35, 33, images)))
    size = (35 * s[0] + 1, 33 * s[1] + 1)
    threads(1)
    one = pool_backward(g, (3, 3), (1, 1, 1, 1), s, size, False)
    for n in (2, 3):
        threads(n)
        np.testing.assert_array_equal(pool_backward(g, (3, 3), (1, 1, 1, 1), s, size, False), one)


G5 = np.ones((4, 4, 2))
Z = [5.0, 5]


@pytest.mark.parametrize("args,kwargs,identifier,text", [
    ((G5, K, P, S, Z), {"nargout": 2}, "VELTRA:maxlhs", None),
    ((G5, K, P, S, Z, 1.0, 1.0), {}, "VELTRA:maxrhs", None),
    ((G5, K, P, S), {}, "VELTRA:minrhs", None),
    ((G5.astype(np.float32) * 1j, K, P, S, Z), {}, BAD, "Invalid input array."),
    ((G5, [2.0, 0], P, S, Z), {}, BAD, "Pooling size must be a positive integer."),
    ((G5, K, [0.0], [1.0], Z), {}, BAD, "Invalid padding specification."),
    ((G5, K, P, [1.0, 0], [5.0]), {}, BAD, "Stride must be a positive integer."),  # before the size
    ((G5, K, P, S, [5.0], [1.0, 1]), {}, BAD, "Invalid input size specification."),  # before the flag
    ((G5, K, P, S, [5.0, 0.2]), {}, BAD, "Input size must be positive integers."),
    ((G5, K, P, S, Z, [1.0, 1]), {}, BAD, "Invalid pooling compensation specification."),
    ((G5, K, P, S, Z, np.float32(1)), {}, BAD, "Invalid pooling compensation specification."),
    ((G5, K, P, S, Z, "a"), {}, BAD, "Invalid pooling compensation specification."),
])
def test_backward_errors_in_their_order(args, kwargs, identifier, text):
    expect_error(14, args, kwargs, identifier, text)
