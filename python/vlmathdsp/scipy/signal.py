"""scipy.signal's convolution, filtering, resampling and spectral analysis over the library's
engine, with SciPy's signatures, defaults and dtype rules::

    from vlmathdsp.scipy import signal
    y = signal.convolve2d(image, kernel, mode="same")
    y = signal.sosfiltfilt(sos, x)
    f, Pxx = signal.welch(x, fs=1000.0, nperseg=1024)

Inputs are brought to their common floating dtype as SciPy does (float32 stays float32; float32
with float64 gives float64). Integer convolutions whose sums stay below 2^53 and their type's
range are computed in double precision and returned in the integer type, exactly as SciPy's
integer arithmetic gives them. What the engine does not take is passed to SciPy's own function:
integer sums that may wrap, boolean, object and long double inputs, empty and 0-d arrays,
``boundary`` other than "fill" or a non-zero ``fillvalue``, ``axes`` of fftconvolve that are not
all of the axes, coefficient arrays with ``a[0] == 0``, ``dlsim`` with ``t``, ``filtfilt`` with
``method="gust"``, and complex windows.

Where it differs from SciPy: ``convolve`` and ``correlate`` with ``method="auto"``, and
``fftconvolve`` and ``oaconvolve`` always, take the engine's direct sum or its transforms by an
estimate of their cost, so an ``fftconvolve`` may come back exact where SciPy's carries the
transforms' rounding. Single-precision data goes through double-precision transforms in the
convolutions. Results do not depend on the thread count.
"""

import scipy.signal

from . import _convolution, _filters
from ._face import face
from ._resampling import decimate, hilbert, hilbert2, resample, resample_poly, upfirdn
from ._spectral import coherence, csd, istft, periodogram, spectrogram, stft, welch
from ._zero_phase import filtfilt, lfiltic, sosfiltfilt

_SECTIONS = {
    "inputs": ["in1, in2 : array_like", "    Of one number of dimensions; their common floating dtype is the result's."],
    "mode": ["mode : {'full', 'valid', 'same'}, optional",
             "    Every overlap (default), where one lies wholly inside the other, or in1's size centred."],
    "method": ["method : {'auto', 'direct', 'fft'}, optional",
               "    The exact direct sum, the transforms, or the one that costs less (default)."],
    "boundary": ["boundary : {'fill'}, optional", "    Other boundaries are SciPy's.",
                 "fillvalue : scalar, optional", "    0; other values are SciPy's."],
    "axes": ["axes : None or sequence of int, optional", "    All axes; fewer are SciPy's."],
    "out": ["out : ndarray", "    The convolution's or correlation's part that mode selects."],
    "axis_zi": ["axis : int, optional", "    The axis to filter along (default -1).",
                "zi : array_like, optional",
                "    Initial conditions (see lfilter_zi); with them, the final ones are returned too."],
    "filtered": ["y : ndarray", "    The filtered data, of the inputs' common floating dtype.",
                 "zf : ndarray", "    With zi: the final conditions."],
}


def _signal(function):
    return face(getattr(scipy.signal, function.__name__), _SECTIONS)(function)


@_signal
def convolve(in1, in2, mode='full', method='auto'):
    """The N-dimensional convolution of in1 and in2, as ``scipy.signal.convolve``.

    Parameters
    ----------
    {inputs}
    {mode}
    {method}

    Returns
    -------
    {out}

    Examples
    --------
    >>> import numpy as np
    >>> from vlmathdsp.scipy import signal
    >>> signal.convolve(np.array([1.0, 2.0, 3.0]), np.array([0.0, 1.0, 0.5]))
    array([0. , 1. , 2.5, 4. , 1.5])
    """
    return _convolution.convolve(in1, in2, mode, method)


@_signal
def correlate(in1, in2, mode='full', method='auto'):
    """The N-dimensional cross-correlation of in1 and in2, as ``scipy.signal.correlate``.

    Parameters
    ----------
    {inputs}
    {mode}
    {method}

    Returns
    -------
    {out}

    Examples
    --------
    >>> import numpy as np
    >>> from vlmathdsp.scipy import signal
    >>> signal.correlate(np.array([1.0, 2.0, 3.0]), np.array([0.0, 1.0, 0.5]), mode='same')
    array([2. , 3.5, 3. ])
    """
    return _convolution.correlate(in1, in2, mode, method)


@_signal
def convolve2d(in1, in2, mode='full', boundary='fill', fillvalue=0):
    """The two-dimensional convolution of in1 and in2, as ``scipy.signal.convolve2d``.

    Parameters
    ----------
    {inputs}
    {mode}
    {boundary}

    Returns
    -------
    {out}

    Examples
    --------
    >>> import numpy as np
    >>> from vlmathdsp.scipy import signal
    >>> signal.convolve2d(np.eye(3), np.array([[1.0, -1.0]]), mode='same')
    array([[ 1., -1.,  0.],
           [ 0.,  1., -1.],
           [ 0.,  0.,  1.]])
    """
    return _convolution.convolve2d(in1, in2, mode, boundary, fillvalue)


@_signal
def correlate2d(in1, in2, mode='full', boundary='fill', fillvalue=0):
    """The two-dimensional cross-correlation of in1 and in2, as ``scipy.signal.correlate2d``.

    Parameters
    ----------
    {inputs}
    {mode}
    {boundary}

    Returns
    -------
    {out}

    Examples
    --------
    >>> import numpy as np
    >>> from vlmathdsp.scipy import signal
    >>> signal.correlate2d(np.eye(3), np.array([[1.0, -1.0]]), mode='valid')
    array([[ 1.,  0.],
           [-1.,  1.],
           [ 0., -1.]])
    """
    return _convolution.correlate2d(in1, in2, mode, boundary, fillvalue)


@_signal
def fftconvolve(in1, in2, mode='full', axes=None):
    """The N-dimensional convolution, by the path that costs less, as ``scipy.signal.fftconvolve``.

    Parameters
    ----------
    {inputs}
    {mode}
    {axes}

    Returns
    -------
    {out}

    Examples
    --------
    >>> import numpy as np
    >>> from vlmathdsp.scipy import signal
    >>> signal.fftconvolve(np.array([1.0, 2.0, 3.0]), np.array([1.0, 1.0]))
    array([1., 3., 5., 3.])
    """
    return _convolution.fftconvolve(in1, in2, mode, axes)


@_signal
def oaconvolve(in1, in2, mode='full', axes=None):
    """The N-dimensional convolution, by the path that costs less, as ``scipy.signal.oaconvolve``.

    Parameters
    ----------
    {inputs}
    {mode}
    {axes}

    Returns
    -------
    {out}

    Examples
    --------
    >>> import numpy as np
    >>> from vlmathdsp.scipy import signal
    >>> signal.oaconvolve(np.array([1.0, 2.0, 3.0]), np.array([1.0, 1.0]), mode='valid')
    array([3., 5.])
    """
    return _convolution.oaconvolve(in1, in2, mode, axes)


@face(scipy.signal.lfilter, _SECTIONS, small=(3, _filters.LFILTER_OF_VECTORS))
def lfilter(b, a, x, axis=-1, zi=None):
    """The rational transfer function b / a applied along one axis, as ``scipy.signal.lfilter``.

    Parameters
    ----------
    b, a : array_like
        Numerator and denominator coefficients (1-d); a[0] must not be 0.
    x : array_like
        The data.
    {axis_zi}

    Returns
    -------
    {filtered}

    Examples
    --------
    >>> import numpy as np
    >>> from vlmathdsp.scipy import signal
    >>> signal.lfilter([1.0], [1.0, -0.5], np.ones(4))
    array([1.   , 1.5  , 1.75 , 1.875])
    """
    return _filters.lfilter(b, a, x, axis, zi)


@_signal
def sosfilt(sos, x, axis=-1, zi=None):
    """A cascade of second-order sections applied along one axis, as ``scipy.signal.sosfilt``.

    Parameters
    ----------
    sos : array_like, (n_sections, 6)
        Each row b0, b1, b2, 1, a1, a2.
    x : array_like
        The data.
    {axis_zi}

    Returns
    -------
    {filtered}

    Examples
    --------
    >>> import numpy as np
    >>> from vlmathdsp.scipy import signal
    >>> signal.sosfilt([[1.0, 0.0, 0.0, 1.0, -0.5, 0.0]], np.ones(4))
    array([1.   , 1.5  , 1.75 , 1.875])
    """
    return _filters.sosfilt(sos, x, axis, zi)


@_signal
def dlsim(system, u, t=None, x0=None):
    """The response of a discrete-time system to the input u, as ``scipy.signal.dlsim``.

    Parameters
    ----------
    system : dlti or tuple
        (num, den, dt), (zeros, poles, gain, dt) or (A, B, C, D, dt).
    u : array_like
        One row per step.
    t : None, optional
        Other times are SciPy's.
    x0 : array_like, optional
        The initial state (default zeros).

    Returns
    -------
    tout : ndarray
        The times.
    yout : ndarray
        The outputs, one row per step.
    xout : ndarray
        The states, one row per step.

    Examples
    --------
    >>> import numpy as np
    >>> from vlmathdsp.scipy import signal
    >>> signal.dlsim(([1.0], [1.0, -0.5], 1.0), np.ones(4))[1].ravel()
    array([0.  , 1.  , 1.5 , 1.75])
    """
    return _filters.dlsim(system, u, t, x0)


_LFILTER_ZI, _SOSFILT_ZI = scipy.signal.lfilter_zi, scipy.signal.sosfilt_zi


def lfilter_zi(b, a):
    """SciPy's lfilter_zi: the zi of lfilter at the steady state of a unit step.

    Parameters
    ----------
    b, a : array_like
        The filter's coefficients.

    Returns
    -------
    zi : ndarray
        For lfilter(b, a, x, zi=zi * x[0]).

    Examples
    --------
    >>> from vlmathdsp.scipy import signal
    >>> signal.lfilter_zi([1.0], [1.0, -0.5])
    array([1.])
    """
    return _LFILTER_ZI(b, a)


def sosfilt_zi(sos):
    """SciPy's sosfilt_zi: the zi of sosfilt at the steady state of a unit step.

    Parameters
    ----------
    sos : array_like, (n_sections, 6)

    Returns
    -------
    zi : ndarray, (n_sections, 2)

    Examples
    --------
    >>> from vlmathdsp.scipy import signal
    >>> signal.sosfilt_zi([[1.0, 0.0, 0.0, 1.0, -0.5, 0.0]])
    array([[1., 0.]])
    """
    return _SOSFILT_ZI(sos)


__all__ = ["convolve", "correlate", "convolve2d", "correlate2d", "fftconvolve", "oaconvolve", "lfilter",
           "lfilter_zi", "lfiltic", "sosfilt", "sosfilt_zi", "filtfilt", "sosfiltfilt", "dlsim", "decimate",
           "resample", "resample_poly", "upfirdn", "hilbert", "hilbert2", "welch", "csd", "periodogram", "coherence",
           "spectrogram", "stft", "istft"]


def __dir__():
    return sorted(__all__)
