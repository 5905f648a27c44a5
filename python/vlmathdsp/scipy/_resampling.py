"""scipy.signal's resampling and analytic signals: polyphase FIR filtering on the engine's
convolutions, spectra cut or padded on its transforms."""

import math
import operator

import numpy as np
import scipy.signal

from .. import functions as vm
from . import fft as _fft
from ._face import faces_of
from ._layout import Unsupported, along, axis_index, take
from ._zero_phase import sosfiltfilt
from ._filters import sosfilt as _sosfilt

_signal = faces_of(scipy.signal, "vlmathdsp.scipy.signal")
_ENGINE = (np.float32, np.float64, np.complex64, np.complex128)
# From this step between the samples a phase keeps, the engine's strided convolution computes
# only those; below it, the whole convolution and a slice cost less.
_STRIDED_FROM = 4


def _phase(host, h, start, step, count):
    """Samples start, start + step, ... (count of them, fewer where the full convolution ends)
    of the full convolution of each column of host with h, as rows."""
    full = host.shape[0] + h.size - 1
    if start >= full or count <= 0:
        return np.zeros((host.shape[1], 0), host.dtype)
    last = min(full - 1, start + (count - 1) * step)
    kernel = h.reshape(-1, 1)
    if step >= _STRIDED_FROM:
        r = vm.strided_convn(host, kernel, [float(step), 1.0], [start + 1.0, 1.0], [last + 1.0, float(host.shape[1])])
        return np.asarray(r).reshape(-1, host.shape[1], order="F").T
    r = np.asarray(vm.conv2(host, kernel)).reshape(full, host.shape[1], order="F")
    return r[start:last + 1:step].T


def _upfirdn(h, x, up, down, axis, offset=0, n_out=None):
    """x upsampled by up (zeros between samples), convolved with h, and kept every down-th
    sample from offset: each output is one phase of h (its taps p, p + up, ...) over x, so phase
    by phase on the engine, each output sample taken from the phase that makes it."""
    n_in, taps = x.shape[axis], h.size
    if n_out is None:
        n_out = ((n_in - 1) * up + taps - 1) // down + 1
    moved = np.ascontiguousarray(np.moveaxis(x, axis, -1))
    lead = moved.shape[:-1]
    host = moved.reshape(-1, n_in).T
    g = math.gcd(up, down)
    period, step = up // g, down // g  # outputs r, r + period, ... read one phase at q, q + step, ...
    y = np.zeros((host.shape[1], n_out), x.dtype)
    # Every phase of the same length, with zeros after h: a zero tap still meets its sample, so
    # that a NaN reaches the outputs it reaches in SciPy's.
    h = np.concatenate((h, np.zeros(-taps % up, h.dtype)))
    for r in range(min(period, n_out)):
        p, q = (offset + r * down) % up, (offset + r * down) // up
        count = len(range(r, n_out, period))
        samples = _phase(host, np.ascontiguousarray(h[p::up]), q, step, count)
        y[:, r:r + period * samples.shape[1]:period] = samples
    return np.moveaxis(y.reshape(lead + (n_out,)), -1, axis)


_MODES = ("constant", "symmetric", "reflect", "edge", "wrap", "smooth", "antisymmetric", "antireflect", "line")


def _extended_signal(x, mode, cval, pad):
    """x (samples along the last axis) with pad samples beyond each end, as upfirdn's mode
    defines them (a single sample: the slopes are 0, its reflections itself)."""
    n = x.shape[-1]
    if n < 2 and mode in ("reflect", "smooth", "line", "antireflect"):
        mode = "edge"
    if mode == "constant":
        return np.pad(x, [(0, 0)] * (x.ndim - 1) + [(pad, pad)], constant_values=cval)
    if mode in ("symmetric", "reflect", "edge", "wrap"):
        return np.pad(x, [(0, 0)] * (x.ndim - 1) + [(pad, pad)], mode=mode)
    steps = np.arange(1, pad + 1, dtype=x.real.dtype)
    if mode in ("smooth", "line"):
        if mode == "smooth":
            before, after = x[..., 1:2] - x[..., :1], x[..., -1:] - x[..., -2:-1]
        else:
            before = after = (x[..., -1:] - x[..., :1]) / (n - 1)
        return np.concatenate((x[..., :1] - steps[::-1] * before, x, x[..., -1:] + steps * after), axis=-1)
    e = x
    # antisymmetric: x, -x reversed, x, ...; antireflect: point-reflected about each end sample.
    while e.shape[-1] < n + 2 * pad:
        m = e.shape[-1]
        if mode == "antisymmetric":
            left, right = -e[..., :min(m, pad)][..., ::-1], -e[..., m - min(m, pad):][..., ::-1]
        else:
            k = min(m - 1, pad)
            left = 2 * e[..., :1] - e[..., 1:k + 1][..., ::-1]
            right = 2 * e[..., -1:] - e[..., m - 1 - k:m - 1][..., ::-1]
        e = np.concatenate((left, e, right), axis=-1)
    extra = (e.shape[-1] - n) // 2 - pad
    return e[..., extra:e.shape[-1] - extra]


def _rate(value, name):
    if value != int(value):
        raise ValueError(f"{name} must be an integer: {name}={value!r}")
    return int(value)


@_signal
def upfirdn(h, x, up=1, down=1, axis=-1, mode='constant', cval=0):
    """Upsample, FIR filter and downsample, as ``scipy.signal.upfirdn``.

    Parameters
    ----------
    h : array_like
        The FIR filter (1-d, not empty).
    x : array_like
        The signal.
    up, down : int, optional
        The rates (default 1).
    axis : int, optional
        The axis (default -1).
    mode : str, optional
        'constant' (default); other extensions are SciPy's.
    cval : scalar, optional
        0 (default); other values are SciPy's.

    Returns
    -------
    y : ndarray
        ((len(x) - 1) up + len(h) - 1) // down + 1 samples along axis, of the common dtype of
        h, x and float32.

    Examples
    --------
    >>> import numpy as np
    >>> from vlmathdsp.scipy import signal
    >>> signal.upfirdn([1.0, 1.0, 1.0], np.array([1.0, 2.0, 3.0]), up=3)
    array([1., 1., 1., 2., 2., 2., 3., 3., 3.])
    """
    h, x = np.asarray(h), np.asarray(x)
    if h.ndim != 1 or h.size == 0:
        raise ValueError(f"h must be 1-D with non-zero length: h of shape {h.shape}")
    up, down = int(up), int(down)
    if up < 1 or down < 1:
        raise ValueError(f"Both up and down must be >= 1: up={up}, down={down}")
    dtype = np.result_type(h.dtype, x.dtype, np.float32)
    mode = mode.lower() if isinstance(mode, str) else mode
    if mode not in _MODES:
        raise ValueError(f"Unknown mode: mode={mode!r}")
    if dtype.type not in _ENGINE or x.ndim == 0 or x.size == 0:
        raise Unsupported
    axis = axis_index(axis, x.ndim)
    h, x = h.astype(dtype), x.astype(dtype)
    if mode == "constant" and cval == 0:
        return _upfirdn(h, x, up, down, axis)
    # The samples beyond the ends that reach an output, made as the mode makes them; the
    # outputs then start where x's own first output stands.
    pad = (h.size - 1) // up
    extended = _extended_signal(np.moveaxis(x, axis, -1), mode, cval, pad)
    n_out = ((x.shape[axis] - 1) * up + h.size - 1) // down + 1
    return _upfirdn(h, np.moveaxis(extended, -1, axis), up, down, axis, pad * up, n_out)


@_signal
def resample_poly(x, up, down, axis=0, window=('kaiser', 5.0), padtype='constant', cval=None):
    """x resampled by up / down with a polyphase FIR filter, as ``scipy.signal.resample_poly``:
    a low-pass of cutoff 1 / max(up, down) designed with window (or window itself as the
    filter), centred so that output n lies at input n down / up.

    Parameters
    ----------
    x : array_like
        The signal.
    up, down : int
        The rates.
    axis : int, optional
        The axis (default 0).
    window : str, tuple or array_like, optional
        The design's window (default ('kaiser', 5.0)), or the filter's taps.
    padtype : str, optional
        'constant' (default, with cval), or 'mean', 'median', 'minimum', 'maximum' (that value
        removed and restored); SciPy's other extensions are SciPy's.
    cval : float, optional
        The constant beyond the ends (default 0).

    Returns
    -------
    y : ndarray
        ceil(len(x) up / down) samples along axis.

    Examples
    --------
    >>> import numpy as np
    >>> from vlmathdsp.scipy import signal
    >>> signal.resample_poly(np.ones(8), 1, 2, window=[0.25, 0.5, 0.25])
    array([0.75, 1.  , 1.  , 1.  ])
    """
    x = np.asarray(x)
    up, down = _rate(up, "up"), _rate(down, "down")
    if up < 1 or down < 1:
        raise ValueError(f"up and down must be >= 1: up={up}, down={down}")
    if cval is not None and padtype != "constant":
        raise ValueError(f"cval has no effect when padtype is {padtype!r}")
    backgrounds = {"mean": np.mean, "median": np.median, "minimum": np.amin, "maximum": np.amax}
    if padtype not in _MODES and padtype not in backgrounds:
        raise ValueError(f"padtype must be one of: maximum, mean, median, minimum, {', '.join(_MODES)}: "
                         f"padtype={padtype!r}")
    if x.dtype.type not in _ENGINE or x.ndim == 0:
        raise Unsupported  # SciPy's dtypes
    g = math.gcd(up, down)
    up, down = up // g, down // g
    if up == down == 1:
        return x.copy()
    axis = axis_index(axis, x.ndim)
    n_in = x.shape[axis]
    n_out = -(-n_in * up // down)
    if isinstance(window, (list, np.ndarray)):
        h = np.array(window)
        if h.ndim > 1:
            raise ValueError(f"window must be 1-D: window of shape {h.shape}")
        half = (h.size - 1) // 2
    else:
        half = 10 * max(up, down)
        h = scipy.signal.firwin(2 * half + 1, 1.0 / max(up, down), window=window).astype(x.dtype)
    h = h * up
    # Zeros before h put output n at input n down / up; zeros after, enough outputs to keep.
    before = down - half % down
    skip = (half + before) // down
    after = 0
    while ((n_in - 1) * up + h.size + before + after - 1) // down + 1 < n_out + skip:
        after += 1
    h = np.concatenate((np.zeros(before, h.dtype), h, np.zeros(after, h.dtype)))
    background, mode = None, "constant"
    if padtype in backgrounds:
        background = backgrounds[padtype](x, axis=axis, keepdims=True)
        x = x - background
    else:
        mode = padtype
    y = upfirdn.__wrapped__(h, x, up, down, axis, mode, 0 if cval is None else cval)
    y = take(y, axis, slice(skip, skip + n_out))
    return y + background if background is not None else y


def _spectrum_resized(X, num, n, axis, real):
    """The spectrum X of n samples cut or padded to num, the Nyquist term split or joined so
    that the result is the band-limited interpolation (real: X is a half spectrum)."""
    shape = list(X.shape)
    shape[axis] = num // 2 + 1 if real else num
    Y = np.zeros(shape, X.dtype)
    m = min(num, n)
    kept = m // 2 + 1

    def at(index):
        return along(X.ndim, axis, index)
    Y[at(slice(0, kept))] = X[at(slice(0, kept))]
    if not real and m > 2:
        Y[at(slice(kept - m, None))] = X[at(slice(kept - m, None))]
    if m % 2 == 0:
        nyquist = at(slice(m // 2, m // 2 + 1))
        if num < n:
            if real:
                Y[nyquist] *= 2
            else:
                Y[at(slice(-m // 2, -m // 2 + 1))] += X[at(slice(-m // 2, -m // 2 + 1))]
        elif n < num:
            Y[nyquist] *= 0.5
            if not real:
                Y[at(slice(num - m // 2, num - m // 2 + 1))] = Y[nyquist]
    return Y


@_signal
def resample(x, num, t=None, axis=0, window=None, domain='time'):
    """x resampled to num samples by the Fourier method, as ``scipy.signal.resample``.

    Parameters
    ----------
    x : array_like
        The signal (or its spectrum, with domain='freq').
    num : int
        Samples in the result.
    t : array_like, optional
        Sample times, whose resampled ones are returned too.
    axis : int, optional
        The axis (default 0).
    window : array_like, callable, str or tuple, optional
        A weighting of the spectrum.
    domain : {'time', 'freq'}, optional
        What x holds (default 'time').

    Returns
    -------
    y : ndarray
        The resampled signal.
    new_t : ndarray
        With t: the new times.

    Examples
    --------
    >>> import numpy as np
    >>> from vlmathdsp.scipy import signal
    >>> signal.resample(np.array([0.0, 1.0, 0.0, -1.0]), 8).round(6)
    array([ 0.      ,  0.707107,  1.      ,  0.707107,  0.      , -0.707107,
           -1.      , -0.707107])
    """
    if domain not in ("time", "freq"):
        raise ValueError(f"Acceptable domain flags are 'time' or 'freq', not domain={domain!r}")
    x = np.asarray(x)
    if x.dtype.type not in _ENGINE + (np.int8, np.int16, np.int32, np.int64) or x.ndim == 0 or x.size == 0:
        raise Unsupported
    num = operator.index(num)
    axis = axis_index(axis, x.ndim)
    n = x.shape[axis]
    real = np.isrealobj(x)
    if domain == "time":
        X = _fft.rfft(x, axis=axis) if real else _fft.fft(x, axis=axis)
    else:
        X = np.array(x)  # weighted below: the caller's spectrum stays as it was
    if window is not None:
        if callable(window):
            W = window(_fft.fftfreq(n))
        elif isinstance(window, np.ndarray):
            if window.shape != (n,):
                raise ValueError(f"window must have the same length as data: window of shape {window.shape}")
            W = window
        else:
            W = _fft.ifftshift(scipy.signal.get_window(window, n))
        shape = [1] * x.ndim
        shape[axis] = X.shape[axis]
        if real:  # the window folded onto the half spectrum, as a full one would weigh both halves
            folded = W.copy()
            folded[1:] += folded[-1:0:-1]
            folded[1:] *= 0.5
            X *= folded[:X.shape[axis]].reshape(shape)  # in place: the spectrum keeps its precision
        else:
            X *= W.reshape(shape)
    Y = _spectrum_resized(X, num, n, axis, real)
    y = _fft.irfft(Y, num, axis=axis) if real else _fft.ifft(Y, axis=axis)
    y *= float(num) / float(n)
    if t is None:
        return y
    return y, np.arange(0, num) * (t[1] - t[0]) * n / float(num) + t[0]


@_signal
def decimate(x, q, n=None, ftype='iir', axis=-1, zero_phase=True):
    """x low-pass filtered and kept every q-th sample, as ``scipy.signal.decimate``.

    Parameters
    ----------
    x : array_like
        The signal.
    q : int
        The downsampling factor.
    n : int, optional
        The filter's order (default 8 for 'iir', 20 q for 'fir').
    ftype : {'iir', 'fir'} or dlti, optional
        A Chebyshev type I filter (default), a Hamming-window FIR, or the given system.
    axis : int, optional
        The axis (default -1).
    zero_phase : bool, optional
        Filter forward and backward (default True).

    Returns
    -------
    y : ndarray
        The downsampled signal.

    Examples
    --------
    >>> import numpy as np
    >>> from vlmathdsp.scipy import signal
    >>> signal.decimate(np.cos(np.pi / 8 * np.arange(64)), 2)[10:14].round(3)
    array([-0.   , -0.703, -0.997, -0.703])
    """
    x = np.asarray(x)
    q = operator.index(q)
    n = None if n is None else operator.index(n)
    dtype = x.dtype if (x.dtype.kind in "fc" and x.dtype != np.float16) else np.dtype(np.float64)
    if dtype.type not in _ENGINE or x.ndim == 0:
        raise Unsupported
    axis = axis_index(axis, x.ndim)
    if ftype == "fir":
        b = np.asarray(scipy.signal.firwin((20 * q if n is None else n) + 1, 1.0 / q, window="hamming"), dtype)
        if zero_phase:
            return resample_poly.__wrapped__(x, 1, q, axis=axis, window=b)
        y = upfirdn.__wrapped__(b, x, 1, q, axis)
        kept = slice(None, x.shape[axis] // q + bool(x.shape[axis] % q))
    elif ftype == "iir" or isinstance(ftype, scipy.signal.dlti):
        if ftype == "iir":
            sos = scipy.signal.cheby1(8 if n is None else n, 0.05, 0.8 / q, output="sos")
        else:
            system = ftype.to_zpk()
            sos = scipy.signal.zpk2sos(system.zeros, system.poles, system.gain)
        sos = np.asarray(sos, dtype)
        y = sosfiltfilt.__wrapped__(sos, x, axis) if zero_phase else _sosfilt(sos, x, axis)
        kept = slice(None, None, q)
    else:
        raise ValueError(f"invalid ftype: ftype={ftype!r}")
    return take(y, axis, kept)


def _analytic(n):
    """The spectrum's weights of the analytic signal of n samples: 1 at 0 (and n / 2), 2 over
    the positive frequencies, 0 over the negative."""
    h = np.zeros(n)
    h[0] = 1
    h[1:(n + 1) // 2] = 2
    if n % 2 == 0:
        h[n // 2] = 1
    return h


@_signal
def hilbert(x, N=None, axis=-1):
    """The analytic signal x + i H(x), H the Hilbert transform, as ``scipy.signal.hilbert``:
    the negative frequencies removed and the positive ones doubled.

    Parameters
    ----------
    x : array_like
        Real data.
    N : int, optional
        Points of the transforms (default the axis' length).
    axis : int, optional
        The axis (default -1).

    Returns
    -------
    xa : ndarray
        Complex, N samples along axis.

    Examples
    --------
    >>> import numpy as np
    >>> from vlmathdsp.scipy import signal
    >>> signal.hilbert(np.array([1.0, 0.0, -1.0, 0.0])).round(12)
    array([ 1.+0.j,  0.+1.j, -1.+0.j,  0.-1.j])
    """
    x = np.asarray(x)
    if np.iscomplexobj(x):
        raise ValueError("x must be real.")
    if x.ndim == 0 or x.size == 0:
        raise Unsupported
    axis = axis_index(axis, x.ndim)
    n = x.shape[axis] if N is None else operator.index(N)
    if n <= 0:
        raise ValueError(f"N must be positive: N={n}")
    # The half spectrum holds every weighted term: doubled, then an inverse of the full length.
    half = _fft.rfft(x, n, axis=axis)
    shape = [1] * x.ndim
    shape[axis] = half.shape[axis]
    half *= _analytic(n)[:half.shape[axis]].reshape(shape).astype(half.real.dtype)
    full = list(half.shape)
    full[axis] = n
    spectrum = np.zeros(full, half.dtype)
    spectrum[along(x.ndim, axis, slice(0, half.shape[axis]))] = half
    return _fft.ifft(spectrum, axis=axis)


@_signal
def hilbert2(x, N=None):
    """The two-dimensional analytic signal, as ``scipy.signal.hilbert2``.

    Parameters
    ----------
    x : array_like
        Real, two-dimensional.
    N : int or tuple of two ints, optional
        Points of the transforms (default x's shape).

    Returns
    -------
    xa : ndarray
        Complex.

    Examples
    --------
    >>> import numpy as np
    >>> from vlmathdsp.scipy import signal
    >>> signal.hilbert2(np.ones((2, 2)))
    array([[1.+0.j, 1.+0.j],
           [1.+0.j, 1.+0.j]])
    """
    x = np.atleast_2d(x)
    if x.ndim > 2:
        raise ValueError(f"x must be 2-D: x of shape {x.shape}")
    if np.iscomplexobj(x):
        raise ValueError("x must be real.")
    if x.size == 0:
        raise Unsupported
    if N is None:
        N = x.shape
    elif isinstance(N, int):
        if N <= 0:
            raise ValueError(f"N must be positive: N={N}")
        N = (N, N)
    elif len(N) != 2 or np.any(np.asarray(N) <= 0):
        raise ValueError(f"When given as a tuple, N must hold exactly two positive integers: N={N!r}")
    spectrum = _fft.fft2(x, N, axes=(0, 1))
    h = _analytic(N[0])[:, np.newaxis] * _analytic(N[1])[np.newaxis, :]
    return _fft.ifft2(spectrum * h.astype(spectrum.real.dtype), axes=(0, 1))
