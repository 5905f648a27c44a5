"""scipy.fft's Fourier, cosine and sine transforms over the library's engine, with SciPy's
signatures, defaults and dtype rules, usable as a SciPy backend::

    import scipy.fft, vlmathdsp.scipy.fft
    with scipy.fft.set_backend(vlmathdsp.scipy.fft):
        y = scipy.fft.fft(x)

or ``scipy.fft.set_global_backend(vlmathdsp.scipy.fft)`` (``vlmathdsp.scipy.patch()`` does that
and more). What the engine does not take (long doubles, empty and 0-d arrays, ``plan``, the fast
Hankel transforms) goes to SciPy's own implementation, so the module serves every function of
scipy.fft's backend without SciPy registered behind it.

Where it differs from SciPy: ``workers=None`` runs on the library's thread setting
(``vlmathdsp.set_num_threads``, by default every core) rather than on one thread; a count given
as ``workers``, or by ``set_workers`` (this module's or SciPy's, above 1), holds in the calling
Python thread only. Results do not depend on the thread count.
"""

import contextlib

import numpy as np
import scipy.fft

from .. import _engine
from . import _face
from ._face import face
from ._fourier import OF_VECTOR, array, c2c_many, c2c_one, c2r_many, one_axis, r2c_many, real_transform, scipys, swap
from ._layout import Unsupported, axis_index, thread_count, threads

__ua_domain__ = "numpy.scipy.fft"

_X = ["x : array_like", "    Input; integers and float16 are taken as float64 and float32, as SciPy does."]
_COMMON = ["norm : {None, 'backward', 'ortho', 'forward'}, optional", "    Scaling (default 'backward').",
           "overwrite_x : bool, optional", "    Accepted; the input is never written.",
           "workers : int, optional",
           "    Threads for this call, in the calling Python thread only (negative: from the core count).",
           "    Default: set_workers's count, else the library's setting (every core)."]
_PLAN = ["plan : None", "    Any other value is handed to SciPy."]
_AXIS = ["n : int, optional", "    Points along the axis: padded with zeros or cut (default the axis' length).",
         "axis : int, optional", "    The axis (default -1)."]
_AXES = ["s : sequence of int, optional", "    Points along each axis of axes.",
         "axes : sequence of int, optional", "    The axes (default: all, or the last len(s))."]
_PAIR_AXES = ["s : sequence of int, optional", "    Points along each of the two axes.",
              "axes : sequence of int, optional", "    The two axes (default (-2, -1))."]
_TYPE = ["type : {1, 2, 3, 4}, optional", "    The transform's type (default 2)."]
_ORTH = ["orthogonalize : bool, optional", "    SciPy's orthogonalized definition (default: with norm='ortho')."]
_SECTIONS = {
    "one": _X + _AXIS + _COMMON + _PLAN, "many": _X + _AXES + _COMMON + _PLAN, "pair": _X + _PAIR_AXES + _COMMON + _PLAN,
    "r1": _X + _TYPE + _AXIS + _COMMON + _ORTH, "rn": _X + _TYPE + _AXES + _COMMON + _ORTH,
    "complex": ["out : ndarray", "    Complex: complex64 for float32 and complex64 input, else complex128."],
    "real": ["out : ndarray", "    Real: float32 for complex64 input, else float64."],
    "same": ["out : ndarray", "    Of the input's floating dtype (float32 stays float32)."],
}


def _transform(function):
    return face(scipys(function.__name__), _SECTIONS)(function)


@face(scipys("fft"), _SECTIONS, small=(1, OF_VECTOR[True]))
def fft(x, n=None, axis=-1, norm=None, overwrite_x=False, workers=None, *, plan=None):
    """The discrete Fourier transform along one axis, as ``scipy.fft.fft``.

    Parameters
    ----------
    {one}

    Returns
    -------
    {complex}

    Examples
    --------
    >>> import numpy as np
    >>> from vlmathdsp.scipy import fft
    >>> fft.fft(np.array([1.0, 2.0, 3.0, 4.0]))
    array([10.+0.j, -2.+2.j, -2.+0.j, -2.-2.j])
    """
    return c2c_one(x, n, axis, norm, workers, plan, True)


@face(scipys("ifft"), _SECTIONS, small=(1, OF_VECTOR[False]))
def ifft(x, n=None, axis=-1, norm=None, overwrite_x=False, workers=None, *, plan=None):
    """The inverse discrete Fourier transform along one axis, as ``scipy.fft.ifft``.

    Parameters
    ----------
    {one}

    Returns
    -------
    {complex}

    Examples
    --------
    >>> import numpy as np
    >>> from vlmathdsp.scipy import fft
    >>> fft.ifft(np.array([10, -2 + 2j, -2, -2 - 2j]))
    array([1.+0.j, 2.+0.j, 3.+0.j, 4.+0.j])
    """
    return c2c_one(x, n, axis, norm, workers, plan, False)


@_transform
def fftn(x, s=None, axes=None, norm=None, overwrite_x=False, workers=None, *, plan=None):
    """The N-dimensional discrete Fourier transform, as ``scipy.fft.fftn``.

    Parameters
    ----------
    {many}

    Returns
    -------
    {complex}

    Examples
    --------
    >>> import numpy as np
    >>> from vlmathdsp.scipy import fft
    >>> fft.fftn(np.ones((2, 2, 2)))[0]
    array([[8.+0.j, 0.+0.j],
           [0.+0.j, 0.+0.j]])
    """
    return c2c_many(x, s, axes, norm, workers, plan, True)


@_transform
def ifftn(x, s=None, axes=None, norm=None, overwrite_x=False, workers=None, *, plan=None):
    """The N-dimensional inverse discrete Fourier transform, as ``scipy.fft.ifftn``.

    Parameters
    ----------
    {many}

    Returns
    -------
    {complex}

    Examples
    --------
    >>> import numpy as np
    >>> from vlmathdsp.scipy import fft
    >>> fft.ifftn(np.array([[4.0, 0.0], [0.0, 0.0]]))
    array([[1.+0.j, 1.+0.j],
           [1.+0.j, 1.+0.j]])
    """
    return c2c_many(x, s, axes, norm, workers, plan, False)


@_transform
def fft2(x, s=None, axes=(-2, -1), norm=None, overwrite_x=False, workers=None, *, plan=None):
    """The two-dimensional discrete Fourier transform, as ``scipy.fft.fft2``.

    Parameters
    ----------
    {pair}

    Returns
    -------
    {complex}

    Examples
    --------
    >>> import numpy as np
    >>> from vlmathdsp.scipy import fft
    >>> fft.fft2(np.array([[1.0, 2.0], [3.0, 4.0]]))
    array([[10.+0.j, -2.+0.j],
           [-4.+0.j,  0.+0.j]])
    """
    return c2c_many(x, s, axes, norm, workers, plan, True)


@_transform
def ifft2(x, s=None, axes=(-2, -1), norm=None, overwrite_x=False, workers=None, *, plan=None):
    """The two-dimensional inverse discrete Fourier transform, as ``scipy.fft.ifft2``.

    Parameters
    ----------
    {pair}

    Returns
    -------
    {complex}

    Examples
    --------
    >>> import numpy as np
    >>> from vlmathdsp.scipy import fft
    >>> fft.ifft2(np.array([[10.0, -2.0], [-4.0, 0.0]]))
    array([[1.+0.j, 2.+0.j],
           [3.+0.j, 4.+0.j]])
    """
    return c2c_many(x, s, axes, norm, workers, plan, False)


@_transform
def rfft(x, n=None, axis=-1, norm=None, overwrite_x=False, workers=None, *, plan=None):
    """The Fourier transform of real input: its n // 2 + 1 non-negative frequencies, as
    ``scipy.fft.rfft``.

    Parameters
    ----------
    {one}

    Returns
    -------
    {complex}

    Examples
    --------
    >>> import numpy as np
    >>> from vlmathdsp.scipy import fft
    >>> fft.rfft(np.array([1.0, 2.0, 3.0, 4.0]))
    array([10.+0.j, -2.+2.j, -2.+0.j])
    """
    x = array(x, plan)
    return r2c_many(x, *one_axis(n, axis_index(axis, x.ndim)), norm, workers, plan)


@_transform
def irfft(x, n=None, axis=-1, norm=None, overwrite_x=False, workers=None, *, plan=None):
    """The inverse of rfft: n real points (default 2 (m - 1) of m given), as ``scipy.fft.irfft``.

    Parameters
    ----------
    {one}

    Returns
    -------
    {real}

    Examples
    --------
    >>> import numpy as np
    >>> from vlmathdsp.scipy import fft
    >>> fft.irfft(np.array([10, -2 + 2j, -2]))
    array([1., 2., 3., 4.])
    """
    x = array(x, plan)
    return c2r_many(x, *one_axis(n, axis_index(axis, x.ndim)), norm, workers, plan)


@_transform
def rfftn(x, s=None, axes=None, norm=None, overwrite_x=False, workers=None, *, plan=None):
    """The N-dimensional Fourier transform of real input, halved along the last axis, as
    ``scipy.fft.rfftn``.

    Parameters
    ----------
    {many}

    Returns
    -------
    {complex}

    Examples
    --------
    >>> import numpy as np
    >>> from vlmathdsp.scipy import fft
    >>> fft.rfftn(np.ones((2, 2, 2)))[0]
    array([[8.+0.j, 0.+0.j],
           [0.+0.j, 0.+0.j]])
    """
    return r2c_many(x, s, axes, norm, workers, plan)


@_transform
def irfftn(x, s=None, axes=None, norm=None, overwrite_x=False, workers=None, *, plan=None):
    """The inverse of rfftn, as ``scipy.fft.irfftn``.

    Parameters
    ----------
    {many}

    Returns
    -------
    {real}

    Examples
    --------
    >>> import numpy as np
    >>> from vlmathdsp.scipy import fft
    >>> fft.irfftn(np.array([[4.0, 0.0], [0.0, 0.0]]), s=(2, 2))
    array([[1., 1.],
           [1., 1.]])
    """
    return c2r_many(x, s, axes, norm, workers, plan)


@_transform
def rfft2(x, s=None, axes=(-2, -1), norm=None, overwrite_x=False, workers=None, *, plan=None):
    """The two-dimensional Fourier transform of real input, as ``scipy.fft.rfft2``.

    Parameters
    ----------
    {pair}

    Returns
    -------
    {complex}

    Examples
    --------
    >>> import numpy as np
    >>> from vlmathdsp.scipy import fft
    >>> fft.rfft2(np.array([[1.0, 2.0], [3.0, 4.0]]))
    array([[10.+0.j, -2.+0.j],
           [-4.+0.j,  0.+0.j]])
    """
    return r2c_many(x, s, axes, norm, workers, plan)


@_transform
def irfft2(x, s=None, axes=(-2, -1), norm=None, overwrite_x=False, workers=None, *, plan=None):
    """The inverse of rfft2, as ``scipy.fft.irfft2``.

    Parameters
    ----------
    {pair}

    Returns
    -------
    {real}

    Examples
    --------
    >>> import numpy as np
    >>> from vlmathdsp.scipy import fft
    >>> fft.irfft2(np.array([[10.0, -2.0], [-4.0, 0.0]]), s=(2, 2))
    array([[1., 2.],
           [3., 4.]])
    """
    return c2r_many(x, s, axes, norm, workers, plan)


@_transform
def hfft(x, n=None, axis=-1, norm=None, overwrite_x=False, workers=None, *, plan=None):
    """The Fourier transform of a Hermitian-symmetric signal given by its first half, as
    ``scipy.fft.hfft``.

    Parameters
    ----------
    {one}

    Returns
    -------
    {real}

    Examples
    --------
    >>> import numpy as np
    >>> from vlmathdsp.scipy import fft
    >>> fft.hfft(np.array([1.0, 2.0, 3.0]))
    array([ 8., -2.,  0., -2.])
    """
    x = array(x, plan)
    return c2r_many(np.conjugate(x), *one_axis(n, axis_index(axis, x.ndim)), swap(norm), workers, plan)


@_transform
def ihfft(x, n=None, axis=-1, norm=None, overwrite_x=False, workers=None, *, plan=None):
    """The inverse of hfft: the first half of the spectrum of a real signal, as
    ``scipy.fft.ihfft``.

    Parameters
    ----------
    {one}

    Returns
    -------
    {complex}

    Examples
    --------
    >>> import numpy as np
    >>> from vlmathdsp.scipy import fft
    >>> fft.ihfft(np.array([8.0, -2.0, 0.0, -2.0]))
    array([1.-0.j, 2.-0.j, 3.-0.j])
    """
    x = array(x, plan)
    return np.conjugate(r2c_many(x, *one_axis(n, axis_index(axis, x.ndim)), swap(norm), workers, plan))


@_transform
def hfftn(x, s=None, axes=None, norm=None, overwrite_x=False, workers=None, *, plan=None):
    """The N-dimensional Fourier transform of a Hermitian-symmetric signal given by its half along
    the last axis, as ``scipy.fft.hfftn``.

    Parameters
    ----------
    {many}

    Returns
    -------
    {real}

    Examples
    --------
    >>> import numpy as np
    >>> from vlmathdsp.scipy import fft
    >>> fft.hfftn(np.array([[1.0, 0.0], [0.0, 0.0]]), s=(2, 2))
    array([[1., 1.],
           [1., 1.]])
    """
    return c2r_many(np.conjugate(array(x, plan)), s, axes, swap(norm), workers, plan)


@_transform
def ihfftn(x, s=None, axes=None, norm=None, overwrite_x=False, workers=None, *, plan=None):
    """The inverse of hfftn: the half spectrum of a real N-dimensional signal, as
    ``scipy.fft.ihfftn``.

    Parameters
    ----------
    {many}

    Returns
    -------
    {complex}

    Examples
    --------
    >>> import numpy as np
    >>> from vlmathdsp.scipy import fft
    >>> fft.ihfftn(np.ones((2, 2)))
    array([[1.-0.j, 0.-0.j],
           [0.-0.j, 0.-0.j]])
    """
    return np.conjugate(r2c_many(x, s, axes, swap(norm), workers, plan))


@_transform
def hfft2(x, s=None, axes=(-2, -1), norm=None, overwrite_x=False, workers=None, *, plan=None):
    """The two-dimensional hfftn, as ``scipy.fft.hfft2``.

    Parameters
    ----------
    {pair}

    Returns
    -------
    {real}

    Examples
    --------
    >>> import numpy as np
    >>> from vlmathdsp.scipy import fft
    >>> fft.hfft2(np.array([[4.0, 0.0], [0.0, 0.0]]), s=(2, 2))
    array([[4., 4.],
           [4., 4.]])
    """
    return c2r_many(np.conjugate(array(x, plan)), s, axes, swap(norm), workers, plan)


@_transform
def ihfft2(x, s=None, axes=(-2, -1), norm=None, overwrite_x=False, workers=None, *, plan=None):
    """The two-dimensional ihfftn, as ``scipy.fft.ihfft2``.

    Parameters
    ----------
    {pair}

    Returns
    -------
    {complex}

    Examples
    --------
    >>> import numpy as np
    >>> from vlmathdsp.scipy import fft
    >>> fft.ihfft2(np.ones((2, 2)))
    array([[1.-0.j, 0.-0.j],
           [0.-0.j, 0.-0.j]])
    """
    return np.conjugate(r2c_many(x, s, axes, swap(norm), workers, plan))


@_transform
def dct(x, type=2, n=None, axis=-1, norm=None, overwrite_x=False, workers=None, orthogonalize=None):
    """The discrete cosine transform of type 1 to 4 along one axis, as ``scipy.fft.dct``.

    Parameters
    ----------
    {r1}

    Returns
    -------
    {same}

    Examples
    --------
    >>> import numpy as np
    >>> from vlmathdsp.scipy import fft
    >>> fft.dct(np.array([1.0, 2.0, 3.0, 4.0]))
    array([20.        , -6.30864406,  0.        , -0.44834153])
    """
    x = array(x, None)
    return real_transform(x, "dct", False, type, *one_axis(n, axis_index(axis, x.ndim)), norm, workers,
                           orthogonalize)


@_transform
def idct(x, type=2, n=None, axis=-1, norm=None, overwrite_x=False, workers=None, orthogonalize=None):
    """The inverse discrete cosine transform of type 1 to 4 along one axis, as ``scipy.fft.idct``.

    Parameters
    ----------
    {r1}

    Returns
    -------
    {same}

    Examples
    --------
    >>> import numpy as np
    >>> from vlmathdsp.scipy import fft
    >>> fft.idct(np.array([20.0, -6.30864406, 0.0, -0.44834153]))
    array([1., 2., 3., 4.])
    """
    x = array(x, None)
    return real_transform(x, "dct", True, type, *one_axis(n, axis_index(axis, x.ndim)), norm, workers,
                           orthogonalize)


@_transform
def dst(x, type=2, n=None, axis=-1, norm=None, overwrite_x=False, workers=None, orthogonalize=None):
    """The discrete sine transform of type 1 to 4 along one axis, as ``scipy.fft.dst``.

    Parameters
    ----------
    {r1}

    Returns
    -------
    {same}

    Examples
    --------
    >>> import numpy as np
    >>> from vlmathdsp.scipy import fft
    >>> fft.dst(np.array([1.0, 2.0, 3.0, 4.0]), type=1)
    array([15.38841769, -6.8819096 ,  3.63271264, -1.62459848])
    """
    x = array(x, None)
    return real_transform(x, "dst", False, type, *one_axis(n, axis_index(axis, x.ndim)), norm, workers,
                           orthogonalize)


@_transform
def idst(x, type=2, n=None, axis=-1, norm=None, overwrite_x=False, workers=None, orthogonalize=None):
    """The inverse discrete sine transform of type 1 to 4 along one axis, as ``scipy.fft.idst``.

    Parameters
    ----------
    {r1}

    Returns
    -------
    {same}

    Examples
    --------
    >>> import numpy as np
    >>> from vlmathdsp.scipy import fft
    >>> fft.idst(np.array([1.0, 0.0, 0.0]), type=1)
    array([0.1767767, 0.25     , 0.1767767])
    """
    x = array(x, None)
    return real_transform(x, "dst", True, type, *one_axis(n, axis_index(axis, x.ndim)), norm, workers,
                           orthogonalize)


@_transform
def dctn(x, type=2, s=None, axes=None, norm=None, overwrite_x=False, workers=None, orthogonalize=None):
    """The N-dimensional discrete cosine transform, as ``scipy.fft.dctn``.

    Parameters
    ----------
    {rn}

    Returns
    -------
    {same}

    Examples
    --------
    >>> import numpy as np
    >>> from vlmathdsp.scipy import fft
    >>> fft.dctn(np.ones((2, 2)), norm='ortho').round(12)
    array([[2., 0.],
           [0., 0.]])
    """
    return real_transform(x, "dct", False, type, s, axes, norm, workers, orthogonalize)


@_transform
def idctn(x, type=2, s=None, axes=None, norm=None, overwrite_x=False, workers=None, orthogonalize=None):
    """The N-dimensional inverse discrete cosine transform, as ``scipy.fft.idctn``.

    Parameters
    ----------
    {rn}

    Returns
    -------
    {same}

    Examples
    --------
    >>> import numpy as np
    >>> from vlmathdsp.scipy import fft
    >>> fft.idctn(np.array([[2.0, 0.0], [0.0, 0.0]]), norm='ortho')
    array([[1., 1.],
           [1., 1.]])
    """
    return real_transform(x, "dct", True, type, s, axes, norm, workers, orthogonalize)


@_transform
def dstn(x, type=2, s=None, axes=None, norm=None, overwrite_x=False, workers=None, orthogonalize=None):
    """The N-dimensional discrete sine transform, as ``scipy.fft.dstn``.

    Parameters
    ----------
    {rn}

    Returns
    -------
    {same}

    Examples
    --------
    >>> import numpy as np
    >>> from vlmathdsp.scipy import fft
    >>> fft.dstn(np.ones((2, 2)), type=4, norm='ortho')
    array([[1.70710678, 0.70710678],
           [0.70710678, 0.29289322]])
    """
    return real_transform(x, "dst", False, type, s, axes, norm, workers, orthogonalize)


@_transform
def idstn(x, type=2, s=None, axes=None, norm=None, overwrite_x=False, workers=None, orthogonalize=None):
    """The N-dimensional inverse discrete sine transform, as ``scipy.fft.idstn``.

    Parameters
    ----------
    {rn}

    Returns
    -------
    {same}

    Examples
    --------
    >>> import numpy as np
    >>> from vlmathdsp.scipy import fft
    >>> np.allclose(fft.idstn(fft.dstn(np.eye(3), type=3), type=3), np.eye(3))
    True
    """
    return real_transform(x, "dst", True, type, s, axes, norm, workers, orthogonalize)


def fftfreq(n, d=1.0):
    """The sample frequencies of fft's n outputs, as ``scipy.fft.fftfreq``.

    Parameters
    ----------
    n : int
        The transform's length.
    d : float, optional
        The sample spacing (default 1).

    Returns
    -------
    f : ndarray
        [0, 1, ..., n // 2 - 1 + n % 2, -(n // 2), ..., -1] / (d n).

    Examples
    --------
    >>> from vlmathdsp.scipy import fft
    >>> fft.fftfreq(4, 0.5)
    array([ 0. ,  0.5, -1. , -0.5])
    """
    return scipy.fft.fftfreq(n, d)


def rfftfreq(n, d=1.0):
    """The sample frequencies of rfft's n // 2 + 1 outputs, as ``scipy.fft.rfftfreq``.

    Parameters
    ----------
    n : int
        The transform's length.
    d : float, optional
        The sample spacing (default 1).

    Returns
    -------
    f : ndarray
        [0, 1, ..., n // 2] / (d n).

    Examples
    --------
    >>> from vlmathdsp.scipy import fft
    >>> fft.rfftfreq(4, 0.5)
    array([0. , 0.5, 1. ])
    """
    return scipy.fft.rfftfreq(n, d)


def fftshift(x, axes=None):
    """The zero frequency moved to the centre, as ``scipy.fft.fftshift``.

    Parameters
    ----------
    x : array_like
        A spectrum.
    axes : int or sequence of int, optional
        The axes to shift (default all).

    Returns
    -------
    y : ndarray
        x rolled by n // 2 along each axis.

    Examples
    --------
    >>> from vlmathdsp.scipy import fft
    >>> fft.fftshift(fft.fftfreq(5))
    array([-0.4, -0.2,  0. ,  0.2,  0.4])
    """
    return scipy.fft.fftshift(x, axes)


def ifftshift(x, axes=None):
    """The inverse of fftshift, as ``scipy.fft.ifftshift``.

    Parameters
    ----------
    x : array_like
        A centred spectrum.
    axes : int or sequence of int, optional
        The axes to shift (default all).

    Returns
    -------
    y : ndarray
        x rolled by -(n // 2) along each axis.

    Examples
    --------
    >>> from vlmathdsp.scipy import fft
    >>> fft.ifftshift(fft.fftshift(fft.fftfreq(5)))
    array([ 0. ,  0.2,  0.4, -0.4, -0.2])
    """
    return scipy.fft.ifftshift(x, axes)


def next_fast_len(target, real=False):
    """The least length at least target that the transforms do fast, as ``scipy.fft.next_fast_len``:
    a product of 2, 3 and 5 for real input, of 2, 3, 5, 7 and 11 for complex (FFTW has kernels for
    each of these factors).

    Parameters
    ----------
    target : int
        A positive length.
    real : bool, optional
        For a transform of real input (default False).

    Returns
    -------
    n : int

    Examples
    --------
    >>> from vlmathdsp.scipy import fft
    >>> fft.next_fast_len(1021), fft.next_fast_len(1021, real=True)
    (1024, 1024)
    >>> fft.next_fast_len(1000001)
    1000188
    """
    return scipy.fft.next_fast_len(target, real)


@contextlib.contextmanager
def set_workers(workers):
    """Context manager: the default ``workers`` of this module's calls made in the block, in the
    calling Python thread, as ``scipy.fft.set_workers``.

    Parameters
    ----------
    workers : int
        Threads (negative: counted back from the core count).

    Returns
    -------
    context manager

    Examples
    --------
    >>> import numpy as np
    >>> from vlmathdsp.scipy import fft
    >>> with fft.set_workers(1):
    ...     fft.get_workers()
    1
    """
    count = thread_count(workers)
    with threads(count), scipy.fft.set_workers(count):
        yield


def get_workers():
    """The default ``workers`` of this module's calls in the calling Python thread, as
    ``scipy.fft.get_workers``.

    Returns
    -------
    int
        set_workers's count inside its block, else the library's thread setting.

    Examples
    --------
    >>> import vlmathdsp
    >>> from vlmathdsp.scipy import fft
    >>> fft.get_workers() == vlmathdsp.get_num_threads()
    True
    """
    return _engine.get_num_threads()


_TRANSFORMS = ["fft", "ifft", "fft2", "ifft2", "fftn", "ifftn", "rfft", "irfft", "rfft2", "irfft2", "rfftn", "irfftn",
               "hfft", "ihfft", "hfft2", "ihfft2", "hfftn", "ihfftn", "dct", "idct", "dst", "idst", "dctn", "idctn",
               "dstn", "idstn"]
_IMPLEMENTATIONS = {name: globals()[name].__wrapped__ for name in _TRANSFORMS}


def __ua_function__(method, args, kwargs):
    """The backend's entry: every function of scipy.fft's domain, the engine's where it takes the
    call, else SciPy's own."""
    name = method.__name__
    implementation = _IMPLEMENTATIONS.get(name)
    if implementation is not None:
        try:
            return implementation(*args, **kwargs)
        except Unsupported:
            pass
    return _face.hand_back(f"fft.{name}", scipys(name), args, kwargs)


__all__ = _TRANSFORMS + ["fftfreq", "rfftfreq", "fftshift", "ifftshift", "next_fast_len", "set_workers",
                         "get_workers"]


def __dir__():
    return sorted(__all__)
