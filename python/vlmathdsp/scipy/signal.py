"""scipy.signal's convolution and linear filtering over the library's engine, with SciPy's
signatures, defaults and dtype rules::

    from vlmathdsp.scipy import signal
    y = signal.convolve2d(image, kernel, mode="same")
    y, zf = signal.lfilter(b, a, x, zi=zi)

Inputs are brought to their common floating dtype as SciPy does (float32 stays float32; float32
with float64 gives float64). What the engine does not take is passed to SciPy's own function:
integer, boolean, object and long double inputs, empty and 0-d arrays, ``boundary`` other than
"fill" or a non-zero ``fillvalue``, ``axes`` of fftconvolve that are not all of the axes,
coefficient arrays with ``a[0] == 0``, and ``dlsim`` with ``t``.

Where it differs from SciPy: ``convolve`` and ``correlate`` with ``method="auto"``, and
``fftconvolve`` and ``oaconvolve`` always, take the engine's direct sum or its transforms by an
estimate of their cost, so an ``fftconvolve`` may come back exact where SciPy's carries the
transforms' rounding. Single-precision data goes through double-precision transforms. Results do
not depend on the thread count.
"""

import functools

import scipy.signal

from . import _convolution, _filters
from ._docs import docstring
from ._layout import Unsupported


def _face(implementation, signature, summary, parameters, returns, example, output):
    name = implementation.__name__
    scipys = getattr(scipy.signal, name)  # SciPy's own, kept should scipy.signal's name be rebound

    @functools.wraps(implementation)
    def function(*args, **kwargs):
        try:
            return implementation(*args, **kwargs)
        except Unsupported:
            return scipys(*args, **kwargs)

    function.__module__ = __name__
    function.__doc__ = docstring(name, "scipy.signal", signature, summary, parameters, returns, example, output)
    return function


_INPUTS = ["in1, in2 : array_like", "    Of one number of dimensions; their common floating dtype is the result's."]
_MODE = ["mode : {'full', 'valid', 'same'}, optional",
         "    Every overlap (default), where one lies wholly inside the other, or in1's size centred."]
_METHOD = ["method : {'auto', 'direct', 'fft'}, optional",
           "    The exact direct sum, the transforms, or the one that costs less (default)."]
_BOUNDARY = ["boundary : {'fill'}, optional", "    Other boundaries are SciPy's.",
             "fillvalue : scalar, optional", "    0; other values are SciPy's."]
_AXES = ["axes : None or sequence of int, optional", "    All axes; fewer are SciPy's."]
_OUT = ["out : ndarray", "    The convolution's or correlation's part that mode selects."]
_AXIS_ZI = ["axis : int, optional", "    The axis to filter along (default -1).",
            "zi : array_like, optional", "    Initial conditions (see lfilter_zi); with them, the final ones are returned too."]
_FILTERED = ["y : ndarray", "    The filtered data, of the inputs' common floating dtype.",
             "zf : ndarray", "    With zi: the final conditions."]

convolve = _face(_convolution.convolve, "(in1, in2, mode='full', method='auto')",
                 "The N-dimensional convolution of in1 and in2.", _INPUTS + _MODE + _METHOD, _OUT,
                 "signal.convolve(np.array([1.0, 2.0, 3.0]), np.array([0.0, 1.0, 0.5]))",
                 "array([0. , 1. , 2.5, 4. , 1.5])")
correlate = _face(_convolution.correlate, "(in1, in2, mode='full', method='auto')",
                  "The N-dimensional cross-correlation of in1 and in2.", _INPUTS + _MODE + _METHOD, _OUT,
                  "signal.correlate(np.array([1.0, 2.0, 3.0]), np.array([0.0, 1.0, 0.5]), mode='same')",
                  "array([2. , 3.5, 3. ])")
convolve2d = _face(_convolution.convolve2d, "(in1, in2, mode='full', boundary='fill', fillvalue=0)",
                   "The two-dimensional convolution of in1 and in2.", _INPUTS + _MODE + _BOUNDARY, _OUT,
                   "signal.convolve2d(np.eye(3), np.array([[1.0, -1.0]]), mode='same')",
                   "array([[ 1., -1.,  0.],\n       [ 0.,  1., -1.],\n       [ 0.,  0.,  1.]])")
correlate2d = _face(_convolution.correlate2d, "(in1, in2, mode='full', boundary='fill', fillvalue=0)",
                    "The two-dimensional cross-correlation of in1 and in2.", _INPUTS + _MODE + _BOUNDARY, _OUT,
                    "signal.correlate2d(np.eye(3), np.array([[1.0, -1.0]]), mode='valid')",
                    "array([[ 1.,  0.],\n       [-1.,  1.],\n       [ 0., -1.]])")
fftconvolve = _face(_convolution.fftconvolve, "(in1, in2, mode='full', axes=None)",
                    "The N-dimensional convolution, by the path that costs less.", _INPUTS + _MODE + _AXES, _OUT,
                    "signal.fftconvolve(np.array([1.0, 2.0, 3.0]), np.array([1.0, 1.0]))", "array([1., 3., 5., 3.])")
oaconvolve = _face(_convolution.oaconvolve, "(in1, in2, mode='full', axes=None)",
                   "The N-dimensional convolution, by the path that costs less.", _INPUTS + _MODE + _AXES, _OUT,
                   "signal.oaconvolve(np.array([1.0, 2.0, 3.0]), np.array([1.0, 1.0]), mode='valid')",
                   "array([3., 5.])")
lfilter = _face(_filters.lfilter, "(b, a, x, axis=-1, zi=None)",
                "The rational transfer function b / a applied along one axis.",
                ["b, a : array_like", "    Numerator and denominator coefficients (1-d); a[0] must not be 0.",
                 "x : array_like", "    The data."] + _AXIS_ZI, _FILTERED,
                "signal.lfilter([1.0], [1.0, -0.5], np.ones(4))", "array([1.   , 1.5  , 1.75 , 1.875])")
sosfilt = _face(_filters.sosfilt, "(sos, x, axis=-1, zi=None)",
                "A cascade of second-order sections applied along one axis.",
                ["sos : array_like, (n_sections, 6)", "    Each row b0, b1, b2, 1, a1, a2.",
                 "x : array_like", "    The data."] + _AXIS_ZI, _FILTERED,
                "signal.sosfilt([[1.0, 0.0, 0.0, 1.0, -0.5, 0.0]], np.ones(4))", "array([1.   , 1.5  , 1.75 , 1.875])")
dlsim = _face(_filters.dlsim, "(system, u, t=None, x0=None)",
              "The response of a discrete-time system to the input u.",
              ["system : dlti or tuple", "    (num, den, dt), (zeros, poles, gain, dt) or (A, B, C, D, dt).",
               "u : array_like", "    One row per step.", "t : None, optional", "    Other times are SciPy's.",
               "x0 : array_like, optional", "    The initial state (default zeros)."],
              ["tout : ndarray", "    The times.", "yout : ndarray", "    The outputs, one row per step.",
               "xout : ndarray", "    The states, one row per step."],
              "signal.dlsim(([1.0], [1.0, -0.5], 1.0), np.ones(4))[1].ravel()", "array([0.  , 1.  , 1.5 , 1.75])")


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
           "lfilter_zi", "sosfilt", "sosfilt_zi", "dlsim"]


def __dir__():
    return sorted(__all__)
