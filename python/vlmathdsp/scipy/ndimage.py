"""scipy.ndimage's convolutions and linear filters over the library's engine, with SciPy's
signatures, defaults, boundary modes and dtype rules::

    from vlmathdsp.scipy import ndimage
    smooth = ndimage.gaussian_filter(image, sigma=3)
    edges = ndimage.sobel(image, axis=0, mode="nearest")

Every boundary mode of SciPy (reflect, constant with cval, nearest, mirror, wrap and the grid-
modes) extends the input as SciPy's does, per axis where SciPy takes one mode per axis. Results
take SciPy's dtype: the input's (integers truncate, between the passes of a separable filter as
well), or ``output``'s, an array that is written and returned, or a dtype.

Where it differs from SciPy: single-precision input is filtered in single precision (SciPy
works in double), so float32 results agree to float32's rounding. A NaN or infinity in the
input of ``uniform_filter`` reaches the outputs whose windows hold it (SciPy's running sums
carry it to the end of the line). Results do not depend on the thread count. What the engine does not take goes to SciPy's own function:
boolean, float16 and long double data, empty and 0-d arrays.
"""

import operator

import numpy as np
import scipy.ndimage

from . import _correlation
from ._extend import modes as _modes, origins as _origins, per_axis as _per_axis
from ._face import face
from ._ndimage_support import (array as _array, caster as _caster, check_origin as _check_origin,
                               gaussian_kernel as _gaussian_kernel, output as _output, radius_of as _radius_of, smoothing as _smoothing,
                               size_of as _size_of, store as _store, weights1d as _weights1d,
                               work_dtype as _work_dtype)
from ._layout import Unsupported, axis_index

_SECTIONS = {
    "input": ["input : array_like", "    Integer or floating, real or complex."],
    "output": ["output : ndarray or dtype, optional",
               "    An array of the input's shape to write (and return), or the result's dtype",
               "    (default the input's; complex when the weights are)."],
    "mode": ["mode : str or sequence of str, optional",
             "    'reflect' (default), 'constant', 'nearest', 'mirror', 'wrap', 'grid-constant',",
             "    'grid-mirror' or 'grid-wrap'; one per axis where SciPy takes a sequence."],
    "cval": ["cval : scalar, optional", "    The value beyond the edges in the constant modes (default 0)."],
    "origin": ["origin : int or sequence of int, optional",
               "    Shift of the filter's centre from size // 2 (default 0)."],
    "truncate": ["truncate : float, optional", "    The kernel's radius in standard deviations (default 4).",
                 "radius : int, optional", "    The kernel's radius, in place of truncate's."],
    "filtered": ["out : ndarray", "    The filtered input, of output's dtype."],
}


def _ndimage(function):
    return face(getattr(scipy.ndimage, function.__name__), _SECTIONS)(function)


def _prepared(input, output, complex_output=False):
    """(the input in the engine's dtype, the output array or None, the result's dtype, the
    engine's dtype)."""
    x = _array(input)
    array, dtype = _output(output, x, complex_output)
    work = _work_dtype(x, complex_output, dtype)
    return x.astype(work, copy=False), array, dtype, work


def _cval(cval, input, work):
    """cval for the engine's dtype; a complex one needs complex input."""
    if np.iscomplexobj(cval) and input.dtype.kind != "c":
        if work.kind == "c":
            raise ValueError(f"Cannot provide a complex-valued cval when the input is real: cval={cval!r}")
        raise TypeError(f"must be real number, not complex: cval={cval!r}")
    return complex(cval) if work.kind == "c" else float(cval)


def _correlate1d(input, weights, axis, output, mode, cval, origin, convolve):
    given = _array(input)
    complex_weights = np.iscomplexobj(weights)
    x, array, dtype, work = _prepared(given, output, complex_weights or given.dtype.kind == "c")
    c = _cval(cval, given, work)
    w = _weights1d(weights, work)
    if not isinstance(mode, str):
        raise Unsupported
    mode = _modes(mode, 1)[0]
    if convolve:
        w = w[::-1]
        origin = -origin - (1 - w.size % 2)
    elif complex_weights:
        w = w.conj()  # the correlation of complex data: sum of input times conjugated weights
    origin = _check_origin(w.size, origin)
    a = axis_index(axis, x.ndim)
    return _store(_correlation.correlate1d(x, w, a, mode, c, origin), array, dtype)


def _correlate(input, weights, output, mode, cval, origin, convolve):
    given = _array(input)
    w = np.asarray(weights)
    if w.dtype.kind not in "biufc" or w.dtype.type in (np.longdouble, np.clongdouble) or not isinstance(mode, str):
        raise Unsupported
    complex_weights = w.dtype.kind == "c"
    x, array, dtype, work = _prepared(given, output, complex_weights or given.dtype.kind == "c")
    c = _cval(cval, given, work)
    if w.ndim != x.ndim:
        raise RuntimeError(f"filter weights array has incorrect shape: {w.shape} for input of shape {x.shape}")
    if w.size == 0:
        raise RuntimeError(f"no filter weights given: weights of shape {w.shape}")
    w = w.astype(work)
    origins = _origins(origin, x.ndim)
    if convolve:
        w = w[(slice(None, None, -1),) * w.ndim]
        origins = [-o - (1 - k % 2) for o, k in zip(origins, w.shape)]
    elif complex_weights:
        w = w.conj()
    origins = [_check_origin(k, o) for k, o in zip(w.shape, origins)]
    modes = _modes(mode, x.ndim)
    return _store(_correlation.correlate(x, w, modes, c, origins), array, dtype)


def _separable(input, output, mode, cval, passes_of):
    """A filter of 1-d passes: passes_of(work dtype, ndim, integer result) = [(axis, weights,
    origin, divisor)]. Without passes, a copy of the input."""
    given = _array(input)
    x, array, dtype, work = _prepared(given, output)
    modes = _modes(mode, x.ndim)
    passes = passes_of(work, x.ndim, dtype.kind in "iu")
    if not passes:
        return _store(np.array(given, copy=True), array, dtype)
    r = _correlation.separable(x, passes, modes, _cval(cval, given, work), _caster(dtype, work))
    return _store(r, array, dtype)


@_ndimage
def correlate1d(input, weights, axis=-1, output=None, mode='reflect', cval=0.0, origin=0):
    """The correlation with 1-d weights along one axis, as ``scipy.ndimage.correlate1d``.

    Parameters
    ----------
    {input}
    weights : array_like
        1-d; out[i] = sum of weights[j] input[i + j - (len(weights) // 2 + origin)].
    axis : int, optional
        The axis (default -1).
    {output}
    {mode}
    {cval}
    {origin}

    Returns
    -------
    {filtered}

    Examples
    --------
    >>> import numpy as np
    >>> from vlmathdsp.scipy import ndimage
    >>> ndimage.correlate1d(np.array([2.0, 8.0, 0.0, 4.0]), [1.0, 3.0])
    array([ 8., 26.,  8., 12.])
    """
    return _correlate1d(input, weights, axis, output, mode, cval, origin, False)


@_ndimage
def convolve1d(input, weights, axis=-1, output=None, mode='reflect', cval=0.0, origin=0):
    """The convolution with 1-d weights along one axis, as ``scipy.ndimage.convolve1d``.

    Parameters
    ----------
    {input}
    weights : array_like
        1-d; correlate1d with the weights reversed.
    axis : int, optional
        The axis (default -1).
    {output}
    {mode}
    {cval}
    {origin}

    Returns
    -------
    {filtered}

    Examples
    --------
    >>> import numpy as np
    >>> from vlmathdsp.scipy import ndimage
    >>> ndimage.convolve1d(np.array([2.0, 8.0, 0.0, 4.0]), [1.0, 3.0])
    array([14., 24.,  4., 16.])
    """
    return _correlate1d(input, weights, axis, output, mode, cval, origin, True)


@_ndimage
def correlate(input, weights, output=None, mode='reflect', cval=0.0, origin=0):
    """The N-dimensional correlation with weights of the input's rank, as
    ``scipy.ndimage.correlate``.

    Parameters
    ----------
    {input}
    weights : array_like
        Of the input's number of dimensions.
    {output}
    mode : str, optional
        One of the modes above, for every axis (default 'reflect').
    {cval}
    {origin}

    Returns
    -------
    {filtered}

    Examples
    --------
    >>> import numpy as np
    >>> from vlmathdsp.scipy import ndimage
    >>> ndimage.correlate(np.arange(9.0).reshape(3, 3), [[0.0, 1.0], [1.0, 0.0]], mode='nearest')
    array([[ 0.,  1.,  3.],
           [ 3.,  4.,  6.],
           [ 9., 10., 12.]])
    """
    return _correlate(input, weights, output, mode, cval, origin, False)


@_ndimage
def convolve(input, weights, output=None, mode='reflect', cval=0.0, origin=0):
    """The N-dimensional convolution with weights of the input's rank, as
    ``scipy.ndimage.convolve``.

    Parameters
    ----------
    {input}
    weights : array_like
        Of the input's number of dimensions; correlate with the weights reversed.
    {output}
    mode : str, optional
        One of the modes above, for every axis (default 'reflect').
    {cval}
    {origin}

    Returns
    -------
    {filtered}

    Examples
    --------
    >>> import numpy as np
    >>> from vlmathdsp.scipy import ndimage
    >>> ndimage.convolve(np.arange(9.0).reshape(3, 3), [[0.0, 1.0], [1.0, 0.0]], mode='nearest')
    array([[ 4.,  6.,  7.],
           [10., 12., 13.],
           [13., 15., 16.]])
    """
    return _correlate(input, weights, output, mode, cval, origin, True)


def _gaussian_passes(sigma, order, truncate, radius):
    def passes(work, ndim, integer):
        sigmas, orders = _per_axis(sigma, ndim, "sigma"), _per_axis(order, ndim, "order")
        radii = _per_axis(radius, ndim, "radius")
        chosen = []
        for a, (s, o, r) in enumerate(zip(sigmas, orders, radii)):
            if s > 1e-15:
                w = _gaussian_kernel(float(s), int(o), _radius_of(s, truncate, r))[::-1]
                w = _smoothing(w, work) if int(o) == 0 else w.astype(work)
                chosen.append((a, w, 0, 1))
        return chosen
    return passes


@_ndimage
def gaussian_filter1d(input, sigma, axis=-1, order=0, output=None, mode='reflect', cval=0.0, truncate=4.0, *,
                      radius=None):
    """The Gaussian filter along one axis, or its derivative, as ``scipy.ndimage.gaussian_filter1d``.

    Parameters
    ----------
    {input}
    sigma : scalar
        The standard deviation.
    axis : int, optional
        The axis (default -1).
    order : int, optional
        0 for the Gaussian (default), n for its n-th derivative.
    {output}
    mode : str, optional
        One of the modes above (default 'reflect').
    {cval}
    {truncate}

    Returns
    -------
    {filtered}

    Examples
    --------
    >>> import numpy as np
    >>> from vlmathdsp.scipy import ndimage
    >>> ndimage.gaussian_filter1d(np.array([0.0, 0.0, 1.0, 0.0, 0.0]), 1.0, radius=1).round(6)
    array([0.      , 0.274069, 0.451863, 0.274069, 0.      ])
    """
    x = _array(input)
    a = axis_index(axis, x.ndim)
    w = _gaussian_kernel(float(sigma), int(order), _radius_of(sigma, truncate, radius))[::-1]
    if int(order) == 0:
        w = _smoothing(w, _work_dtype(x))
    return _correlate1d(x, w, a, output, mode, cval, 0, False)


@_ndimage
def gaussian_filter(input, sigma, order=0, output=None, mode='reflect', cval=0.0, truncate=4.0, *, radius=None):
    """The N-dimensional Gaussian filter, or derivatives of it, as ``scipy.ndimage.gaussian_filter``:
    one 1-d pass per axis of positive sigma.

    Parameters
    ----------
    {input}
    sigma : scalar or sequence of scalars
        The standard deviation, or one per axis.
    order : int or sequence of ints, optional
        The derivative's order along each axis (default 0).
    {output}
    {mode}
    {cval}
    truncate : float, optional
        The kernel's radius in standard deviations (default 4).
    radius : int or sequence of ints, optional
        The kernel's radius, in place of truncate's.

    Returns
    -------
    {filtered}

    Examples
    --------
    >>> import numpy as np
    >>> from vlmathdsp.scipy import ndimage
    >>> image = np.zeros((3, 3)); image[1, 1] = 1.0
    >>> ndimage.gaussian_filter(image, 1.0, radius=1).round(4)
    array([[0.0751, 0.1238, 0.0751],
           [0.1238, 0.2042, 0.1238],
           [0.0751, 0.1238, 0.0751]])
    """
    return _separable(input, output, mode, cval, _gaussian_passes(sigma, order, truncate, radius))


def _uniform_passes(size, origin):
    def passes(work, ndim, integer):
        sizes = [operator.index(s) for s in _per_axis(size, ndim, "size")]
        origins = _origins(origin, ndim)
        chosen = []
        for a, (s, o) in enumerate(zip(sizes, origins)):
            if s > 1:
                o = _check_origin(s, o)
                # Integers: the sum, then the mean, as SciPy's running sum gives it.
                chosen.append((a, np.ones(s, work), o, s) if integer else (a, np.full(s, 1 / s, work), o, 1))
        return chosen
    return passes


@_ndimage
def uniform_filter1d(input, size, axis=-1, output=None, mode='reflect', cval=0.0, origin=0):
    """The mean over size neighbours along one axis, as ``scipy.ndimage.uniform_filter1d``.

    Parameters
    ----------
    {input}
    size : int
        The neighbourhood's length.
    axis : int, optional
        The axis (default -1).
    {output}
    mode : str, optional
        One of the modes above (default 'reflect').
    {cval}
    {origin}

    Returns
    -------
    {filtered}

    Examples
    --------
    >>> import numpy as np
    >>> from vlmathdsp.scipy import ndimage
    >>> ndimage.uniform_filter1d(np.array([3.0, 6.0, 9.0, 0.0]), 3)
    array([4., 6., 5., 3.])
    """
    x = _array(input)
    a = axis_index(axis, x.ndim)
    if not isinstance(mode, str):
        raise Unsupported
    sizes = [1] * x.ndim
    sizes[a] = _size_of(size)
    origins = [0] * x.ndim
    origins[a] = origin
    return _separable(x, output, mode, cval, _uniform_passes(sizes, origins))


@_ndimage
def uniform_filter(input, size=3, output=None, mode='reflect', cval=0.0, origin=0):
    """The mean over a box of neighbours, as ``scipy.ndimage.uniform_filter``: one 1-d pass per
    axis of size above 1.

    Parameters
    ----------
    {input}
    size : int or sequence of ints, optional
        The box's length, or one per axis (default 3).
    {output}
    {mode}
    {cval}
    {origin}

    Returns
    -------
    {filtered}

    Examples
    --------
    >>> import numpy as np
    >>> from vlmathdsp.scipy import ndimage
    >>> ndimage.uniform_filter(np.arange(9.0).reshape(3, 3), 3, mode='nearest')
    array([[1.33333333, 2.        , 2.66666667],
           [3.33333333, 4.        , 4.66666667],
           [5.33333333, 6.        , 6.66666667]])
    """
    return _separable(input, output, mode, cval, _uniform_passes(size, origin))


def _edge_passes(axis, smooth):
    def passes(work, ndim, integer):
        a = axis_index(axis, ndim)
        chosen = [(a, np.array([-1, 0, 1], work), 0, 1)]
        return chosen + [(b, np.array(smooth, work), 0, 1) for b in range(ndim) if b != a]
    return passes


@_ndimage
def sobel(input, axis=-1, output=None, mode='reflect', cval=0.0):
    """The Sobel derivative along one axis, smoothed by [1, 2, 1] along the others, as
    ``scipy.ndimage.sobel``.

    Parameters
    ----------
    {input}
    axis : int, optional
        The derivative's axis (default -1).
    {output}
    {mode}
    {cval}

    Returns
    -------
    {filtered}

    Examples
    --------
    >>> import numpy as np
    >>> from vlmathdsp.scipy import ndimage
    >>> ndimage.sobel(np.array([[0, 0, 1, 1], [0, 0, 1, 1], [0, 0, 1, 1]]))
    array([[0, 4, 4, 0],
           [0, 4, 4, 0],
           [0, 4, 4, 0]])
    """
    return _separable(input, output, mode, cval, _edge_passes(axis, [1, 2, 1]))


@_ndimage
def prewitt(input, axis=-1, output=None, mode='reflect', cval=0.0):
    """The Prewitt derivative along one axis, smoothed by [1, 1, 1] along the others, as
    ``scipy.ndimage.prewitt``.

    Parameters
    ----------
    {input}
    axis : int, optional
        The derivative's axis (default -1).
    {output}
    {mode}
    {cval}

    Returns
    -------
    {filtered}

    Examples
    --------
    >>> import numpy as np
    >>> from vlmathdsp.scipy import ndimage
    >>> ndimage.prewitt(np.array([[0, 0, 1, 1], [0, 0, 1, 1], [0, 0, 1, 1]]))
    array([[0, 3, 3, 0],
           [0, 3, 3, 0],
           [0, 3, 3, 0]])
    """
    return _separable(input, output, mode, cval, _edge_passes(axis, [1, 1, 1]))


def _sum_over_axes(input, output, mode, term, square=False):
    """SciPy's generic Laplace and gradient magnitude: term(input, axis, dtype, mode of that axis)
    for each axis, squared or not, summed in the output's dtype (then its square root)."""
    x = _array(input)
    array, dtype = _output(output, x)
    modes = _modes(mode, x.ndim)
    total = None
    for a in range(x.ndim):
        t = term(x, a, dtype, modes[a])
        if square:
            t = np.multiply(t, t)
        total = t if total is None else np.add(total, t, dtype=dtype)
    if square:
        total = np.sqrt(total, dtype=np.result_type(dtype, np.float16)).astype(dtype, copy=False) \
            if dtype.kind != "c" else np.sqrt(total)
    return _store(total, array, dtype)


@_ndimage
def laplace(input, output=None, mode='reflect', cval=0.0):
    """The sum over the axes of the second differences [1, -2, 1], as ``scipy.ndimage.laplace``.

    Parameters
    ----------
    {input}
    {output}
    {mode}
    {cval}

    Returns
    -------
    {filtered}

    Examples
    --------
    >>> import numpy as np
    >>> from vlmathdsp.scipy import ndimage
    >>> ndimage.laplace(np.array([[0.0, 0.0, 0.0], [0.0, 1.0, 0.0], [0.0, 0.0, 0.0]]), mode='constant')
    array([[ 0.,  1.,  0.],
           [ 1., -4.,  1.],
           [ 0.,  1.,  0.]])
    """
    return _sum_over_axes(input, output, mode, lambda x, a, dtype, m: _correlate1d(
        x, np.array([1.0, -2.0, 1.0]), a, dtype, m, cval, 0, False))


def _gaussian_term(sigma, cval, order_of_axis, kwargs):
    def term(x, a, dtype, m):
        orders = [0] * x.ndim
        orders[a] = order_of_axis
        return gaussian_filter.__wrapped__(x, sigma, orders, dtype, m, cval, **kwargs)
    return term


@_ndimage
def gaussian_laplace(input, sigma, output=None, mode='reflect', cval=0.0, **kwargs):
    """The Laplacian of the Gaussian: the sum over the axes of the Gaussian's second derivative
    along each, as ``scipy.ndimage.gaussian_laplace``.

    Parameters
    ----------
    {input}
    sigma : scalar or sequence of scalars
        The standard deviation, or one per axis.
    {output}
    {mode}
    {cval}
    **kwargs
        truncate and radius, as gaussian_filter takes them.

    Returns
    -------
    {filtered}

    Examples
    --------
    >>> import numpy as np
    >>> from vlmathdsp.scipy import ndimage
    >>> ndimage.gaussian_laplace(np.eye(3), 1.0, radius=1).round(4)
    array([[-0.656 , -0.2477,  0.    ],
           [-0.2477, -0.4084, -0.2477],
           [ 0.    , -0.2477, -0.656 ]])
    """
    return _sum_over_axes(input, output, mode, _gaussian_term(sigma, cval, 2, kwargs))


@_ndimage
def gaussian_gradient_magnitude(input, sigma, output=None, mode='reflect', cval=0.0, **kwargs):
    """The magnitude of the gradient by the Gaussian's first derivatives, as
    ``scipy.ndimage.gaussian_gradient_magnitude``.

    Parameters
    ----------
    {input}
    sigma : scalar or sequence of scalars
        The standard deviation, or one per axis.
    {output}
    {mode}
    {cval}
    **kwargs
        truncate and radius, as gaussian_filter takes them.

    Returns
    -------
    {filtered}

    Examples
    --------
    >>> import numpy as np
    >>> from vlmathdsp.scipy import ndimage
    >>> ndimage.gaussian_gradient_magnitude(np.array([0.0, 0.0, 1.0, 1.0]), 1.0, radius=1).round(4)
    array([0.    , 0.2741, 0.2741, 0.    ])
    """
    return _sum_over_axes(input, output, mode, _gaussian_term(sigma, cval, 1, kwargs), square=True)


__all__ = ["convolve", "correlate", "convolve1d", "correlate1d", "gaussian_filter", "gaussian_filter1d",
           "uniform_filter", "uniform_filter1d", "sobel", "prewitt", "laplace", "gaussian_laplace",
           "gaussian_gradient_magnitude"]


def __dir__():
    return sorted(__all__)
