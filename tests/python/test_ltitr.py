"""ltitr against SciPy's discrete simulation and a plain loop."""

import numpy as np
import pytest
from scipy import signal

import vlmathdsp as vm


def reference(A, B, U, x0):
    L, n = U.shape[0], A.shape[0]
    X = np.zeros((L, n), dtype=np.result_type(A, B, U, x0))
    x = np.asarray(x0, dtype=X.dtype).reshape(n)
    for k in range(L):
        X[k] = x
        x = B @ U[k] + A @ x
    return X


def stable(rng, n, complex_=False):
    A = rng.standard_normal((n, n)) + (1j * rng.standard_normal((n, n)) if complex_ else 0)
    return A / (1.1 * np.max(np.abs(np.linalg.eigvals(A))))


@pytest.mark.parametrize("n,m,L", [(64, 4, 2000), (5, 1, 50), (1, 1, 10), (17, 3, 1), (8, 2, 0), (33, 5, 300)])
def test_matches_dlsim_states(n, m, L):
    rng = np.random.default_rng(n + m + L)
    A, B = stable(rng, n), rng.standard_normal((n, m))
    U, x0 = rng.standard_normal((L, m)), rng.standard_normal(n)
    X = vm.ltitr(A, B, U, x0)
    assert X.shape == (L, n)
    if L > 1:
        _, _, x = signal.dlsim((A, B, np.eye(n)[:1], np.zeros((1, m)), 1.0), U, x0=x0)
        np.testing.assert_allclose(X, x, rtol=1e-10, atol=1e-10)
    np.testing.assert_allclose(X, reference(A, B, U, x0), rtol=1e-12, atol=1e-12)


def test_complex_and_mixed_operands():
    rng = np.random.default_rng(3)
    A = stable(rng, 6, complex_=True)
    B = rng.standard_normal((6, 2)) + 1j * rng.standard_normal((6, 2))
    U = rng.standard_normal((40, 2))
    X = vm.ltitr(A, B, U, np.ones((1, 6)))
    assert X.dtype == np.complex128
    np.testing.assert_allclose(X, reference(A, B, U, np.ones(6)), rtol=1e-12, atol=1e-12)
    real = vm.ltitr(stable(rng, 3), np.ones((3, 1)) + 0j, np.ones((5, 1)))
    assert real.dtype == np.float64, "imaginary parts that stay zero leave a real result"


def test_row_and_column_initial_states_agree(threads):
    rng = np.random.default_rng(9)
    A, B, U = stable(rng, 10), rng.standard_normal((10, 2)), rng.standard_normal((100, 2))
    x0 = rng.standard_normal(10)
    a = vm.ltitr(A, B, U, x0.reshape(1, -1))
    threads(1)
    b = vm.ltitr(A, B, U, x0.reshape(-1, 1))
    threads(2)
    np.testing.assert_array_equal(a, b)
    free = vm.ltitr(A, np.zeros((10, 0)), np.zeros((5, 0)), x0)  # no inputs: free motion
    np.testing.assert_allclose(free, reference(A, np.zeros((10, 0)), np.zeros((5, 0)), x0), rtol=1e-13, atol=1e-14)


@pytest.mark.parametrize("args,identifier", [
    ((np.ones((2, 3)), np.ones((2, 1)), np.ones((3, 1))), "VELTRA:legacy_two_part:square"),
    ((np.eye(2), np.ones((3, 1)), np.ones((3, 1))), "VELTRA:legacy_two_part:dimagree"),
    ((np.eye(2), np.ones((2, 1)), np.ones((3, 2))), "VELTRA:legacy_two_part:dimagree"),
    ((np.eye(2), np.ones((2, 1)), np.ones((3, 1)), np.ones(3)), "VELTRA:ltitr:invalidInitialCondition"),
    ((np.eye(2), np.ones((2, 1)), np.ones((3, 1)), "ab"), ""),
])
def test_errors(args, identifier):
    if not identifier:  # a char x0 of the right length is two code units, computed as double
        np.testing.assert_array_equal(vm.ltitr(*args)[0], [97, 98])
        return
    with pytest.raises(vm.Error) as info:
        vm.ltitr(*args)
    assert info.value.identifier == identifier
