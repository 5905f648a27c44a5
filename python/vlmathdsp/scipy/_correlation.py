"""Correlations with scipy.ndimage's boundary modes on the engine: the input extended by its
modes, then the engine's "valid" convolution with the reversed weights. A separable filter runs
as one-dimensional passes, never as a dense kernel."""

import numpy as np

from .. import functions as vm
from ._extend import extend, source
from ._layout import along, take

_CONSTANT = ("constant", "grid-constant")


def _host(x):
    """The host's view of a C-ordered NumPy array: its transpose (a vector as a column)."""
    return x.reshape(-1, 1) if x.ndim == 1 else x.T


def _back(r, shape):
    """The host's result as a C-ordered NumPy array of `shape`."""
    return np.asarray(r).reshape(tuple(shape)[::-1], order="F").T


def _valid(padded, kernel):
    """The engine's "valid" convolution of the padded array with kernel (of padded's rank)."""
    host, k = _host(padded), _host(kernel)
    run = vm.conv2 if padded.ndim <= 2 else vm.convn
    return _back(run(host, k, "valid"), [p - q + 1 for p, q in zip(padded.shape, kernel.shape)])


def _pads(shape, origin):
    """(before, after) for weights of `shape` centred at k // 2 + origin."""
    return [(k // 2 + o, k - 1 - k // 2 - o) for k, o in zip(shape, origin)]


def correlate(x, weights, modes, cval, origin):
    """out[i] = sum over j of weights[j] x[i + j - (k // 2 + origin)], x extended by its modes;
    x and weights of one working dtype and rank."""
    padded = extend(x, _pads(weights.shape, origin), modes, cval)
    return _valid(padded, weights[(slice(None, None, -1),) * weights.ndim])


def _same(x, kernel):
    """The engine's "same" convolution of x with kernel (of x's rank), in x's dtype (the engine
    makes a complex result with no imaginary part real)."""
    run = vm.conv2 if x.ndim <= 2 else vm.convn
    return _back(run(_host(x), _host(kernel), "same"), x.shape).astype(x.dtype, copy=False)


def _edge(x, axis, mode, cval, positions):
    """The values the mode puts at positions outside x along axis."""
    if mode in _CONSTANT:
        shape = list(x.shape)
        shape[axis] = positions.size
        return np.full(shape, cval, x.dtype)
    return x.take(source(mode, x.shape[axis], positions), axis=axis)


def correlate1d(x, weights, axis, mode, cval, origin):
    """correlate along one axis: the weights as a kernel of length 1 along every other axis. Where
    the engine's "same" convolution centres the weights as the correlation does, x itself is
    convolved, with no extended copy: every output whose taps lie inside x is the correlation's,
    and the few at each end come from short strips, extended as the mode says."""
    k, n = weights.size, x.shape[axis]
    left = k // 2 + origin
    right = k - 1 - left
    shape = [1] * x.ndim
    shape[axis] = k
    kernel = weights[::-1].reshape(shape)
    if left != k - 1 - k // 2 or n < k:
        origins = [0] * x.ndim
        origins[axis] = origin
        return correlate(x, weights.reshape(shape), [mode] * x.ndim, cval, origins)
    y = _same(x, kernel)
    ends = []
    if left:
        ends.append((slice(0, left), np.concatenate(
            (_edge(x, axis, mode, cval, np.arange(-left, 0)), take(x, axis, slice(0, left + right))), axis=axis)))
    if right:
        ends.append((slice(n - right, n), np.concatenate(
            (take(x, axis, slice(n - left - right, n)), _edge(x, axis, mode, cval, np.arange(n, n + right))),
            axis=axis)))
    for outputs, strip in ends:
        y[along(x.ndim, axis, outputs)] = _valid(strip, kernel)
    return y


def separable(x, passes, modes, cval, cast=None):
    """The 1-d correlations passes = [(axis, weights, origin, divisor)] in order, each result
    divided by its divisor (an integer filter's mean is its sum over its size, as a running sum
    makes it) and through cast (the dtype a pass writes to) before the next, so that a filter
    gives the bits of its 1-d filters applied in turn."""
    for axis, weights, origin, divisor in passes:
        x = correlate1d(x, weights, axis, modes[axis], cval, origin)
        if divisor != 1:
            x /= divisor
        if cast is not None:
            x = cast(x)
    return x
