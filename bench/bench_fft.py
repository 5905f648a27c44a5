"""Fourier transforms against numpy.fft and scipy.fft (all cores)."""

import os

import numpy as np
import scipy.fft

from harness import Report, median_times

import vlmathdsp as vm

WORKERS = os.cpu_count()


def complex_1d(report):
    rng = np.random.default_rng(0)
    x = rng.standard_normal(2**20) + 1j * rng.standard_normal(2**20)
    t = median_times([lambda: vm.fft(x), lambda: np.fft.fft(x), lambda: scipy.fft.fft(x, workers=WORKERS)])
    diff = np.max(np.abs(vm.fft(x) - np.fft.fft(x))) / np.max(np.abs(np.fft.fft(x)))
    report.add("fft complex double 2^20", t[0], "numpy.fft", t[1], 1.5, f"max rel diff {diff:.1e}")
    report.add("fft complex double 2^20", t[0], "scipy.fft", t[2], 1.5)


def real_columns(report):
    x = np.asfortranarray(np.random.default_rng(1).standard_normal((1000, 1000)))
    t = median_times([lambda: vm.fft(x), lambda: np.fft.fft(x, axis=0),
                      lambda: scipy.fft.fft(x, axis=0, workers=WORKERS)])
    diff = np.max(np.abs(vm.fft(x) - np.fft.fft(x, axis=0))) / np.max(np.abs(np.fft.fft(x, axis=0)))
    report.add("fft real double 1000x1000 columns", t[0], "numpy.fft", t[1], 1.5, f"max rel diff {diff:.1e}")
    report.add("fft real double 1000x1000 columns", t[0], "scipy.fft", t[2], 1.5)


def run(report):
    complex_1d(report)
    real_columns(report)


if __name__ == "__main__":
    report = Report("fft")
    report.header()
    run(report)
