"""NumPy's own layout and small calls: the SciPy faces on C-ordered arrays against OpenCV and SciPy,
the C-order penalty (C-ordered over Fortran-ordered time of the same call), and 2000 small fft
calls against numpy.fft and scipy.fft."""

import os
import time

import cv2
import numpy as np
import scipy.fft
import scipy.signal

from harness import Report, keep_freed_memory, median_times

import vlmathdsp.scipy.fft as fft_face
import vlmathdsp.scipy.signal as signal_face

CALLS = 2000


def layout_rows(report):
    rng = np.random.default_rng(0)
    cv2.setNumThreads(os.cpu_count())
    image = rng.standard_normal((2048, 2048)).astype(np.float32)
    kernel = rng.standard_normal((7, 7)).astype(np.float32)
    flipped = np.ascontiguousarray(kernel[::-1, ::-1])  # filter2D correlates
    image_f = np.asfortranarray(image)
    ours, peer, ours_f = median_times([lambda: signal_face.convolve2d(image, kernel, mode="same"),
                                       lambda: cv2.filter2D(image, -1, flipped, borderType=cv2.BORDER_CONSTANT),
                                       lambda: signal_face.convolve2d(image_f, kernel, mode="same")])
    report.add("convolve2d C 2048^2 float32 * 7x7 same", ours, "cv2.filter2D", peer, 1.0)
    report.add("  C-order penalty (C / Fortran time)", ours, "Fortran-ordered", ours_f, 1 / 1.1)

    b, a = scipy.signal.butter(8, 0.2)
    sos = scipy.signal.butter(8, 0.2, output="sos")
    x = rng.standard_normal((8, 10**6))
    x_f = np.asfortranarray(x)
    ours, lf, sf, ours_f = median_times([lambda: signal_face.lfilter(b, a, x), lambda: scipy.signal.lfilter(b, a, x),
                                         lambda: scipy.signal.sosfilt(sos, x), lambda: signal_face.lfilter(b, a, x_f)],
                                        repeats=5)
    fastest, name = (lf, "scipy lfilter") if lf <= sf else (sf, "scipy sosfilt")
    report.add("lfilter C 8 x 10^6 Butterworth 8, last axis", ours, name, fastest, 1.5)
    report.add("  C-order penalty (C / Fortran time)", ours, "Fortran-ordered", ours_f, 1 / 1.1)


def loop(fn, x):
    def run():
        for _ in range(CALLS):
            fn(x)
    return run


def small_rows(report):
    rng = np.random.default_rng(1)
    for n in (64, 256, 1024):
        x = rng.standard_normal(n) + 1j * rng.standard_normal(n)
        t = median_times([loop(fft_face.fft, x), loop(np.fft.fft, x), loop(scipy.fft.fft, x)], repeats=9)
        fastest, name = (t[1], "numpy.fft") if t[1] <= t[2] else (t[2], "scipy.fft")
        report.add(f"{CALLS} x fft complex {n}", t[0], name, fastest, 1.0 if n == 64 else None,
                   f"per call: ours {t[0] / CALLS * 1e6:.2f} us, numpy {t[1] / CALLS * 1e6:.2f}, "
                   f"scipy {t[2] / CALLS * 1e6:.2f}")


def run(report):
    layout_rows(report)
    small_rows(report)


if __name__ == "__main__":
    keep_freed_memory()
    report = Report("NumPy's layout and small calls (speed-up = peer time / our time)")
    report.header()
    start = time.perf_counter()
    run(report)
    print(f"({time.perf_counter() - start:.0f} s)")
