"""The layout adapter of the network tests: PyTorch's NCHW (and F, C, kH, kW) to our H, W, C, N
column-major and back."""

import numpy as np


def to_ours(x):
    """NCHW (or FCkHkW) to H, W, C, N column-major."""
    return np.asfortranarray(x.transpose(2, 3, 1, 0))


def from_ours(y):
    y = np.asarray(y)
    return y.reshape(y.shape + (1,) * (4 - y.ndim)).transpose(3, 2, 0, 1)
