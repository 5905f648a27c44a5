"""What the convolution tests share: random operands, and a tolerance for sums of products from
the precision, the number of terms and the size of the values."""

import numpy as np

import tolerance


def random(rng, shape, dtype=np.float64, density=1.0, order="F"):
    """Normal values of the dtype (complex: normal parts) in Fortran order, or the order given; a
    density below 1 leaves the rest zero."""
    x = rng.standard_normal(shape)
    if np.dtype(dtype).kind == "c":
        x = x + 1j * rng.standard_normal(shape)
    if density < 1.0:
        x = x * (rng.random(shape) < density)
    return np.asarray(x.astype(dtype), order=order)


def sum_tolerance(A, B, single=False):
    """8 eps per term of the longest sum, scaled by the largest magnitudes of the operands."""
    return tolerance.absolute(np.float32 if single else np.float64, tolerance.largest(A) * tolerance.largest(B),
                              terms=min(np.size(A), np.size(B)))


def assert_sum_close(y, want, A, B, single=False):
    assert np.size(y) == np.size(want), (np.shape(y), np.shape(want))
    np.testing.assert_allclose(np.reshape(y, np.shape(want)), want, rtol=0, atol=sum_tolerance(A, B, single))
