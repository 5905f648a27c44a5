"""scipy.ndimage's boundary modes: what lies beyond each edge of an axis, as padding."""

import operator

import numpy as np

_MODES = ("reflect", "grid-mirror", "mirror", "nearest", "wrap", "grid-wrap", "constant", "grid-constant")


def source(mode, n, positions):
    """The index within 0..n-1 whose value the mode puts at each position outside it."""
    if mode in ("reflect", "grid-mirror"):  # d c b a | a b c d | d c b a, of period 2n
        q = positions % (2 * n)
        return np.where(q >= n, 2 * n - 1 - q, q)
    if mode == "mirror":  # d c b | a b c d | c b a, of period 2n - 2
        if n == 1:
            return np.zeros_like(positions)
        q = positions % (2 * n - 2)
        return np.where(q >= n, 2 * n - 2 - q, q)
    if mode in ("wrap", "grid-wrap"):
        return positions % n
    return np.clip(positions, 0, n - 1)  # nearest


def modes(mode, ndim):
    """One mode per axis, from one mode or a sequence of ndim."""
    if isinstance(mode, str):
        given = [mode] * ndim
    else:
        given = list(mode)
        if len(given) != ndim:
            raise RuntimeError(f"sequence argument must have length equal to input rank: mode={given!r} for an "
                               f"input of rank {ndim}")
    for m in given:
        if m not in _MODES:
            raise RuntimeError(f"boundary mode not supported: mode={m!r}")
    return given


def per_axis(value, ndim, name):
    """value as one entry per axis (a scalar for every axis)."""
    if np.ndim(value) == 0 or isinstance(value, str):
        return [value] * ndim
    values = list(value)
    if len(values) != ndim:
        raise RuntimeError(f"sequence argument must have length equal to input rank: {name}={values!r} for an "
                           f"input of rank {ndim}")
    return values


def origins(origin, ndim):
    return [operator.index(o) for o in per_axis(origin, ndim, "origin")]


def extend(x, pads, axis_modes, cval):
    """x with pads[a] = (before, after) elements beyond the edges of each axis a, as axis_modes[a]
    extends it (the constant modes: cval). Axis by axis, each pad read from the array padded so
    far, so that a corner takes its value from both axes' rules."""
    if not any(before or after for before, after in pads):
        return x
    shape = [n + before + after for n, (before, after) in zip(x.shape, pads)]
    padded = np.empty(shape, x.dtype)
    padded[tuple(slice(before, before + n) for n, (before, _) in zip(x.shape, pads))] = x
    for a, ((before, after), mode, n) in enumerate(zip(pads, axis_modes, x.shape)):
        for start, positions in ((0, np.arange(-before, 0)), (before + n, np.arange(n, n + after))):
            if not positions.size:
                continue
            slab = [slice(None)] * x.ndim
            slab[a] = slice(start, start + positions.size)
            if mode in ("constant", "grid-constant"):
                padded[tuple(slab)] = cval
            else:
                padded[tuple(slab)] = padded.take(before + source(mode, n, positions), axis=a)
    return padded
