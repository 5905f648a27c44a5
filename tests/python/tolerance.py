"""The tolerance of every numeric comparison in these tests: a multiple of the precision's
epsilon, grown with the size of the problem (the terms of a sum, the length of a transform) and
scaled by the size of the values."""

import math

import numpy as np

GROWTH = {"linear": lambda terms: terms, "sqrt": math.sqrt, "log": lambda terms: math.log2(max(terms, 2))}


def epsilon(dtype):
    """The machine epsilon of a dtype's real precision (complex types count as their parts)."""
    return float(np.finfo(np.dtype(dtype)).eps)


def absolute(dtype, scale, terms=1, growth="linear", factor=8):
    """factor * eps * growth(terms) * scale."""
    return factor * epsilon(dtype) * GROWTH[growth](terms) * scale


def largest(values, floor=1.0):
    """The largest magnitude of `values`, at least `floor`."""
    return max(float(np.max(np.abs(np.asarray(values)), initial=0.0)), floor)


def assert_close(got, want, dtype=None, terms=1, growth="linear", factor=8, scale=None):
    """got equals want within absolute(dtype, scale, terms, growth, factor); dtype defaults to
    want's, scale to want's largest magnitude (at least 1)."""
    want = np.asarray(want)
    dtype = want.dtype if dtype is None else dtype
    scale = largest(want) if scale is None else scale
    np.testing.assert_allclose(np.asarray(got), want, rtol=0, atol=absolute(dtype, scale, terms, growth, factor))
