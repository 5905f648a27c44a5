"""The transforms of scipy.fft's face from the engine's: SciPy's rules for sizes, axes, norms and
dtypes, and the calls of the engine that compute them."""

import math
import operator

import numpy as np
import scipy.fft

from .. import _engine, functions as vm
from . import _cosine
from ._layout import Unsupported, axis_index, complex_dtype, float_array, run_along, threads

_NORMS = (None, "backward", "ortho", "forward")


def _scale(norm, forward, n):
    """The factor from the engine's result (forward unscaled, inverse divided by n) to `norm`'s."""
    if norm not in _NORMS:
        raise ValueError(f'Invalid norm value {norm!r}, should be "backward", "ortho" or "forward"')
    if norm == "ortho":
        return 1 / math.sqrt(n) if forward else math.sqrt(n)
    if norm == "forward":
        return 1 / n if forward else float(n)
    return 1.0


def swap(norm):
    return {None: "forward", "backward": "forward", "forward": "backward"}.get(norm, norm)


def _finish(r, dtype, scale):
    r = r.astype(dtype, copy=False)
    if scale != 1:
        r *= r.real.dtype.type(scale)
    return r


def array(x, plan):
    if plan is not None:
        raise Unsupported
    x = float_array(x)
    if x.ndim == 0 or x.size == 0:
        raise Unsupported
    return x


def _length(n, default):
    n = default if n is None else operator.index(n)
    if n < 1:
        raise ValueError(f"invalid number of data points ({n}) specified")
    return n


def _shape_axes(x, s, axes):
    """SciPy's rules for s and axes: axes default to the last len(s) (or all), s to their sizes,
    -1 in s for an axis's own size."""
    if axes is not None:
        axes = [operator.index(a) for a in (axes if np.iterable(axes) else (axes,))]
        axes = [a + x.ndim if a < 0 else a for a in axes]
        if any(a >= x.ndim or a < 0 for a in axes):
            raise ValueError("axes exceeds dimensionality of input")
        if len(set(axes)) != len(axes):
            raise ValueError("all axes must be unique")
    if s is not None:
        s = [operator.index(v) for v in (s if np.iterable(s) else (s,))]
        if axes is not None and len(axes) != len(s):
            raise ValueError("when given, axes and shape arguments have to be of the same length")
        if axes is None:
            if len(s) > x.ndim:
                raise ValueError("shape requires more axes than are present")
            axes = list(range(x.ndim - len(s), x.ndim))
        s = [x.shape[a] if v == -1 else v for v, a in zip(s, axes)]
    else:
        axes = list(range(x.ndim)) if axes is None else axes
        s = [x.shape[a] for a in axes]
    if any(v < 1 for v in s):
        raise ValueError(f"invalid number of data points ({s}) specified")
    if not axes:
        raise Unsupported
    return s, axes


def _threads(workers):
    """threads(workers); without workers, scipy.fft.set_workers's count when one above 1 is set."""
    if workers is None:
        workers = scipy.fft.get_workers()
        if workers == 1:
            workers = None
    return threads(workers)


def _c2c(x, sizes, axes, forward):
    """The engine's transform (forward unscaled, inverse over the product of sizes) along `axes`."""
    if forward:
        return run_along(x, sizes, axes, vm.fftn, vm.fft)
    return run_along(x, sizes, axes, vm.ifftn, vm.ifft)


def _symmetric_inverse(x, n, axis):
    """The engine's real inverse of the half spectrum x along axis, to n points, divided by n."""
    return run_along(x, [n], [axis], None, lambda r, m, dim: vm.ifft(r, m, dim, "symmetric"))


# Small calls: a native non-empty 1-d ndarray of the engine's classes goes straight to the slot
# (the same plan as the general path); the slot's call answers None for anything else.
OF_VECTOR = {True: _engine.complex_of_vector("fft"), False: _engine.complex_of_vector("ifft")}


def c2c_one(x, n, axis, norm, workers, plan, forward):
    if (axis == -1 or axis == 0) and workers is None and plan is None and (norm is None or norm == "backward"):
        r = OF_VECTOR[forward](x) if n is None else OF_VECTOR[forward](x, n) if operator.index(n) >= 1 else None
        if r is not None:
            return r
    x = array(x, plan)
    axis = axis_index(axis, x.ndim)
    n = _length(n, x.shape[axis])
    scale = _scale(norm, forward, n)
    with _threads(workers):
        return _finish(_c2c(x, [n], [axis], forward), complex_dtype(x.dtype), scale)


def c2c_many(x, s, axes, norm, workers, plan, forward):
    x = array(x, plan)
    sizes, axes = _shape_axes(x, s, axes)
    scale = _scale(norm, forward, math.prod(sizes))
    with _threads(workers):
        return _finish(_c2c(x, sizes, axes, forward), complex_dtype(x.dtype), scale)


def _real_only(x):
    if np.iscomplexobj(x):
        raise TypeError("x must be a real sequence")
    return x


def _rfftn(x, sizes, axes):
    """Unscaled: the half spectrum along the last axis, then the full ones along the others."""
    half = run_along(x, sizes[-1:], axes[-1:], None, _engine.half_spectrum, lambda n: n // 2 + 1)
    return _c2c(half, sizes[:-1], axes[:-1], True) if len(axes) > 1 else half


def _irfftn(x, sizes, axes):
    """Divided by the product of sizes: the full inverses along all axes but the last, then the
    real one of the half spectrum along the last."""
    x = x.astype(complex_dtype(x.dtype), copy=False)
    if len(axes) > 1:
        x = _c2c(x, sizes[:-1], axes[:-1], False)
    return _symmetric_inverse(x, sizes[-1], axes[-1])


def r2c_many(x, s, axes, norm, workers, plan):
    x = _real_only(array(x, plan))
    sizes, axes = _shape_axes(x, s, axes)
    scale = _scale(norm, True, math.prod(sizes))
    with _threads(workers):
        return _finish(_rfftn(x, sizes, axes), complex_dtype(x.dtype), scale)


def c2r_many(x, s, axes, norm, workers, plan):
    x = array(x, plan)
    if s is None:
        _, axes = _shape_axes(x, None, axes)
        s = [x.shape[a] for a in axes]
        s[-1] = 2 * (s[-1] - 1)
    sizes, axes = _shape_axes(x, s, axes)
    scale = _scale(norm, False, math.prod(sizes))
    with _threads(workers):
        return _finish(_irfftn(x, sizes, axes), x.real.dtype, scale)


def one_axis(n, axis):
    return None if n is None else [n], [axis]


def real_transform(x, kind, inverse, type, s, axes, norm, workers, orthogonalize):
    x = array(x, None)
    sizes, axes = _shape_axes(x, s, axes)
    t = _cosine.inverse_type(type) if inverse else type
    with _threads(workers):
        return _cosine.transform(x, kind, t, sizes, axes, swap(norm) if inverse else norm, orthogonalize)


def scipys(name):
    """SciPy's own implementation of scipy.fft's `name`, whatever backend is set."""
    def call(*args, **kwargs):
        with scipy.fft.set_backend("scipy", only=True):
            return getattr(scipy.fft, name)(*args, **kwargs)
    return call
