"""vlmathdsp.scipy.signal's zero-phase filters, resampling and spectral analysis against
scipy.signal on the same calls: values, shapes and dtypes on random and awkward inputs, layouts
and views, and the same bits at 1 and 2 threads."""

import warnings

import numpy as np
import pytest
import scipy.signal

import tolerance
from convolution import random
import vlmathdsp.scipy.signal as ours
from transforms import assert_one_thread_matches_several

DTYPES = [np.float64, np.float32, np.complex128]


def data(shape, dtype, seed):
    """Normal values (complex: normal parts) of the dtype, C-ordered."""
    return random(np.random.default_rng(seed), shape, dtype, order="C")


def close(got, want, terms=64):
    """Equal structure (tuples of arrays), shapes and dtypes; values within the rounding of sums
    of `terms` products, scaled by the largest value."""
    if isinstance(want, tuple):
        assert isinstance(got, tuple) and len(got) == len(want)
        for g, w in zip(got, want):
            close(g, w, terms)
        return
    got, want = np.asarray(got), np.asarray(want)
    assert got.shape == want.shape and got.dtype == want.dtype, (got.shape, want.shape, got.dtype, want.dtype)
    tolerance.assert_close(got, want, terms=terms, growth="linear", factor=16)


def both(name, *args, **kwargs):
    with warnings.catch_warnings():
        warnings.simplefilter("ignore")
        return getattr(ours, name)(*args, **kwargs), getattr(scipy.signal, name)(*args, **kwargs)


def layouts(x):
    """x as given, in Fortran order, and as a strided view of a larger array."""
    wide = np.zeros(x.shape[:-1] + (2 * x.shape[-1],), x.dtype)
    wide[..., ::2] = x
    return [x, np.asfortranarray(x), wide[..., ::2]]


@pytest.mark.parametrize("dtype", DTYPES)
def test_zero_phase_filters_and_initial_conditions(dtype):
    b, a = scipy.signal.butter(4, 0.2)
    sos = scipy.signal.butter(6, 0.3, output="sos")
    for shape, axis in [((40,), -1), ((3, 37), 1), ((31, 2), 0), ((2, 25, 3), 1)]:
        for x in layouts(data(shape, dtype, len(shape))):
            for padtype, padlen in [("odd", None), ("even", 5), ("constant", 0), (None, None)]:
                close(*both("filtfilt", b, a, x, axis=axis, padtype=padtype, padlen=padlen))
                close(*both("sosfiltfilt", sos, x, axis=axis, padtype=padtype, padlen=padlen))
    close(*both("lfiltic", b, a, [1.0, 2.0, 3.0], [4.0, 5.0]))
    close(*both("lfiltic", [1.0, 2.0], [1.0], [1.0], [1.0, 2.0, 3.0]))
    close(*both("lfiltic", b.astype(np.float32), a.astype(np.float32), np.ones(2, np.float32)))
    with pytest.raises(ValueError, match="padlen"):
        ours.filtfilt(b, a, np.ones(10))


@pytest.mark.parametrize("dtype", DTYPES)
def test_upfirdn_and_resampling(dtype):
    rng = np.random.default_rng(3)
    modes = ["constant", "symmetric", "reflect", "edge", "wrap", "smooth", "antisymmetric", "antireflect", "line"]
    for n in (2, 3, 17):
        x = data((2, n), dtype, n)
        for taps in (1, 4, 26):  # filters longer than the signal's upsampled length
            h = rng.standard_normal(taps)
            for up, down in [(1, 1), (3, 1), (1, 3), (3, 2), (2, 5), (1, 9)]:
                close(*both("upfirdn", h, x, up, down))
                close(*both("upfirdn", h, x, up, down, mode=modes[(n + taps + up) % len(modes)]))
    x = data((3, 60), dtype, 7)
    for up, down in [(3, 2), (2, 3), (1, 5), (7, 4), (4, 4)]:
        for padtype in ("constant", "mean", "line", "smooth"):
            close(*both("resample_poly", x, up, down, axis=1, padtype=padtype))
    close(*both("resample_poly", x.T, 5, 3, window=np.hanning(31)))
    for num in (1, 7, 60, 121):
        close(*both("resample", x, num, axis=1))
        close(*both("resample", x.T, num, window="hann"))
    close(*both("resample", x[0], 30, t=np.arange(60.0)))
    if dtype != np.complex128:
        for ftype, zero_phase in [("iir", True), ("iir", False), ("fir", True), ("fir", False)]:
            close(*both("decimate", data(200, dtype, 1), 3, ftype=ftype, zero_phase=zero_phase))
        close(*both("decimate", data(200, dtype, 1), 4, ftype=scipy.signal.dlti(*scipy.signal.butter(5, 0.2))))
        for N in (None, 1, 8, 61):
            close(*both("hilbert", x.real, N, axis=1))
        close(*both("hilbert2", x.real))
        close(*both("hilbert2", x.real, (5, 64)))
    with pytest.raises(ValueError, match="x must be real"):
        ours.hilbert(np.ones(4) + 1j)


@pytest.mark.parametrize("dtype", DTYPES)
def test_spectral_analysis(dtype):
    for shape, axis in [((300,), -1), ((3, 200), -1), ((150, 2), 0), ((2, 90, 3), -2)]:
        x, y = data(shape, dtype, 1), data(shape, dtype, 2)
        for kw in [dict(), dict(nperseg=16), dict(nperseg=16, noverlap=3, nfft=20),
                   dict(nperseg=10, detrend="linear", scaling="spectrum"),
                   dict(nperseg=8, detrend=False, return_onesided=False), dict(window=("tukey", 0.3), nperseg=12)]:
            close(*both("welch", x, axis=axis, **kw))
            close(*both("welch", x, axis=axis, average="median", **kw))
            close(*both("csd", x, y, axis=axis, **kw))
            close(*both("spectrogram", x, axis=axis, **kw))
            close(*both("spectrogram", x, axis=axis, mode="magnitude", **kw))
            close(*both("stft", x, axis=axis, **{"nperseg": 16, **kw}))
        close(*both("coherence", x, y, axis=axis, nperseg=32))
        for nfft in (None, 64, 500, 5):
            close(*both("periodogram", x, axis=axis, nfft=nfft))
    signal = data(500, dtype, 5)
    for boundary in ("zeros", "even", "odd", "constant", None):
        for padded in (True, False):
            close(*both("stft", signal, nperseg=32, noverlap=20, boundary=boundary, padded=padded))
    Z = scipy.signal.stft(signal, nperseg=30, noverlap=20)[2]
    onesided = np.isrealobj(signal)
    close(*both("istft", Z, nperseg=30, noverlap=20, input_onesided=onesided))
    close(*both("istft", Z, nperseg=30, noverlap=20, input_onesided=onesided, scaling="psd"))
    stack = np.moveaxis(scipy.signal.stft(data((3, 200), dtype, 6), nperseg=20)[2], 0, 2)
    close(*both("istft", stack, nperseg=20, time_axis=1, freq_axis=0, input_onesided=onesided))


def test_spectral_identities():
    """A tone's density peaks at its frequency, and the short-time transform inverts."""
    t = np.arange(4096) / 1000.0
    tone = np.sin(2 * np.pi * 125.0 * t)
    f, P = ours.welch(tone, fs=1000.0, nperseg=256)
    assert f[np.argmax(P)] == pytest.approx(125.0, abs=1000.0 / 256)
    x = np.random.default_rng(4).standard_normal(1000)
    _, back = ours.istft(ours.stft(x, nperseg=64)[2], nperseg=64)
    np.testing.assert_allclose(back[:1000], x, atol=1e-12)


def test_what_the_engine_does_not_take_goes_to_scipy(monkeypatch):
    from vlmathdsp.scipy import _face
    handed = []
    original = _face.hand_back
    monkeypatch.setattr(_face, "hand_back", lambda name, *rest: (handed.append(name), original(name, *rest))[1])
    b, a = scipy.signal.butter(3, 0.3)
    x = np.random.default_rng(8).standard_normal(100)
    close(ours.filtfilt(b, a, x, method="gust"), scipy.signal.filtfilt(b, a, x, method="gust"))
    close(ours.welch(np.zeros(0)), scipy.signal.welch(np.zeros(0)))
    close(ours.resample_poly(np.arange(40), 3, 2), scipy.signal.resample_poly(np.arange(40), 3, 2))
    assert handed == ["signal.filtfilt", "signal.welch", "signal.resample_poly"]
    handed.clear()
    ours.welch(x), ours.sosfiltfilt(scipy.signal.butter(4, 0.2, output="sos"), x), ours.hilbert(x)
    assert handed == []


def test_one_thread_gives_the_bits_of_two(threads):
    x = data((8, 30000), np.float64, 9)
    sos = scipy.signal.butter(8, 0.2, output="sos")
    b, a = scipy.signal.butter(4, 0.1)
    assert_one_thread_matches_several(threads, lambda: [
        ours.sosfiltfilt(sos, x), ours.filtfilt(b, a, x), ours.resample_poly(x, 3, 2, axis=1),
        ours.welch(x, nperseg=1024)[1], ours.stft(x[0], nperseg=512)[2], ours.hilbert(x),
        ours.upfirdn(np.hanning(40), x, 5, 3)])
