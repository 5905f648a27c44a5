"""scipy.signal's zero-phase filtering and initial conditions: the signal extended at both ends,
filtered forward and backward by the engine's filter from steady-state initial conditions."""

import numpy as np
import scipy.signal

from . import _filters
from ._face import faces_of
from ._layout import Unsupported, axis_index, take

_signal = faces_of(scipy.signal, "vlmathdsp.scipy.signal")
_PADTYPES = ("even", "odd", "constant", None)


def _reverse(x, axis):
    return take(x, axis, slice(None, None, -1))


def extend_ends(x, axis, kind, n):
    """x with n samples added at each end along axis: 'odd' (point-symmetric about the end
    sample), 'even' (mirrored about it), 'constant' (the end sample repeated) or 'zeros'."""
    if n < 1:
        return x
    if n > x.shape[axis] - 1 and kind in ("odd", "even"):
        raise ValueError(f"The extension length n ({n}) is too big. It must not exceed x.shape[axis]-1, which is "
                         f"{x.shape[axis] - 1}.")
    first, last = take(x, axis, slice(0, 1)), take(x, axis, slice(-1, None))
    if kind == "zeros":
        left = right = np.zeros_like(np.repeat(first, n, axis=axis))
    elif kind == "constant":
        left, right = np.repeat(first, n, axis=axis), np.repeat(last, n, axis=axis)
    else:
        left = take(x, axis, slice(n, 0, -1))
        right = take(x, axis, slice(-2, -(n + 2), -1))
        if kind == "odd":
            left, right = 2 * first - left, 2 * last - right
    return np.concatenate((left, x, right), axis=axis)


def _extended(x, axis, padtype, padlen, taps):
    """(edge, x extended by edge samples at each end as padtype says)."""
    if padtype not in _PADTYPES:
        raise ValueError(f"Unknown value '{padtype}' given to padtype. padtype must be 'even', 'odd', 'constant', "
                         "or None.")
    edge = 0 if padtype is None else (3 * taps if padlen is None else int(padlen))
    if x.shape[axis] <= edge:
        raise ValueError(f"The length of the input vector x must be greater than padlen, which is {edge}.")
    return edge, (x if edge < 1 else extend_ends(x, axis, padtype, edge))


def _states(zi, ndim, axis, leading=()):
    """SciPy's steady-state zi, shaped to broadcast against x's first (or last) sample."""
    shape = [1] * ndim
    shape[axis] = zi.shape[-1]
    return zi.reshape(tuple(leading) + tuple(shape))


def _forward_backward(run, ext, axis, zi, edge):
    """run(data, initial conditions) forward over ext, then backward over its result, each
    from zi times its first sample, with the edge samples at each end cut off."""
    y = run(ext, zi * take(ext, axis, slice(0, 1)))
    y = _reverse(run(_reverse(y, axis), zi * take(y, axis, slice(-1, None))), axis)
    return take(y, axis, slice(edge, -edge)) if edge > 0 else y


@_signal
def filtfilt(b, a, x, axis=-1, padtype='odd', padlen=None, method='pad', irlen=None):
    """The filter b / a applied forward and then backward, for zero phase, as
    ``scipy.signal.filtfilt``: x extended at both ends, and each pass started at the steady state
    of its first sample.

    Parameters
    ----------
    b, a : array_like
        The filter's coefficients (1-d).
    x : array_like
        The data.
    axis : int, optional
        The axis to filter along (default -1).
    padtype : {'odd', 'even', 'constant', None}, optional
        The extension at the ends (default 'odd'); None for none.
    padlen : int, optional
        Samples added at each end (default 3 max(len(a), len(b))).
    method : {'pad', 'gust'}, optional
        'pad' (default); Gustafsson's method is SciPy's.
    irlen : int, optional
        For 'gust' only.

    Returns
    -------
    y : ndarray
        The filtered data, of the dtype lfilter gives.

    Examples
    --------
    >>> import numpy as np
    >>> from vlmathdsp.scipy import signal
    >>> signal.filtfilt([0.5, 0.5], [1.0], np.array([0.0, 0.0, 4.0, 0.0, 0.0, 0.0, 0.0, 0.0]))
    array([0., 1., 2., 1., 0., 0., 0., 0.])
    """
    if method not in ("pad", "gust"):
        raise ValueError(f"method must be 'pad' or 'gust': method={method!r}")
    if method == "gust":
        raise Unsupported
    b, a, x = np.atleast_1d(b), np.atleast_1d(a), np.asarray(x)
    if b.ndim != 1 or a.ndim != 1 or x.ndim == 0:
        raise Unsupported
    axis = axis_index(axis, x.ndim)
    edge, ext = _extended(x, axis, padtype, padlen, max(len(a), len(b)))
    zi = _states(scipy.signal.lfilter_zi(b, a), x.ndim, axis)
    return _forward_backward(lambda data, z: _filters.lfilter(b, a, data, axis, z)[0], ext, axis, zi, edge)


@_signal
def sosfiltfilt(sos, x, axis=-1, padtype='odd', padlen=None):
    """A cascade of second-order sections applied forward and then backward, for zero phase, as
    ``scipy.signal.sosfiltfilt``.

    Parameters
    ----------
    sos : array_like, (n_sections, 6)
        Each row b0, b1, b2, 1, a1, a2.
    x : array_like
        The data.
    axis : int, optional
        The axis to filter along (default -1).
    padtype : {'odd', 'even', 'constant', None}, optional
        The extension at the ends (default 'odd'); None for none.
    padlen : int, optional
        Samples added at each end (default 3 (2 n_sections + 1), less the sections' zero
        coefficients).

    Returns
    -------
    y : ndarray
        The filtered data.

    Examples
    --------
    >>> import numpy as np
    >>> from vlmathdsp.scipy import signal
    >>> signal.sosfiltfilt([[0.5, 0.5, 0.0, 1.0, 0.0, 0.0]], np.array([0.0, 0.0, 4.0, 0.0, 0.0, 0.0, 0.0]))
    array([0., 1., 2., 1., 0., 0., 0.])
    """
    sos, x = _filters.as_sections(sos), np.asarray(x)
    if x.ndim == 0 or sos.shape[0] == 0:
        raise Unsupported
    axis = axis_index(axis, x.ndim)
    sections = sos.shape[0]
    taps = 2 * sections + 1 - min(int((sos[:, 2] == 0).sum()), int((sos[:, 5] == 0).sum()))
    edge, ext = _extended(x, axis, padtype, padlen, taps)
    zi = _states(scipy.signal.sosfilt_zi(sos), x.ndim, axis, (sections,))
    return _forward_backward(lambda data, z: _filters.sosfilt(sos, data, axis, z)[0], ext, axis, zi, edge)


@_signal
def lfiltic(b, a, y, x=None):
    """The initial conditions of lfilter's state for given past outputs and inputs, as
    ``scipy.signal.lfiltic``: zi[m] = (sum over k > m of b[k] x[k - m - 1] less a[k] y[k - m - 1])
    / a[0].

    Parameters
    ----------
    b, a : array_like
        The filter's coefficients (1-d).
    y : array_like
        Past outputs, the latest first (missing ones are 0).
    x : array_like, optional
        Past inputs, the latest first (default all 0).

    Returns
    -------
    zi : ndarray
        max(len(a), len(b)) - 1 states, of the arguments' common floating dtype.

    Examples
    --------
    >>> from vlmathdsp.scipy import signal
    >>> signal.lfiltic([1.0], [1.0, -0.5], [2.0])
    array([1.])
    """
    b, a, y = np.atleast_1d(np.asarray(b)), np.atleast_1d(np.asarray(a)), np.asarray(y)
    given = (b, a, y) if x is None else (b, a, y, np.asarray(x))
    dtype = np.result_type(*given)
    if dtype.kind in "bui":
        dtype = np.dtype(np.float64)
    if dtype.kind not in "fc" or b.ndim != 1 or a.ndim != 1:
        raise Unsupported
    m, n = len(b) - 1, len(a) - 1
    past_x = np.zeros(m, dtype)
    if x is not None:
        xs = np.asarray(x, dtype).reshape(-1)[:m]
        past_x[:xs.size] = xs
    past_y = np.zeros(n, dtype)
    ys = y.astype(dtype).reshape(-1)[:n]
    past_y[:ys.size] = ys
    zi = np.zeros(max(m, n), dtype)
    for k in range(m):
        zi[k] = np.sum(b[k + 1:] * past_x[:m - k])
    for k in range(n):
        zi[k] -= np.sum(a[k + 1:] * past_y[:n - k])
    return zi / a[0]
