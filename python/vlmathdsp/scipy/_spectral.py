"""scipy.signal's spectral analysis: the signal cut into overlapping segments, each detrended and
windowed, all transformed in one call of the engine's transforms; the densities, spectra and
short-time transforms from those."""

import warnings

import numpy as np
import scipy.signal
from numpy.lib.stride_tricks import as_strided

from . import fft as _fft
from ._face import faces_of
from ._layout import Unsupported, take
from ._zero_phase import extend_ends

_signal = faces_of(scipy.signal, "vlmathdsp.scipy.signal")
_BOUNDARIES = ("even", "odd", "constant", "zeros", None)
_ENGINE = (np.float32, np.float64, np.complex64, np.complex128)


def _window(window, nperseg, length):
    """(the window, nperseg): a named window of nperseg samples (256 by default, at most the
    input's length), or the given samples."""
    if isinstance(window, (str, tuple)):
        nperseg = 256 if nperseg is None else nperseg
        if nperseg > length:
            warnings.warn(f"nperseg = {nperseg:d} is greater than input length  = {length:d}, using nperseg = "
                          f"{length:d}", stacklevel=4)
            nperseg = length
        return scipy.signal.get_window(window, nperseg), nperseg
    win = np.asarray(window)
    if win.ndim != 1:
        raise ValueError(f"window must be 1-D: window of shape {win.shape}")
    if length < win.shape[0]:
        raise ValueError(f"window is longer than input signal: {win.shape[0]} > {length}")
    if nperseg is not None and nperseg != win.shape[0]:
        raise ValueError(f"value specified for nperseg is different from length of window: nperseg={nperseg}, "
                         f"window of {win.shape[0]}")
    return win, win.shape[0]


def _without_mean(frames):
    """The segments less their means, as scipy.signal.detrend's 'constant' makes them."""
    return np.subtract(frames, frames.mean(axis=-1, keepdims=True))


def _detrender(detrend):
    if not detrend:
        return None
    if callable(detrend):
        return detrend
    if detrend == "constant":
        return _without_mean
    return lambda d: scipy.signal.detrend(d, type=detrend, axis=-1)


def _segments(x, nperseg, noverlap):
    """The overlapping segments of x's last axis, as a view: (..., count, nperseg)."""
    if nperseg == 1 and noverlap == 0:
        return x[..., np.newaxis]
    step = nperseg - noverlap
    shape = x.shape[:-1] + ((x.shape[-1] - noverlap) // step, nperseg)
    strides = x.strides[:-1] + (step * x.strides[-1], x.strides[-1])
    return as_strided(x, shape=shape, strides=strides, writeable=False)


def _transformed(x, win, detrend, nperseg, noverlap, nfft, onesided):
    """The transforms of the detrended, windowed segments: (..., count, frequencies)."""
    frames = _segments(x, nperseg, noverlap)
    if detrend is not None:
        frames = detrend(frames)
    if detrend is _without_mean and frames.dtype == np.result_type(frames, win):
        frames *= win  # a new array already
    else:
        frames = frames * win
    if onesided:
        return _fft.rfft(frames, n=nfft)
    X = _fft.fft(frames, n=nfft)
    if np.isrealobj(frames):  # the transform of real data is real at 0 and n / 2: no signed zero there
        X.imag[..., 0] += 0.0
        if nfft % 2 == 0:
            X.imag[..., nfft // 2] += 0.0
    return X


def _helper(x, y, fs, window, nperseg, noverlap, nfft, detrend, return_onesided, scaling, axis, mode,
            boundary=None, padded=False, mean=False):
    """(frequencies, segment times, the scaled products conj(X) Y or the scaled transforms X), the
    segments' axis last and the frequencies' before it, as SciPy's spectral functions compute
    them. With mean, the products' mean over the segments, summed as they are formed, in a
    segments' axis of one."""
    if mode not in ("psd", "stft"):
        raise ValueError(f"Unknown value for mode {mode}, must be one of: {{'psd', 'stft'}}")
    if boundary not in _BOUNDARIES:
        raise ValueError(f"Unknown boundary option '{boundary}', must be one of: {list(_BOUNDARIES)}")
    same = y is x
    if not same and mode != "psd":
        raise ValueError("x and y must be equal if mode is 'stft'")
    axis = int(axis)
    x = np.asarray(x)
    if not same:
        y = np.asarray(y)
    outdtype = np.result_type(x, np.complex64) if same else np.result_type(x, y, np.complex64)
    if outdtype.type not in (np.complex64, np.complex128) or x.ndim == 0 or x.size == 0 or \
            (not same and y.size == 0):
        raise Unsupported
    if not same and x.shape != y.shape:
        raise Unsupported  # broadcasting and zero-padding of unequal inputs: SciPy's
    if x.ndim > 1 and axis != -1:
        x = np.moveaxis(x, axis, -1)
        if not same:
            y = np.moveaxis(y, axis, -1)
    if nperseg is not None:
        nperseg = int(nperseg)
        if nperseg < 1:
            raise ValueError(f"nperseg must be a positive integer: nperseg={nperseg}")
    win, nperseg = _window(window, nperseg, x.shape[-1])
    if nfft is None:
        nfft = nperseg
    elif nfft < nperseg:
        raise ValueError(f"nfft must be greater than or equal to nperseg: nfft={nfft}, nperseg={nperseg}")
    else:
        nfft = int(nfft)
    noverlap = nperseg // 2 if noverlap is None else int(noverlap)
    if noverlap >= nperseg:
        raise ValueError(f"noverlap must be less than nperseg: noverlap={noverlap}, nperseg={nperseg}")
    step = nperseg - noverlap
    if boundary is not None or padded:
        x = _framed(x, boundary, nperseg, step, padded)
        if not same:
            y = _framed(y, boundary, nperseg, step, padded)
    if np.iscomplexobj(win):
        raise Unsupported  # complex windows: SciPy's
    if np.result_type(win, np.complex64) != outdtype:
        win = win.astype(outdtype.type(0).real.dtype)  # the data's precision
    if scaling == "density":
        scale = 1.0 / (fs * (win * win).sum())
    elif scaling == "spectrum":
        scale = 1.0 / win.sum() ** 2
    else:
        raise ValueError(f"Unknown scaling: {scaling!r}")
    if mode == "stft":
        scale = np.sqrt(scale)
    onesided = bool(return_onesided)
    if onesided and (np.iscomplexobj(x) or (not same and np.iscomplexobj(y))):
        onesided = False
        warnings.warn("Input data is complex, switching to return_onesided=False", stacklevel=4)
    freqs = _fft.rfftfreq(nfft, 1 / fs) if onesided else _fft.fftfreq(nfft, 1 / fs)
    detrender = _detrender(detrend)
    if mode == "stft":  # the transforms are linear: the scale goes into the window
        win, scale = win * scale, 1.0
    X = _transformed(x, win, detrender, nperseg, noverlap, nfft, onesided)
    if mean and mode == "psd" and X.shape[-2] > 1:
        if same:  # the sum over segments of re^2 + im^2, read once
            parts = X.view(X.real.dtype)
            total = np.einsum("...ij,...ij->...j", parts, parts)
            result = (total[..., 0::2] + total[..., 1::2])[..., np.newaxis, :] / X.shape[-2]
        else:
            Y = _transformed(y, win, detrender, nperseg, noverlap, nfft, onesided)
            result = np.einsum("...ij,...ij->...j", np.conjugate(X), Y)[..., np.newaxis, :] / X.shape[-2]
    elif not same:
        result = np.conjugate(X) * _transformed(y, win, detrender, nperseg, noverlap, nfft, onesided)
    elif mode == "psd":
        result = X.real * X.real + X.imag * X.imag
    else:
        result = X
    if scale != 1.0:
        result *= scale
    if onesided and mode == "psd":
        result[..., 1:-1 if nfft % 2 == 0 else None] *= 2
    times = np.arange(nperseg / 2, x.shape[-1] - nperseg / 2 + 1, step) / float(fs)
    if boundary is not None:
        times -= (nperseg / 2) / fs
    result = result.astype(outdtype, copy=False)
    if same and mode != "stft":
        result = result.real
    return freqs, times, np.moveaxis(result, -2, -1)


def _framed(x, boundary, nperseg, step, padded):
    """x with nperseg // 2 samples before and after it as boundary extends it, and zeros after
    those that complete the last segment when padded, made in one array."""
    ext = nperseg // 2 if boundary is not None else 0
    n = x.shape[-1]
    length = n + 2 * ext
    extra = (-(length - nperseg) % step) % nperseg if padded else 0
    if ext == 0 and extra == 0:
        return x
    out = np.zeros(x.shape[:-1] + (length + extra,), x.dtype)
    out[..., ext:ext + n] = x
    if ext and boundary != "zeros":
        if boundary in ("odd", "even") and ext > n - 1:
            extend_ends(x, -1, boundary, ext)  # its error
        out[..., :ext] = extend_ends(x[..., :ext + 1], -1, boundary, ext)[..., :ext]
        out[..., ext + n:length] = extend_ends(x[..., max(n - ext - 1, 0):], -1, boundary, ext)[..., -ext:]
    return out


def _median_bias(n):
    """The median of n chi-squared values of two degrees over their mean, asymptotically."""
    terms = 2 * np.arange(1.0, (n - 1) // 2 + 1)
    return 1 + np.sum(1.0 / (terms + 1) - 1.0 / terms)


def _average(P, average):
    if P.ndim >= 2 and P.size > 0:
        if P.shape[-1] > 1:
            if average == "median":
                middle = np.median(P.real, axis=-1) + 1j * np.median(P.imag, axis=-1) if np.iscomplexobj(P) \
                    else np.median(P, axis=-1)
                return middle / _median_bias(P.shape[-1])
            if average == "mean":
                return P.mean(axis=-1)
            raise ValueError(f'average must be "median" or "mean", got {average}')
        return P.reshape(P.shape[:-1])
    return P


def _put_back(P, axis, ndim):
    """The frequencies' axis (last, the segments averaged away) where the data's axis was."""
    axis = int(axis)
    if P.ndim == 0 or ndim <= 1:
        return P
    return np.moveaxis(P, -1, axis if axis >= 0 else axis)


_SEGMENTS = ["fs : float, optional", "    The sampling frequency (default 1).",
             "window : str, tuple or array_like, optional",
             "    A window for scipy.signal.get_window, or its samples.",
             "nperseg : int, optional", "    Samples per segment (default 256, or the window's length).",
             "noverlap : int, optional", "    Samples shared by neighbouring segments (default nperseg // 2).",
             "nfft : int, optional", "    The transforms' length, with zeros after each segment (default nperseg).",
             "detrend : str, callable or False, optional",
             "    'constant' (default) or 'linear' (scipy.signal.detrend), a function, or none.",
             "return_onesided : bool, optional",
             "    The non-negative frequencies only, for real data (default True).",
             "scaling : {'density', 'spectrum'}, optional",
             "    V**2/Hz (default) or V**2.",
             "axis : int, optional", "    The axis of the samples (default -1)."]
_AVERAGE = ["average : {'mean', 'median'}, optional", "    How segments are combined (default 'mean')."]
_signal_sections = faces_of(scipy.signal, "vlmathdsp.scipy.signal",
                            {"segments": _SEGMENTS, "average": _AVERAGE})


@_signal_sections
def csd(x, y, fs=1.0, window='hann', nperseg=None, noverlap=None, nfft=None, detrend='constant',
        return_onesided=True, scaling='density', axis=-1, average='mean'):
    """The cross power spectral density by Welch's method, as ``scipy.signal.csd``.

    Parameters
    ----------
    x, y : array_like
        Signals of one shape.
    {segments}
    {average}

    Returns
    -------
    f : ndarray
        The frequencies.
    Pxy : ndarray
        The averaged conj(X) Y of the segments, complex.

    Examples
    --------
    >>> import numpy as np
    >>> from vlmathdsp.scipy import signal
    >>> x = np.cos(np.pi / 2 * np.arange(64))
    >>> f, P = signal.csd(x, x, nperseg=8)
    >>> f[np.argmax(P.real)]
    0.25
    """
    freqs, _, P = _helper(x, y, fs, window, nperseg, noverlap, nfft, detrend, return_onesided, scaling, axis,
                          "psd", mean=average == "mean")
    return freqs, _put_back(_average(P, average), axis, np.ndim(x))


@_signal_sections
def welch(x, fs=1.0, window='hann', nperseg=None, noverlap=None, nfft=None, detrend='constant',
          return_onesided=True, scaling='density', axis=-1, average='mean'):
    """The power spectral density by Welch's method, as ``scipy.signal.welch``: the mean (or
    median) of the segments' periodograms.

    Parameters
    ----------
    x : array_like
        The signal.
    {segments}
    {average}

    Returns
    -------
    f : ndarray
        The frequencies.
    Pxx : ndarray
        The power spectral density, real.

    Examples
    --------
    >>> import numpy as np
    >>> from vlmathdsp.scipy import signal
    >>> x = np.cos(np.pi / 2 * np.arange(64))
    >>> f, P = signal.welch(x, nperseg=8)
    >>> f[np.argmax(P)]
    0.25
    """
    x = np.asarray(x)
    freqs, _, P = _helper(x, x, fs, window, nperseg, noverlap, nfft, detrend, return_onesided, scaling, axis, "psd",
                          mean=average == "mean")
    return freqs, _put_back(_average(P, average), axis, x.ndim).real


@_signal
def periodogram(x, fs=1.0, window='boxcar', nfft=None, detrend='constant', return_onesided=True, scaling='density',
                axis=-1):
    """The power spectral density of the whole signal as one segment, as
    ``scipy.signal.periodogram``.

    Parameters
    ----------
    x : array_like
        The signal.
    fs : float, optional
        The sampling frequency (default 1).
    window : str, tuple or array_like, optional
        The window (default 'boxcar').
    nfft : int, optional
        The transform's length (default the signal's; shorter cuts it).
    detrend : str, callable or False, optional
        'constant' (default), 'linear', a function, or none.
    return_onesided : bool, optional
        The non-negative frequencies only, for real data (default True).
    scaling : {'density', 'spectrum'}, optional
        V**2/Hz (default) or V**2.
    axis : int, optional
        The axis of the samples (default -1).

    Returns
    -------
    f : ndarray
        The frequencies.
    Pxx : ndarray
        The power spectral density.

    Examples
    --------
    >>> import numpy as np
    >>> from vlmathdsp.scipy import signal
    >>> signal.periodogram(np.array([1.0, -1.0, 1.0, -1.0]))[1]
    array([0., 0., 4.])
    """
    x = np.asarray(x)
    if x.size == 0:
        raise Unsupported
    window = "boxcar" if window is None else window
    n = x.shape[axis]
    if nfft is None or nfft >= n:
        nperseg = n if nfft is None or nfft > n else nfft
    else:
        x, nperseg, nfft = take(x, axis, slice(None, nfft)), nfft, None
    if hasattr(window, "size") and window.size != nperseg:
        raise ValueError(f"the size of the window must be the same size of the input on the specified axis: "
                         f"window of {window.size}, input of {nperseg}")
    return welch.__wrapped__(x, fs, window, nperseg, 0, nfft, detrend, return_onesided, scaling, axis)


@_signal_sections
def coherence(x, y, fs=1.0, window='hann', nperseg=None, noverlap=None, nfft=None, detrend='constant', axis=-1):
    """The magnitude-squared coherence ``abs(Pxy)**2 / (Pxx * Pyy)`` by Welch's method, as
    ``scipy.signal.coherence``.

    Parameters
    ----------
    x, y : array_like
        Signals of one shape.
    fs : float, optional
        The sampling frequency (default 1).
    window : str, tuple or array_like, optional
        A window for scipy.signal.get_window, or its samples.
    nperseg : int, optional
        Samples per segment (default 256, or the window's length).
    noverlap : int, optional
        Samples shared by neighbouring segments (default nperseg // 2).
    nfft : int, optional
        The transforms' length (default nperseg).
    detrend : str, callable or False, optional
        'constant' (default), 'linear', a function, or none.
    axis : int, optional
        The axis of the samples (default -1).

    Returns
    -------
    f : ndarray
        The frequencies.
    Cxy : ndarray
        The coherence, between 0 and 1.

    Examples
    --------
    >>> import numpy as np
    >>> from vlmathdsp.scipy import signal
    >>> x = np.random.default_rng(0).standard_normal(256)
    >>> bool(np.allclose(signal.coherence(x, 2 * x, nperseg=32)[1], 1.0))
    True
    """
    kw = dict(fs=fs, window=window, nperseg=nperseg, noverlap=noverlap, nfft=nfft, detrend=detrend, axis=axis)
    freqs, Pxx = welch.__wrapped__(x, **kw)
    _, Pyy = welch.__wrapped__(y, **kw)
    _, Pxy = csd.__wrapped__(x, y, **kw)
    return freqs, np.abs(Pxy) ** 2 / Pxx / Pyy


@_signal
def spectrogram(x, fs=1.0, window=('tukey', 0.25), nperseg=None, noverlap=None, nfft=None, detrend='constant',
                return_onesided=True, scaling='density', axis=-1, mode='psd'):
    """The spectra of consecutive segments, as ``scipy.signal.spectrogram``.

    Parameters
    ----------
    x : array_like
        The signal.
    fs : float, optional
        The sampling frequency (default 1).
    window : str, tuple or array_like, optional
        The window (default ('tukey', 0.25)).
    nperseg : int, optional
        Samples per segment (default 256, or the window's length).
    noverlap : int, optional
        Samples shared by neighbouring segments (default nperseg // 8).
    nfft : int, optional
        The transforms' length (default nperseg).
    detrend : str, callable or False, optional
        'constant' (default), 'linear', a function, or none.
    return_onesided : bool, optional
        The non-negative frequencies only, for real data (default True).
    scaling : {'density', 'spectrum'}, optional
        V**2/Hz (default) or V**2.
    axis : int, optional
        The axis of the samples (default -1).
    mode : {'psd', 'complex', 'magnitude', 'angle', 'phase'}, optional
        What each entry holds (default 'psd').

    Returns
    -------
    f : ndarray
        The frequencies.
    t : ndarray
        The segments' centres.
    Sxx : ndarray
        Frequencies along the axis before the last, segments along the last.

    Examples
    --------
    >>> import numpy as np
    >>> from vlmathdsp.scipy import signal
    >>> f, t, S = signal.spectrogram(np.cos(np.pi / 2 * np.arange(64)), nperseg=16)
    >>> S.shape, f[np.argmax(S[:, 0])]
    ((9, 4), 0.25)
    """
    modes = ("psd", "complex", "magnitude", "angle", "phase")
    if mode not in modes:
        raise ValueError(f"unknown value for mode {mode}, must be one of {list(modes)}")
    x = np.asarray(x)
    if x.ndim == 0 or x.size == 0:
        raise Unsupported
    window, nperseg = _window(window, nperseg, x.shape[axis])
    noverlap = nperseg // 8 if noverlap is None else noverlap
    freqs, times, S = _helper(x, x, fs, window, nperseg, noverlap, nfft, detrend, return_onesided, scaling, axis,
                              "psd" if mode == "psd" else "stft")
    S = _put_segments(S, axis, x.ndim)
    if mode == "magnitude":
        S = np.abs(S)
    elif mode in ("angle", "phase"):
        S = np.angle(S)
        if mode == "phase":
            S = np.unwrap(S, axis=axis - 1 if axis < 0 else axis)
    return freqs, times, S


def _put_segments(S, axis, ndim):
    """The frequencies where the data's axis was, the segments last (for a negative axis, the
    frequencies at axis - 1, as the segments' axis is new)."""
    axis = int(axis)
    if ndim <= 1:
        return S
    return np.moveaxis(S, -2, axis - 1 if axis < 0 else axis)


@_signal
def stft(x, fs=1.0, window='hann', nperseg=256, noverlap=None, nfft=None, detrend=False, return_onesided=True,
         boundary='zeros', padded=True, axis=-1, scaling='spectrum'):
    """The short-time Fourier transform, as ``scipy.signal.stft``.

    Parameters
    ----------
    x : array_like
        The signal.
    fs : float, optional
        The sampling frequency (default 1).
    window : str, tuple or array_like, optional
        The window (default 'hann').
    nperseg : int, optional
        Samples per segment (default 256).
    noverlap : int, optional
        Samples shared by neighbouring segments (default nperseg // 2).
    nfft : int, optional
        The transforms' length (default nperseg).
    detrend : str, callable or False, optional
        None by default.
    return_onesided : bool, optional
        The non-negative frequencies only, for real data (default True).
    boundary : {'zeros', 'even', 'odd', 'constant', None}, optional
        nperseg // 2 samples added at each end (default zeros).
    padded : bool, optional
        Zeros after the end so that the segments cover it (default True).
    axis : int, optional
        The axis of the samples (default -1).
    scaling : {'spectrum', 'psd'}, optional
        The transforms scaled as a spectrum (default) or as a density.

    Returns
    -------
    f : ndarray
        The frequencies.
    t : ndarray
        The segments' times.
    Zxx : ndarray
        Complex, frequencies along the axis before the last, segments along the last.

    Examples
    --------
    >>> import numpy as np
    >>> from vlmathdsp.scipy import signal
    >>> f, t, Z = signal.stft(np.ones(32), nperseg=8)
    >>> Z.shape, abs(Z[0, 2].real)
    ((5, 9), 1.0)
    """
    if scaling == "psd":
        scaling = "density"
    elif scaling != "spectrum":
        raise ValueError(f"Parameter scaling={scaling!r} not in ['spectrum', 'psd']!")
    x = np.asarray(x)
    freqs, times, Z = _helper(x, x, fs, window, nperseg, noverlap, nfft, detrend, return_onesided, scaling, axis,
                              "stft", boundary, padded)
    return freqs, times, _put_segments(Z, axis, x.ndim)


@_signal
def istft(Zxx, fs=1.0, window='hann', nperseg=None, noverlap=None, nfft=None, input_onesided=True, boundary=True,
          time_axis=-1, freq_axis=-2, scaling='spectrum'):
    """The inverse short-time Fourier transform by weighted overlap-add, as ``scipy.signal.istft``.

    Parameters
    ----------
    Zxx : array_like
        The transform, at least two-dimensional.
    fs : float, optional
        The sampling frequency (default 1).
    window : str, tuple or array_like, optional
        The window of the forward transform (default 'hann').
    nperseg : int, optional
        Samples per segment (default from the frequencies' count).
    noverlap : int, optional
        Samples shared by neighbouring segments (default nperseg // 2).
    nfft : int, optional
        The transforms' length.
    input_onesided : bool, optional
        Zxx holds the non-negative frequencies of a real signal (default True).
    boundary : bool, optional
        The forward transform extended the signal at its ends (default True).
    time_axis, freq_axis : int, optional
        The axes of the segments and of the frequencies (default -1 and -2).
    scaling : {'spectrum', 'psd'}, optional
        The forward transform's scaling.

    Returns
    -------
    t : ndarray
        The samples' times.
    x : ndarray
        The signal.

    Examples
    --------
    >>> import numpy as np
    >>> from vlmathdsp.scipy import signal
    >>> x = np.random.default_rng(1).standard_normal(64)
    >>> t, y = signal.istft(signal.stft(x, nperseg=16)[2], nperseg=16)
    >>> bool(np.allclose(y[:64], x))
    True
    """
    Z = np.asarray(Zxx) + 0j
    freq_axis, time_axis = int(freq_axis), int(time_axis)
    if Z.ndim < 2:
        raise ValueError(f"Input stft must be at least 2d!: Zxx of shape {Z.shape}")
    if freq_axis == time_axis:
        raise ValueError(f"Must specify differing time and frequency axes!: time_axis={time_axis}")
    if Z.dtype.type not in (np.complex64, np.complex128) or Z.size == 0:
        raise Unsupported
    segments = Z.shape[time_axis]
    default = 2 * (Z.shape[freq_axis] - 1) if input_onesided else Z.shape[freq_axis]
    if nperseg is None:
        nperseg = default
    else:
        nperseg = int(nperseg)
        if nperseg < 1:
            raise ValueError(f"nperseg must be a positive integer: nperseg={nperseg}")
    if nfft is None:
        nfft = nperseg if input_onesided and nperseg == default + 1 else default
        if nfft < nperseg:
            raise Unsupported  # segments longer than their transforms: SciPy's own way
    elif nfft < nperseg:
        raise ValueError(f"nfft must be greater than or equal to nperseg: nfft={nfft}, nperseg={nperseg}")
    else:
        nfft = int(nfft)
    noverlap = nperseg // 2 if noverlap is None else int(noverlap)
    if noverlap >= nperseg:
        raise ValueError(f"noverlap must be less than nperseg: noverlap={noverlap}, nperseg={nperseg}")
    step = nperseg - noverlap
    freq_axis %= Z.ndim
    time_axis %= Z.ndim
    outer = [a for a in range(Z.ndim) if a not in (freq_axis, time_axis)]
    Z = np.transpose(Z, outer + [time_axis, freq_axis])  # segments, then frequencies, last
    if isinstance(window, (str, tuple)):
        win = scipy.signal.get_window(window, nperseg)
    else:
        win = np.asarray(window)
        if win.ndim != 1:
            raise ValueError(f"window must be 1-D: window of shape {win.shape}")
        if win.shape[0] != nperseg:
            raise ValueError(f"window must have length of {nperseg}: window of {win.shape[0]}")
    frames = (_fft.irfft(Z, n=nfft) if input_onesided else _fft.ifft(Z, n=nfft))[..., :nperseg]
    if np.result_type(win, frames) != frames.dtype:
        win = win.astype(frames.dtype)
    if scaling == "spectrum":
        gain = win.sum()
    elif scaling == "psd":
        gain = np.sqrt(fs * sum(win ** 2))
    else:
        raise ValueError(f"Parameter scaling={scaling!r} not in ['spectrum', 'psd']!")
    frames = frames * (win * gain)
    length = nperseg + (segments - 1) * step
    # Room for whole blocks past the end, cut below.
    x = np.zeros(Z.shape[:-2] + (length + step,), frames.dtype)
    norm = np.zeros(length + step, frames.dtype)
    # Overlap-add a block of `step` samples of every segment at once: block b of segment i
    # lands at (i + b) step.
    for b in range(0, nperseg, step):
        width = min(step, nperseg - b)
        target = x[..., b:b + segments * step].reshape(Z.shape[:-2] + (segments, step))[..., :width]
        target += frames[..., b:b + width]
        norm[b:b + segments * step].reshape(segments, step)[:, :width] += win[b:b + width] ** 2
    x, norm = x[..., :length], norm[:length]
    if boundary:
        x = x[..., nperseg // 2:-(nperseg // 2)]
        norm = norm[nperseg // 2:-(nperseg // 2)]
    if np.sum(norm > 1e-10) != len(norm):
        warnings.warn("NOLA condition failed, STFT may not be invertible", stacklevel=3)
    x /= np.where(norm > 1e-10, norm, 1.0)
    if input_onesided:
        x = x.real
    if x.ndim > 1 and time_axis != Z.ndim - 1:
        x = np.moveaxis(x, -1, time_axis - 1 if freq_axis < time_axis else time_axis)
    return np.arange(x.shape[0]) / float(fs), x
