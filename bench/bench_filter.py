"""filter against scipy.signal.lfilter, sosfilt and oaconvolve, and FIR on rows against
cv2.filter2D."""

import os

import cv2
import numpy as np
from scipy import signal

from harness import Report, keep_freed_memory, median_times

import vlmathdsp as vm

GOAL = 1.5


def data(shape, seed=0):
    return np.asfortranarray(np.random.default_rng(seed).standard_normal(shape))


def iir(report):
    x = data((10**6, 8))
    b, a = signal.butter(8, 0.1)
    sos = signal.butter(8, 0.1, output="sos")
    ours = lambda: vm.filter(b, a, x)
    t = median_times([ours, lambda: signal.lfilter(b, a, x, axis=0), lambda: signal.sosfilt(sos, x, axis=0)],
                     repeats=5)
    diff = np.max(np.abs(ours() - signal.lfilter(b, a, x, axis=0)))
    name = "IIR 8th order, 10^6 x 8, double"
    report.add(name, t[0], "lfilter", t[1], GOAL, f"max abs diff {diff:.1e}")
    report.add(name, t[0], "sosfilt", t[2], GOAL)


def fir(report, shape, name):
    x = data(shape)
    h = signal.firwin(64, 0.2)
    n = shape[0]
    ours = lambda: vm.filter(h, 1.0, x)
    oa = lambda: signal.oaconvolve(x, h.reshape(-1, 1) if x.ndim == 2 else h, axes=0)[:n]
    t = median_times([ours, lambda: signal.lfilter(h, 1.0, x, axis=0), oa], repeats=5)
    diff = np.max(np.abs(ours() - signal.lfilter(h, 1.0, x, axis=0)))
    report.add(name, t[0], "lfilter", t[1], GOAL, f"max abs diff {diff:.1e}")
    report.add(name, t[0], "oaconvolve", t[2], GOAL)


def fir_rows(report):
    """Eight rows of 10^6 doubles: C-ordered for OpenCV, the same memory as Fortran-ordered
    columns for us. filter2D correlates about an anchor: the reversed taps anchored at the last
    one give the causal filter."""
    cv2.setNumThreads(os.cpu_count())
    rows = np.random.default_rng(5).standard_normal((8, 10**6))
    columns = rows.T
    met = True
    for taps in (4, 16, 64, 256):
        h = signal.firwin(taps, 0.2)
        k = np.ascontiguousarray(h[::-1]).reshape(1, -1)
        ours = lambda: vm.filter(h, 1.0, columns)
        ocv = lambda: cv2.filter2D(rows, -1, k, anchor=(taps - 1, 0), borderType=cv2.BORDER_CONSTANT)
        t = median_times([ours, ocv], repeats=5)
        diff = np.max(np.abs(ours() - ocv().T))
        report.add(f"FIR {taps} taps on 8 rows of 10^6, double", t[0], "cv2.filter2D", t[1], GOAL,
                   f"max abs diff {diff:.1e}")
        met = met and t[1] / t[0] >= GOAL
    return met


def iir_orders(report):
    """Orders on either side of the end of the register form."""
    x = data((10**6, 8), 7)
    for order in (16, 17, 32):
        poles = 0.5 * np.exp(2j * np.pi * np.arange(order // 2) / order)
        a = np.real(np.poly(np.r_[poles, np.conj(poles), [0.3] * (order % 2)]))
        b = np.random.default_rng(order).standard_normal(order + 1)
        t = median_times([lambda: vm.filter(b, a, x), lambda: signal.lfilter(b, a, x, axis=0)], repeats=5)
        report.add(f"IIR order {order}, 10^6 x 8, double", t[0], "lfilter", t[1], GOAL)


def run(report):
    fir_rows(report)
    iir(report)
    iir_orders(report)
    fir(report, (10**6, 8), "FIR 64 taps, 10^6 x 8, double")
    fir(report, (8 * 10**6,), "FIR 64 taps, one column of 8x10^6")


if __name__ == "__main__":
    keep_freed_memory()
    report = Report("filter")
    report.header()
    run(report)
