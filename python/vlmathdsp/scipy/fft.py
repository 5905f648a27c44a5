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
from ._docs import docstring
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


# Small calls: a native 1-d array at the library's thread setting, unscaled forward or
# backward-scaled inverse, goes straight to the engine's slot (the same plan as the general path).
def _direct(x, n, forward):
    """fft or ifft of x to n points (None: its length) by the slot, when x is a native non-empty
    1-d array of the engine's classes; else None."""
    slot = 4 if forward else 5
    if n is None:
        return _vlmathdsp.complex_of_vector(slot, x)
    m = operator.index(n)
    return _vlmathdsp.complex_of_vector(slot, x, m) if m >= 1 else None


def _fft(x, n=None, axis=-1, norm=None, overwrite_x=False, workers=None, *, plan=None, forward=True):
    if (axis == -1 or axis == 0) and workers is None and plan is None and (norm is None or norm == "backward"):
        r = _direct(x, n, forward)
        if r is not None:
            return r
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


_X = ["x : array_like", "    Input; integers and float16 are taken as float64 and float32, as SciPy does."]
_COMMON = ["norm : {None, 'backward', 'ortho', 'forward'}, optional", "    Scaling (default 'backward').",
           "overwrite_x : bool, optional", "    Accepted; the input is never written.",
           "workers : int, optional",
           "    Threads for this call, in the calling Python thread only (negative: from the core count).",
           "    Default: the library's setting (every core)."]
_PLAN = ["plan : None", "    Any other value is handed to SciPy."]
_AXIS = ["n : int, optional", "    Points along the axis: padded with zeros or cut (default the axis' length).",
         "axis : int, optional", "    The axis (default -1)."]
_AXES = ["s : sequence of int, optional", "    Points along each axis of axes.",
         "axes : sequence of int, optional", "    The axes (default: all, or the last len(s))."]
_PAIR_AXES = ["s : sequence of int, optional", "    Points along each of the two axes.",
              "axes : sequence of int, optional", "    The two axes (default (-2, -1))."]
_TYPE = ["type : {1, 2, 3, 4}, optional", "    The transform's type (default 2)."]
_ORTH = ["orthogonalize : bool, optional", "    SciPy's orthogonalized definition (default: with norm='ortho')."]

_PARAMETERS = {
    "one": _X + _AXIS + _COMMON + _PLAN,
    "many": _X + _AXES + _COMMON + _PLAN,
    "pair": _X + _PAIR_AXES + _COMMON + _PLAN,
    "r1": _X + _TYPE + _AXIS + _COMMON + _ORTH,
    "rn": _X + _TYPE + _AXES + _COMMON + _ORTH,
}
_SIGNATURES = {
    "one": "(x, n=None, axis=-1, norm=None, overwrite_x=False, workers=None, *, plan=None)",
    "many": "(x, s=None, axes=None, norm=None, overwrite_x=False, workers=None, *, plan=None)",
    "pair": "(x, s=None, axes=(-2, -1), norm=None, overwrite_x=False, workers=None, *, plan=None)",
    "r1": "(x, type=2, n=None, axis=-1, norm=None, overwrite_x=False, workers=None, orthogonalize=None)",
    "rn": "(x, type=2, s=None, axes=None, norm=None, overwrite_x=False, workers=None, orthogonalize=None)",
}


def _face(name, kind, summary, returns, example, output):
    implementation = _IMPLEMENTATIONS[name]
    slot = {"fft": 4, "ifft": 5}.get(name)
    of_vector = _vlmathdsp.complex_of_vector

    def transform(*args, **kwargs):
        # fft(x) of a vector in a loop: _direct's case, with every check in the extension.
        if slot is not None and len(args) == 1 and not kwargs:
            r = of_vector(slot, args[0])
            if r is not None:
                return r
        try:
            return implementation(*args, **kwargs)
        except Unsupported:
            import scipy.fft
            with scipy.fft.set_backend("scipy", only=True):
                return getattr(scipy.fft, name)(*args, **kwargs)

    transform.__name__ = transform.__qualname__ = name
    transform.__doc__ = docstring(name, "scipy.fft", _SIGNATURES[kind], summary, _PARAMETERS[kind],
                                  ["out : ndarray", f"    {returns}"], example, output)
    return transform


_COMPLEX = "Complex: complex64 for float32 and complex64 input, else complex128."
_REAL = "Real: float32 for complex64 input, else float64."
_SAME = "Of the input's floating dtype (float32 stays float32)."

fft = _face("fft", "one", "The discrete Fourier transform along one axis.", _COMPLEX,
            "fft.fft(np.array([1.0, 2.0, 3.0, 4.0]))", "array([10.+0.j, -2.+2.j, -2.+0.j, -2.-2.j])")
ifft = _face("ifft", "one", "The inverse discrete Fourier transform along one axis.", _COMPLEX,
             "fft.ifft(np.array([10, -2 + 2j, -2, -2 - 2j]))", "array([1.+0.j, 2.+0.j, 3.+0.j, 4.+0.j])")
fftn = _face("fftn", "many", "The N-dimensional discrete Fourier transform.", _COMPLEX,
             "fft.fftn(np.ones((2, 2, 2)))[0]", "array([[8.+0.j, 0.+0.j],\n       [0.+0.j, 0.+0.j]])")
ifftn = _face("ifftn", "many", "The N-dimensional inverse discrete Fourier transform.", _COMPLEX,
              "fft.ifftn(np.array([[4.0, 0.0], [0.0, 0.0]]))", "array([[1.+0.j, 1.+0.j],\n       [1.+0.j, 1.+0.j]])")
fft2 = _face("fft2", "pair", "The two-dimensional discrete Fourier transform.", _COMPLEX,
             "fft.fft2(np.array([[1.0, 2.0], [3.0, 4.0]]))", "array([[10.+0.j, -2.+0.j],\n       [-4.+0.j,  0.+0.j]])")
ifft2 = _face("ifft2", "pair", "The two-dimensional inverse discrete Fourier transform.", _COMPLEX,
              "fft.ifft2(np.array([[10.0, -2.0], [-4.0, 0.0]]))", "array([[1.+0.j, 2.+0.j],\n       [3.+0.j, 4.+0.j]])")
rfft = _face("rfft", "one", "The Fourier transform of real input: the n // 2 + 1 non-negative frequencies.",
             _COMPLEX, "fft.rfft(np.array([1.0, 2.0, 3.0, 4.0]))", "array([10.+0.j, -2.+2.j, -2.+0.j])")
irfft = _face("irfft", "one", "The inverse of rfft: n real points (default 2 (m - 1)).", _REAL,
              "fft.irfft(np.array([10, -2 + 2j, -2]))", "array([1., 2., 3., 4.])")
rfftn = _face("rfftn", "many", "The N-dimensional Fourier transform of real input, halved along the last axis.",
              _COMPLEX, "fft.rfftn(np.ones((2, 2, 2)))[0]", "array([[8.+0.j, 0.+0.j],\n       [0.+0.j, 0.+0.j]])")
irfftn = _face("irfftn", "many", "The inverse of rfftn.", _REAL,
               "fft.irfftn(np.array([[4.0, 0.0], [0.0, 0.0]]), s=(2, 2))", "array([[1., 1.],\n       [1., 1.]])")
rfft2 = _face("rfft2", "pair", "The two-dimensional Fourier transform of real input.", _COMPLEX,
              "fft.rfft2(np.array([[1.0, 2.0], [3.0, 4.0]]))", "array([[10.+0.j, -2.+0.j],\n       [-4.+0.j,  0.+0.j]])")
irfft2 = _face("irfft2", "pair", "The inverse of rfft2.", _REAL,
               "fft.irfft2(np.array([[10.0, -2.0], [-4.0, 0.0]]), s=(2, 2))", "array([[1., 2.],\n       [3., 4.]])")
hfft = _face("hfft", "one", "The Fourier transform of a Hermitian-symmetric signal given by its first half.", _REAL,
             "fft.hfft(np.array([1.0, 2.0, 3.0]))", "array([ 8., -2.,  0., -2.])")
ihfft = _face("ihfft", "one", "The inverse of hfft: the first half of the spectrum of a real signal.", _COMPLEX,
              "np.allclose(fft.hfft(fft.ihfft(np.array([1.0, 2.0, 3.0, 4.0]))), [1.0, 2.0, 3.0, 4.0])", "True")

dct = _face("dct", "r1", "The discrete cosine transform of type 1 to 4 along one axis.", _SAME,
            "fft.dct(np.array([1.0, 2.0, 3.0, 4.0]))", "array([20.        , -6.30864406,  0.        , -0.44834153])")
idct = _face("idct", "r1", "The inverse discrete cosine transform of type 1 to 4 along one axis.", _SAME,
             "fft.idct(np.array([20.0, -6.30864406, 0.0, -0.44834153]))", "array([1., 2., 3., 4.])")
dst = _face("dst", "r1", "The discrete sine transform of type 1 to 4 along one axis.", _SAME,
            "fft.dst(np.array([1.0, 2.0, 3.0, 4.0]), type=1)",
            "array([15.38841769, -6.8819096 ,  3.63271264, -1.62459848])")
idst = _face("idst", "r1", "The inverse discrete sine transform of type 1 to 4 along one axis.", _SAME,
             "fft.idst(np.array([1.0, 0.0, 0.0]), type=1)", "array([0.1767767, 0.25     , 0.1767767])")
dctn = _face("dctn", "rn", "The N-dimensional discrete cosine transform.", _SAME,
             "fft.dctn(np.ones((2, 2)), norm='ortho').round(12)", "array([[2., 0.],\n       [0., 0.]])")
idctn = _face("idctn", "rn", "The N-dimensional inverse discrete cosine transform.", _SAME,
              "fft.idctn(np.array([[2.0, 0.0], [0.0, 0.0]]), norm='ortho')", "array([[1., 1.],\n       [1., 1.]])")
dstn = _face("dstn", "rn", "The N-dimensional discrete sine transform.", _SAME,
             "fft.dstn(np.ones((2, 2)), type=4, norm='ortho')",
             "array([[1.70710678, 0.70710678],\n       [0.70710678, 0.29289322]])")
idstn = _face("idstn", "rn", "The N-dimensional inverse discrete sine transform.", _SAME,
              "np.allclose(fft.idstn(fft.dstn(np.eye(3), type=3), type=3), np.eye(3))", "True")

__all__ = list(_IMPLEMENTATIONS)


def __dir__():
    return sorted(__all__)
