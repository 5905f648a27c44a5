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
transforms' rounding. Results do not depend on the thread count.
"""

import functools

from . import _convolution, _filters
from ._layout import Unsupported


def _face(implementation, summary, signature):
    name = implementation.__name__

    @functools.wraps(implementation)
    def function(*args, **kwargs):
        try:
            return implementation(*args, **kwargs)
        except Unsupported:
            import scipy.signal
            return getattr(scipy.signal, name)(*args, **kwargs)

    function.__doc__ = f"""{name}{signature}

    {summary}

    As ``scipy.signal.{name}``, computed by this library; see the module's docstring for where
    it differs. Parameters, results and errors are SciPy's.
    """
    return function


convolve = _face(_convolution.convolve, "The N-dimensional convolution of in1 and in2.",
                 "(in1, in2, mode='full', method='auto')")
correlate = _face(_convolution.correlate, "The N-dimensional cross-correlation of in1 and in2.",
                  "(in1, in2, mode='full', method='auto')")
convolve2d = _face(_convolution.convolve2d, "The two-dimensional convolution of in1 and in2.",
                   "(in1, in2, mode='full', boundary='fill', fillvalue=0)")
correlate2d = _face(_convolution.correlate2d, "The two-dimensional cross-correlation of in1 and in2.",
                    "(in1, in2, mode='full', boundary='fill', fillvalue=0)")
fftconvolve = _face(_convolution.fftconvolve, "The N-dimensional convolution, by the faster path.",
                    "(in1, in2, mode='full', axes=None)")
oaconvolve = _face(_convolution.oaconvolve, "The N-dimensional convolution, by the faster path.",
                   "(in1, in2, mode='full', axes=None)")
lfilter = _face(_filters.lfilter, "A rational transfer function b / a applied along one axis; with zi, (y, zf).",
                "(b, a, x, axis=-1, zi=None)")
sosfilt = _face(_filters.sosfilt, "A cascade of second-order sections applied along one axis; with zi, (y, zf).",
                "(sos, x, axis=-1, zi=None)")
dlsim = _face(_filters.dlsim, "The response of a discrete-time system to the input u: (tout, yout, xout).",
              "(system, u, t=None, x0=None)")


def lfilter_zi(b, a):
    """SciPy's lfilter_zi: the zi of lfilter at the steady state of a unit step."""
    import scipy.signal
    return scipy.signal.lfilter_zi(b, a)


def sosfilt_zi(sos):
    """SciPy's sosfilt_zi: the zi of sosfilt at the steady state of a unit step."""
    import scipy.signal
    return scipy.signal.sosfilt_zi(sos)


__all__ = ["convolve", "correlate", "convolve2d", "correlate2d", "fftconvolve", "oaconvolve", "lfilter",
           "lfilter_zi", "sosfilt", "sosfilt_zi", "dlsim"]
