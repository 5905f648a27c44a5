"""scipy.fft's Fourier transforms over the library's engine, with SciPy's signatures, defaults and
dtype rules, usable as a SciPy backend::

    import scipy.fft, vlmathdsp.scipy.fft
    with scipy.fft.set_backend(vlmathdsp.scipy.fft):
        y = scipy.fft.fft(x)

or ``scipy.fft.set_global_backend(vlmathdsp.scipy.fft)`` followed by
``scipy.fft.register_backend("scipy")``, so that SciPy still serves what this module hands back.
It hands back (``NotImplemented``) long doubles, empty and 0-d arrays and ``plan``; its own
functions, called directly, pass those to SciPy themselves.

Where it differs from SciPy: ``workers=None`` runs on the library's thread setting
(``vlmathdsp.set_num_threads``, by default every core) rather than on one thread; a count given
as ``workers`` holds for that call, in the calling Python thread only. Results do not depend on
the thread count.
"""

import math
import operator

import numpy as np

from .. import _vlmathdsp, functions as vm
from . import _cosine
from ._layout import Unsupported, axis_index, complex_dtype, float_array, run_along, threads

__ua_domain__ = "numpy.scipy.fft"

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


def _swap(norm):
    return {None: "forward", "backward": "forward", "forward": "backward"}.get(norm, norm)


def _finish(r, dtype, scale):
    r = r.astype(dtype, copy=False)
    if scale != 1:
        r *= r.real.dtype.type(scale)
    return r


def _array(x, plan):
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


def _c2c(x, sizes, axes, forward):
    """The engine's transform (forward unscaled, inverse over the product of sizes) along `axes`."""
    if forward:
        return run_along(x, sizes, axes, vm.fftn, vm.fft)
    return run_along(x, sizes, axes, vm.ifftn, vm.ifft)


def _symmetric_inverse(x, n, axis):
    """The engine's real inverse of the half spectrum x along axis, to n points, divided by n."""
    return run_along(x, [n], [axis], None, lambda r, m, dim: vm.ifft(r, m, dim, "symmetric"))


def _fft(x, n=None, axis=-1, norm=None, overwrite_x=False, workers=None, *, plan=None, forward=True):
    x = _array(x, plan)
    axis = axis_index(axis, x.ndim)
    n = _length(n, x.shape[axis])
    scale = _scale(norm, forward, n)
    with threads(workers):
        return _finish(_c2c(x, [n], [axis], forward), complex_dtype(x.dtype), scale)


def _fftn(x, s=None, axes=None, norm=None, overwrite_x=False, workers=None, *, plan=None, forward=True):
    x = _array(x, plan)
    sizes, axes = _shape_axes(x, s, axes)
    scale = _scale(norm, forward, math.prod(sizes))
    with threads(workers):
        return _finish(_c2c(x, sizes, axes, forward), complex_dtype(x.dtype), scale)


def _real_only(x):
    if np.iscomplexobj(x):
        raise TypeError("x must be a real sequence")
    return x


def _rfftn(x, sizes, axes):
    """Unscaled: the half spectrum along the last axis, then the full ones along the others."""
    half = run_along(x, sizes[-1:], axes[-1:], None, _vlmathdsp.half_spectrum, lambda n: n // 2 + 1)
    return _c2c(half, sizes[:-1], axes[:-1], True) if len(axes) > 1 else half


def _irfftn(x, sizes, axes):
    """Divided by the product of sizes: the full inverses along all axes but the last, then the
    real one of the half spectrum along the last."""
    x = x.astype(complex_dtype(x.dtype), copy=False)
    if len(axes) > 1:
        x = _c2c(x, sizes[:-1], axes[:-1], False)
    return _symmetric_inverse(x, sizes[-1], axes[-1])


def _rfft(x, n=None, axis=-1, norm=None, overwrite_x=False, workers=None, *, plan=None):
    x = _real_only(_array(x, plan))
    axis = axis_index(axis, x.ndim)
    n = _length(n, x.shape[axis])
    scale = _scale(norm, True, n)
    with threads(workers):
        return _finish(_rfftn(x, [n], [axis]), complex_dtype(x.dtype), scale)


def _irfft(x, n=None, axis=-1, norm=None, overwrite_x=False, workers=None, *, plan=None):
    x = _array(x, plan)
    axis = axis_index(axis, x.ndim)
    n = _length(n, 2 * (x.shape[axis] - 1))
    scale = _scale(norm, False, n)
    with threads(workers):
        return _finish(_irfftn(x, [n], [axis]), x.real.dtype, scale)


def _rfftn_public(x, s=None, axes=None, norm=None, overwrite_x=False, workers=None, *, plan=None):
    x = _real_only(_array(x, plan))
    sizes, axes = _shape_axes(x, s, axes)
    scale = _scale(norm, True, math.prod(sizes))
    with threads(workers):
        return _finish(_rfftn(x, sizes, axes), complex_dtype(x.dtype), scale)


def _irfftn_public(x, s=None, axes=None, norm=None, overwrite_x=False, workers=None, *, plan=None):
    x = _array(x, plan)
    if s is None:
        _, axes = _shape_axes(x, None, axes)
        s = [x.shape[a] for a in axes]
        s[-1] = 2 * (s[-1] - 1)
    sizes, axes = _shape_axes(x, s, axes)
    scale = _scale(norm, False, math.prod(sizes))
    with threads(workers):
        return _finish(_irfftn(x, sizes, axes), x.real.dtype, scale)


def _hfft(x, n=None, axis=-1, norm=None, overwrite_x=False, workers=None, *, plan=None):
    x = _array(x, plan)
    return _irfft(np.conjugate(x), n, axis, _swap(norm), overwrite_x, workers)


def _ihfft(x, n=None, axis=-1, norm=None, overwrite_x=False, workers=None, *, plan=None):
    x = _real_only(_array(x, plan))
    return np.conjugate(_rfft(x, n, axis, _swap(norm), overwrite_x, workers))


def _real_transform(kind, inverse):
    def one(x, type=2, n=None, axis=-1, norm=None, overwrite_x=False, workers=None, orthogonalize=None):
        x = _array(x, None)
        axis = axis_index(axis, x.ndim)
        return many(x, type, None if n is None else [n], [axis], norm, overwrite_x, workers, orthogonalize)

    def many(x, type=2, s=None, axes=None, norm=None, overwrite_x=False, workers=None, orthogonalize=None):
        x = _array(x, None)
        sizes, axes = _shape_axes(x, s, axes)
        t = _cosine.inverse_type(type) if inverse else type
        with threads(workers):
            return _cosine.transform(x, kind, t, sizes, axes, _swap(norm) if inverse else norm, orthogonalize)

    return one, many


_dct, _dctn = _real_transform("dct", False)
_idct, _idctn = _real_transform("dct", True)
_dst, _dstn = _real_transform("dst", False)
_idst, _idstn = _real_transform("dst", True)

_TWO = (-2, -1)

_IMPLEMENTATIONS = {
    "fft": _fft,
    "ifft": lambda x, *a, **k: _fft(x, *a, forward=False, **k),
    "fftn": _fftn,
    "ifftn": lambda x, *a, **k: _fftn(x, *a, forward=False, **k),
    "fft2": lambda x, s=None, axes=_TWO, *a, **k: _fftn(x, s, axes, *a, **k),
    "ifft2": lambda x, s=None, axes=_TWO, *a, **k: _fftn(x, s, axes, *a, forward=False, **k),
    "rfft": _rfft,
    "irfft": _irfft,
    "rfftn": _rfftn_public,
    "irfftn": _irfftn_public,
    "rfft2": lambda x, s=None, axes=_TWO, *a, **k: _rfftn_public(x, s, axes, *a, **k),
    "irfft2": lambda x, s=None, axes=_TWO, *a, **k: _irfftn_public(x, s, axes, *a, **k),
    "hfft": _hfft,
    "ihfft": _ihfft,
    "dct": _dct, "idct": _idct, "dst": _dst, "idst": _idst,
    "dctn": _dctn, "idctn": _idctn, "dstn": _dstn, "idstn": _idstn,
}


def __ua_function__(method, args, kwargs):
    implementation = _IMPLEMENTATIONS.get(method.__name__)
    if implementation is None:
        return NotImplemented
    try:
        return implementation(*args, **kwargs)
    except Unsupported:
        return NotImplemented


def _face(name, signature, summary):
    implementation = _IMPLEMENTATIONS[name]

    def transform(*args, **kwargs):
        try:
            return implementation(*args, **kwargs)
        except Unsupported:
            import scipy.fft
            with scipy.fft.set_backend("scipy", only=True):
                return getattr(scipy.fft, name)(*args, **kwargs)

    transform.__name__ = transform.__qualname__ = name
    transform.__doc__ = f"""{name}{signature}

    {summary}

    As ``scipy.fft.{name}``, computed by this library; see the module's docstring for where it
    differs (``workers``). Parameters, results and errors are SciPy's.
    """
    return transform


_ONE = "(x, n=None, axis=-1, norm=None, overwrite_x=False, workers=None, *, plan=None)"
_MANY = "(x, s=None, axes=None, norm=None, overwrite_x=False, workers=None, *, plan=None)"
_PAIR = "(x, s=None, axes=(-2, -1), norm=None, overwrite_x=False, workers=None, *, plan=None)"

fft = _face("fft", _ONE, "The discrete Fourier transform along one axis.")
ifft = _face("ifft", _ONE, "The inverse discrete Fourier transform along one axis.")
fftn = _face("fftn", _MANY, "The N-dimensional discrete Fourier transform.")
ifftn = _face("ifftn", _MANY, "The N-dimensional inverse discrete Fourier transform.")
fft2 = _face("fft2", _PAIR, "The two-dimensional discrete Fourier transform.")
ifft2 = _face("ifft2", _PAIR, "The two-dimensional inverse discrete Fourier transform.")
rfft = _face("rfft", _ONE, "The Fourier transform of real input: the n // 2 + 1 non-negative frequencies.")
irfft = _face("irfft", _ONE, "The inverse of rfft: n real points (default 2 (m - 1)).")
rfftn = _face("rfftn", _MANY, "The N-dimensional Fourier transform of real input, halved along the last axis.")
irfftn = _face("irfftn", _MANY, "The inverse of rfftn.")
rfft2 = _face("rfft2", _PAIR, "The two-dimensional Fourier transform of real input.")
irfft2 = _face("irfft2", _PAIR, "The inverse of rfft2.")
hfft = _face("hfft", _ONE, "The Fourier transform of a Hermitian-symmetric signal given by its first half.")
ihfft = _face("ihfft", _ONE, "The inverse of hfft: the first half of the spectrum of a real signal.")

_R1 = "(x, type=2, n=None, axis=-1, norm=None, overwrite_x=False, workers=None, orthogonalize=None)"
_RN = "(x, type=2, s=None, axes=None, norm=None, overwrite_x=False, workers=None, orthogonalize=None)"
dct = _face("dct", _R1, "The discrete cosine transform of type 1 to 4 along one axis.")
idct = _face("idct", _R1, "The inverse discrete cosine transform of type 1 to 4 along one axis.")
dst = _face("dst", _R1, "The discrete sine transform of type 1 to 4 along one axis.")
idst = _face("idst", _R1, "The inverse discrete sine transform of type 1 to 4 along one axis.")
dctn = _face("dctn", _RN, "The N-dimensional discrete cosine transform.")
idctn = _face("idctn", _RN, "The N-dimensional inverse discrete cosine transform.")
dstn = _face("dstn", _RN, "The N-dimensional discrete sine transform.")
idstn = _face("idstn", _RN, "The N-dimensional inverse discrete sine transform.")

__all__ = list(_IMPLEMENTATIONS)
