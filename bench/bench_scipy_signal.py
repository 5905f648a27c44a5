"""The scipy.signal face against scipy.signal on the same calls, and the face's cost over the
host-convention functions that do the same work."""

import numpy as np
import scipy.signal

from harness import Report, keep_freed_memory, median_times

import vlmathdsp as vm
import vlmathdsp.scipy.signal as face


def peer_rows(report):
    rng = np.random.default_rng(0)
    image = rng.standard_normal((1024, 1024))
    image32 = image.astype(np.float32)
    kernel, large, taps = rng.standard_normal((9, 9)), rng.standard_normal((64, 64)), rng.standard_normal(301)
    signal = rng.standard_normal(2**20)
    rows = rng.standard_normal((8, 2**18))
    b, a = scipy.signal.butter(4, 0.2)
    sos = scipy.signal.butter(8, 0.2, output="sos")
    A = np.diag([0.9, 0.8, 0.7, 0.6]) + 0.01
    system = (A, np.ones((4, 1)), np.ones((1, 4)), np.zeros((1, 1)), 1.0)
    u = rng.standard_normal(2**16)
    cases = [
        ("convolve2d 1024^2 * 9x9 same", lambda m: m.convolve2d(image, kernel, "same")),
        ("convolve2d float32 1024^2 * 9x9 full", lambda m: m.convolve2d(image32, kernel.astype(np.float32))),
        ("correlate2d 1024^2 * 9x9 valid", lambda m: m.correlate2d(image, kernel, "valid")),
        ("convolve 1024^2 * 64x64 same (auto)", lambda m: m.convolve(image, large, "same")),
        ("fftconvolve 1024^2 * 64x64", lambda m: m.fftconvolve(image, large)),
        ("oaconvolve 2^20 * 301", lambda m: m.oaconvolve(signal, taps)),
        ("correlate 2^20 * 31 (auto)", lambda m: m.correlate(signal, signal[:31])),
        ("lfilter IIR order 4, 8 x 2^18", lambda m: m.lfilter(b, a, rows)),
        ("lfilter FIR 31 taps, 8 x 2^18, axis 0", lambda m: m.lfilter(signal[:31], [1.0], rows.T, axis=0)),
        ("sosfilt 4 sections, 8 x 2^18", lambda m: m.sosfilt(sos, rows)),
        ("dlsim 4 states, 2^16 steps", lambda m: m.dlsim(system, u)),
    ]
    for name, work in cases:
        t = median_times([lambda: work(face), lambda: work(scipy.signal)], repeats=5)
        report.add(f"scipy.signal face: {name}", t[0], "scipy", t[1], 1.0)


def analysis_rows(report):
    """Zero-phase filtering, resampling and spectral analysis at the sizes users run them."""
    rng = np.random.default_rng(2)
    long = rng.standard_normal(10**7)
    rows = rng.standard_normal((8, 10**6))
    b, a = scipy.signal.butter(4, 0.2)
    sos = scipy.signal.butter(8, 0.2, output="sos")
    cases = [
        ("welch 10^7, nperseg 1024", lambda m: m.welch(long, nperseg=1024)),
        ("stft 10^7, nperseg 512", lambda m: m.stft(long, nperseg=512)),
        ("sosfiltfilt order 8, 8 x 10^6", lambda m: m.sosfiltfilt(sos, rows)),
        ("filtfilt order 4, 8 x 10^6", lambda m: m.filtfilt(b, a, rows)),
        ("resample_poly 3/2 of 10^7", lambda m: m.resample_poly(long, 3, 2)),
        ("hilbert 2^20", lambda m: m.hilbert(long[:2**20])),
    ]
    for name, work in cases:
        t = median_times([lambda: work(face), lambda: work(scipy.signal)], repeats=5)
        report.add(f"scipy.signal face: {name}", t[0], "scipy", t[1], 1.5)


def overhead_rows(report):
    """The face's call against the host-convention call that does the same work."""
    rng = np.random.default_rng(1)
    image, kernel = rng.standard_normal((1024, 1024)), rng.standard_normal((9, 9))
    rows = rng.standard_normal((8, 2**18))
    b, a = [0.2, 0.3, 0.1], [1.0, -0.5, 0.1]
    cases = [
        ("convolve2d 1024^2 * 9x9 full", lambda: face.convolve2d(image, kernel), lambda: vm.conv2(image.T, kernel.T)),
        ("lfilter 8 x 2^18", lambda: face.lfilter(b, a, rows), lambda: vm.filter(b, a, rows.T)),
    ]
    for name, ours, host in cases:
        t = median_times([ours, host])
        report.add(f"face over host: {name}", t[0], "host call", t[1], 0.95)


def run(report):
    peer_rows(report)
    analysis_rows(report)
    overhead_rows(report)


if __name__ == "__main__":
    keep_freed_memory()
    report = Report("scipy.signal face")
    report.header()
    run(report)
