"""window_norm against torch's local_response_norm (odd windows) and a NumPy reference of the
formula (both forms, every window); the exponents with square roots; threads; errors in order."""

import numpy as np
import pytest
import scipy.sparse
import torch

import vlmathdsp as vm
from network_layout import expect_error, from_ours, to_ours


def reference(x, n, alpha, beta, k, g=None):
    """Pixels, channels and images in column-major order; the window of channel c is c + n // 2 + 1
    - n .. c + n // 2; the gradient form scales g by (t - 2 alpha / n beta S) / t^(beta + 1)."""
    d = x.shape + (1,) * (3 - x.ndim)
    X = x.astype(np.float64).reshape((d[0] * d[1], d[2], -1), order="F")
    S = np.zeros_like(X)
    for c in range(d[2]):
        top = c + n // 2 + 1
        S[:, c] = (X[:, max(top - n, 0):min(top, d[2])] ** 2).sum(axis=1)
    a = alpha / n
    t = a * S + k
    if g is None:
        out = X / t ** beta
    else:
        out = g.astype(np.float64).reshape(X.shape, order="F") * (t - S * 2 * a * beta) / t ** (beta + 1)
    return out.reshape(x.shape, order="F")


@pytest.mark.parametrize("dtype", [np.float64, np.float32])
@pytest.mark.parametrize("n", [1, 3, 5, 13])
@pytest.mark.parametrize("beta", [0.75, 0.5, 0.25, 0.6])
def test_against_torch_local_response_norm(n, beta, dtype):
    x = np.random.default_rng(n).standard_normal((3, 9, 7, 6)).astype(dtype)  # N, C, H, W
    want = torch.nn.functional.local_response_norm(torch.from_numpy(x), n, alpha=0.3, beta=beta, k=1.5).numpy()
    got = from_ours(vm.window_norm(to_ours(x), float(n), 0.3, beta, 1.5))
    assert got.dtype == dtype
    tol = 2e-6 if dtype == np.float32 else 1e-14
    np.testing.assert_allclose(got, want, rtol=tol, atol=tol)


@pytest.mark.parametrize("dtype", [np.float64, np.float32])
@pytest.mark.parametrize("shape,n", [((5, 4, 8, 3), 2), ((5, 4, 8, 3), 4), ((6, 5), 3), ((3, 4, 5, 2, 3), 6),
                                     ((4, 4, 3, 2), 9)])
@pytest.mark.parametrize("beta", [0.75, 0.5, 0.25, 1.3])
def test_both_forms_against_the_formula(shape, n, beta, dtype):
    rng = np.random.default_rng(len(shape) + n)
    x = np.asfortranarray(rng.standard_normal(shape).astype(dtype))
    g = np.asfortranarray(rng.standard_normal(shape).astype(dtype))
    tol = 1e-5 if dtype == np.float32 else 1e-13
    forward = vm.window_norm(x, float(n), 0.4, beta, 2.0)
    np.testing.assert_allclose(forward, reference(x, n, 0.4, beta, 2.0), rtol=tol, atol=tol)
    backward = vm.window_norm(x, float(n), 0.4, beta, 2.0, g)
    assert backward.dtype == dtype and backward.shape == x.shape
    np.testing.assert_allclose(backward, reference(x, n, 0.4, beta, 2.0, g), rtol=tol, atol=tol)


def test_window_size_and_exponent_edges():
    x = np.asfortranarray(np.random.default_rng(5).standard_normal((4, 3, 6)))
    np.testing.assert_array_equal(vm.window_norm(x, 1.5, 0.2, 0.75, 1.0), vm.window_norm(x, 1.0, 0.2, 0.75, 1.0))
    np.testing.assert_array_equal(vm.window_norm(x, 3.0, 0.2, 0.0, 1.0), x)       # t^0 is 1
    assert np.isnan(vm.window_norm(x, np.nan, 0.2, 0.75, 1.0)).all()               # NaN passes; n = 0
    zero = vm.window_norm(np.zeros((2, 2, 2)), 3.0, 0.2, 0.75, 0.0)                # t = 0: 0 / 0
    assert np.isnan(zero).all()
    np.testing.assert_array_equal(vm.window_norm(x, np.int8(3), np.float32(0.25), 0.5, np.uint16(1)),
                                  vm.window_norm(x, 3.0, 0.25, 0.5, 1.0))


@pytest.mark.parametrize("gradient", [False, True])
def test_one_thread_and_several_give_the_same_bits(threads, gradient):
    rng = np.random.default_rng(6)
    x = np.asfortranarray(rng.standard_normal((60, 50, 16, 20)).astype(np.float32))
    extra = (np.asfortranarray(rng.standard_normal(x.shape).astype(np.float32)),) if gradient else ()
    threads(1)
    one = vm.window_norm(x, 5.0, 1e-4, 0.75, 2.0, *extra)
    for n in (2, 3):
        threads(n)
        np.testing.assert_array_equal(vm.window_norm(x, 5.0, 1e-4, 0.75, 2.0, *extra), one)


X = np.ones((3, 3, 4))
BAD = "VELTRA:legacy_two_part:badsubscript"


@pytest.mark.parametrize("args,kwargs,identifier,text", [
    ((X, 3.0, 1.0, 0.75, 1.0), {"nargout": 2}, "VELTRA:maxlhs", None),
    ((X, 3.0, 1.0, 0.75, 1.0, X, X), {}, "VELTRA:maxrhs", None),
    ((X, 3.0, 1.0, 0.75), {}, "VELTRA:minrhs", None),
    ((X.astype(np.int32), 3.0, 1.0, 0.75, 1.0), {}, BAD, "Invalid input data type."),
    ((X * 1j, 3.0, 1.0, 0.75, 1.0), {}, BAD, "Invalid input data type."),
    ((scipy.sparse.eye(3, format="csc"), 3.0, 1.0, 0.75, 1.0), {}, BAD, "Invalid input data type."),
    ((np.ones((0, 2)), 3.0, 1.0, 0.75, 1.0), {}, BAD, "Invalid input data type."),
    ((X, [3.0, 1], 1.0, 0.75, 1.0), {}, BAD, "Invalid scalar specification."),
    ((X, 0.5, "a", 0.75, 1.0), {}, BAD, "Invalid scalar specification."),      # all scalars before the size
    ((X, 0.5, 1.0, 1j, 1.0), {}, BAD, "Invalid scalar specification."),
    ((X, 0.5, 1.0, 0.75, True), {}, BAD, "Invalid scalar specification."),
    ((X, 0.5, 1.0, 0.75, 1.0, X * 1j), {}, BAD, "Invalid window size specification."),  # before the gradient
    ((X, -1.0, 1.0, 0.75, 1.0), {}, BAD, "Invalid window size specification."),
    ((X, 3.0, 1.0, 0.75, 1.0, X * 1j), {}, BAD, "Invalid input data type."),
    ((X, 3.0, 1.0, 0.75, 1.0, np.ones((0, 3))), {}, BAD, "Invalid input data type."),
    ((X, 3.0, 1.0, 0.75, 1.0, X.astype(np.float32)), {}, BAD, "Input arrays must be of the same class."),
    ((X, 3.0, 1.0, 0.75, 1.0, np.ones((3, 3))), {}, BAD, "Input arrays must have the same dimensions."),
    ((X, 3.0, 1.0, 0.75, 1.0, np.ones((3, 4, 3))), {}, BAD, "Input arrays must have the same dimensions."),
])
def test_errors_in_their_order(args, kwargs, identifier, text):
    expect_error(15, args, kwargs, identifier, text)
