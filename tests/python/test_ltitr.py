"""ltitr against SciPy's discrete simulation; the reference loop, complex operands, classes and
errors are tested on the C++ side (tests/cpp/statespace)."""

import numpy as np
import pytest
from scipy import signal

import vlmathdsp as vm


def stable(rng, n):
    A = rng.standard_normal((n, n))
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
        # a stable system keeps errors near the size of one step's rounding, times the steps
        np.testing.assert_allclose(X, x, rtol=0, atol=100 * np.finfo(float).eps * n * np.max(np.abs(x)))
    elif L == 1:
        np.testing.assert_array_equal(X[0], x0)


def test_a_char_initial_state_is_its_code_units():
    np.testing.assert_array_equal(vm.ltitr(np.eye(2), np.ones((2, 1)), np.ones((3, 1)), "ab")[0], [97, 98])
