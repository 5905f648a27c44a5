"""Correlations with scipy.ndimage's boundary modes on the engine: the input extended by its
modes, then the engine's "valid" convolution with the reversed weights. A separable filter runs
as one-dimensional passes, never as a dense kernel."""

import numpy as np

from .. import functions as vm
from ._extend import extend

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


def correlate1d(x, weights, axis, mode, cval, origin):
    """correlate along one axis: the weights as a kernel of length 1 along every other axis."""
    shape = [1] * x.ndim
    shape[axis] = weights.size
    origins = [0] * x.ndim
    origins[axis] = origin
    modes = [mode] * x.ndim
    return correlate(x, weights.reshape(shape), modes, cval, origins)


def _passes_at_once(x, passes, modes, cval):
    """Whether the input can be extended along every filtered axis at once: each axis filtered
    once, and no constant border but 0 (a pass would turn another axis' border of cval into
    cval times its weights' sum, where its next pass must see cval)."""
    axes = [p[0] for p in passes]
    return len(set(axes)) == len(axes) and (cval == 0 or not any(modes[a] in _CONSTANT for a in axes))


def separable(x, passes, modes, cval, cast=None):
    """The 1-d correlations passes = [(axis, weights, origin, divisor)] in order, each result
    divided by its divisor (an integer filter's mean is its sum over its size, as a running sum
    makes it) and through cast (the dtype a pass writes to) before the next, so that a filter
    gives the bits of its 1-d filters applied in turn. Where it can, the input is extended along
    every axis first and each pass keeps its "valid" part: a pass filters the border of the axes
    still to come as it filters their insides, which is the extension of its result."""
    if _passes_at_once(x, passes, modes, cval):
        pads = [(0, 0)] * x.ndim
        for axis, weights, origin, _ in passes:
            pads[axis] = _pads((weights.size,), (origin,))[0]
        x = extend(x, pads, modes, cval)
        for axis, weights, origin, divisor in passes:
            shape = [1] * x.ndim
            shape[axis] = weights.size
            x = _valid(x, weights[::-1].reshape(shape))
            if divisor != 1:
                x /= divisor
            if cast is not None:
                x = cast(x)
        return x
    for axis, weights, origin, divisor in passes:
        x = correlate1d(x, weights, axis, modes[axis], cval, origin)
        if divisor != 1:
            x /= divisor
        if cast is not None:
            x = cast(x)
    return x
